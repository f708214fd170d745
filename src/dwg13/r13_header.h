// The header variables of a release 13 DWG: the header variables section, read into a
// CDB_HEADER_type.
//
// The section is a bit stream. What stands in front of the variables is not decoded: the
// reader finds its place by the one value that is always the same, the tree depth 3020
// (see Read). Behind that point the variables follow in a fixed order, written down once
// as field layouts that serve reading (Read) and writing (Write); the few places that do
// not fit a plain field are named steps between the layouts.
//
// What callers may rely on:
// - `vars` always has its nine fixed text blocks (sizes in records/header_texts.h), and
//   the eight handle texts (hclayer, htextstyle, hceltype, hdimstyle, hcmlstyle,
//   hpucsname, hucsname, hdimtxsty) are null or malloc texts owned by the header, freed
//   when it is destroyed or read again;
// - Read never reads outside its stream and always ends: a section whose search for the
//   tree depth would go round forever gives 0;
// - a header written with Write and read with Read gives back the variables it was
//   written from (those the section carries).
#ifndef VELKO_R13_HEADER_H
#define VELKO_R13_HEADER_H

#include "model/table_base.h"
#include "records/header_texts.h"
#include "velkow32.h"

#include <cstdint>
#include <functional>

class CBitStream;
class CBitWriter;
class CDrawingFile;

// The index of a record in one of the drawing's tables by its handle text, or -1 when the
// table does not hold it.
using R13HandleLookup = std::function<int(TableBase table, const char *handle)>;

class CR13Header {
public:
    // The tree depth every file keeps; the reader finds the variables by it.
    static constexpr int16_t kTreedepth = 3020;
    // Bits tried one by one when the tree depth is not where the flags put it.
    static constexpr int kSearchTries = 896;
    // Passes of the search (each a find followed by a step back that misses) before the
    // section counts as one that would go round forever.
    static constexpr int kMaxSearchPasses = 64;
    // Where the file head keeps the offset and, behind it, the size of the section.
    static constexpr int32_t kPlaceInHead = 26;

    CR13Header();
    ~CR13Header();
    CR13Header(const CR13Header &) = delete;
    CR13Header &operator=(const CR13Header &) = delete;

    // Reads the variables from a stream on the section: the search for the tree depth, then
    // the list. 1, or 0 for a section on which the search would repeat forever (its
    // variables are then partly read).
    int Read(CBitStream &stream);
    // Reads the section the file head points at; the file position is kept. The size is
    // cut to what the file holds behind the offset before anything is allocated. 1, or 0
    // when the file head cannot be read or Read gives 0.
    int ReadHeader(CDrawingFile &file);
    // The list as Read reads it, from the flags on, with zeros where the reader drops
    // values. The save does not use it: it copies the source's section.
    void Write(CBitWriter &writer) const;

    // The two variables that do not come from the file: the version text and the code page.
    void SetTextsWithoutFile();

    // One variable by name, as the release 13 lookup knows it: the type code, 0 for an
    // unknown name (nothing copied or changed). Texts go into the fixed blocks; the handle
    // texts are not set by name.
    short GetVariable(const char *name, CDB_VAR_VALUE_type *value) const;
    short SetVariable(const char *name, const CDB_VAR_VALUE_type &value);

    // Turns the handle texts into table indices, once at the end of a load. `lookup` gives
    // the index of a handle in a table; the index is stored as it gives it.
    // - celtype (line types) and clayer (layers): "-1" gives -1, "0" gives 0;
    // - dimstyle (dimension styles): "-1" gives -1; "0" sets celtype to 0 and leaves
    //   dimstyle as it is -- the neighbouring variable is written, as files expect;
    // - ucsname, pucsname (UCS), textstyle, dimtxsty (text styles), cmlstyle (multiline
    //   styles): -1 when the handle text is empty.
    void ResolveIndices(const R13HandleLookup &lookup);

    CDB_HEADER_type vars;
    // Where the handle seed starts in the section: the writer replaces it there.
    int32_t seed_byte = 0;
    int32_t seed_bit = 0;
    // The reference codes that stand before the handle seed and the current layer.
    uint8_t handseed_code = 0;
    uint8_t hclayer_code = 0;

private:
    // Frees the handle texts and leaves them null.
    void FreeHandleTexts();
    // Finds the flags by the tree depth and reads them; false when the search would go round
    // forever.
    bool ReadFlags(CBitStream &stream);

    CHeaderTextBlocks texts;
};

#endif
