// The fuzz targets of the library: one function per reader, each taking one input as bytes
// and reading everything the library makes of it. A target never judges what it reads; the
// sanitizers and the fuzzer find what goes wrong (a crash, a read outside a buffer, a leak,
// a hang, memory past the bound).
//
// The same functions serve two drivers: libfuzzer_entry.cpp gives one of them to libFuzzer
// as LLVMFuzzerTestOneInput, and replay_main.cpp runs the kept inputs of every target as a
// test of the ordinary build.
#pragma once

#include <cstddef>
#include <cstdint>

using FuzzTargetFunction = int (*)(const uint8_t *data, size_t size);

struct FuzzTarget {
    const char *name;
    FuzzTargetFunction run;
};

// Makes the scratch folder the targets write their inputs to, and points the shape index
// lookup at an empty folder there, so that no installed font takes part. Called once.
void FuzzSetUp();

// Any drawing: DWG of either release, DXF of either release, ASCII or binary. Its file
// info, the open, every table record, the header, the entity lists, the walks of the main
// list and every block, the display walk, the viewports and the extended data, the close.
int FuzzDrawing(const uint8_t *data, size_t size);
// A drawing read as FuzzDrawing does, then saved as DWG, ASCII DXF and binary DXF, each
// file written read again the same way.
int FuzzSaveAndReread(const uint8_t *data, size_t size);
// A shape file (shapes 1.0, 1.1, unifont or big font): loaded alone and as a style's font
// and big font of a shape table, every shape drawn and every lookup made.
int FuzzShapeFile(const uint8_t *data, size_t size);
// A control-shape index: opened, every font in it loaded and drawn, and the lookups of a
// shape table that finds its fonts there.
int FuzzShapeIndex(const uint8_t *data, size_t size);
// A TrueType font: every glyph record of every character its map maps.
int FuzzTrueType(const uint8_t *data, size_t size);

// Every target by its name (the name of its fuzzer, its seeds, dictionary and kept inputs).
extern const FuzzTarget kFuzzTargets[];
extern const size_t kFuzzTargetCount;
