// Helpers that the classes of r13_classic_kinds.h share between their source files: the
// size estimate of one double, a layout read into a record whose texts it replaces, and
// the resolution of a handle text to a public table index.
#ifndef VELKO_R13_CLASSIC_LAYOUT_H
#define VELKO_R13_CLASSIC_LAYOUT_H

#include "dwg13/r13_fields.h"
#include "model/table_base.h"

#include <cstdint>

class CBitStream;
class CR13Drawing;

// 64 for a double that is neither 0.0 nor 1.0 (it takes its long form), else 0.
uint32_t R13DoubleBits(double value);
// ReadR13Fields, after freeing (and nulling) the texts that the layout's text and handle
// fields would replace, so that an object read twice does not leak.
void ReadR13FieldsFresh(CBitStream &stream, const R13Layout &layout, void *record);
// The index of the record with handle `handle` in the public table `table` of `drawing`,
// plus the drawing's base of that table (-1 plus the base when the table has no such record).
int16_t R13ResolveIndex(CR13Drawing *drawing, TableBase table, const char *handle);

#endif
