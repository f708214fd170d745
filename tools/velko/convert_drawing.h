// The one conversion of a drawing file that velko convert and velko batch share: open the
// input, load it whole, count what a save writes and save it in the form the output's name
// asks for (DWG for a name ending in .dwg in any case, otherwise DXF, binary on request).
// Nothing is printed; the caller reports from the outcome.
#ifndef VELKO_CONVERT_DRAWING_H
#define VELKO_CONVERT_DRAWING_H

#include "interface/tool_support.h"

#include <cstdint>
#include <functional>
#include <string>

// Whether a file name ends in ".dwg", in any case: such an output is written as DWG.
bool NamesDwg(const char *name);

// What a caller may watch while a conversion runs. Every member may stay empty.
struct ConversionHooks {
    tool_support::LoadProgressHook load = nullptr;
    tool_support::SaveProgressHook save = nullptr;
    // Called with the drawing's handle once it opened.
    std::function<void(int16_t)> opened;
    // Called with the objects the save will write, just before it starts.
    std::function<void(long)> saving;
};

// How a conversion ended. When `opened` is false the open was refused and `code` is the
// library's code for it; when `saved` is false the save was refused and `code`,
// `stopped_at` and `limit` say why.
struct ConversionOutcome {
    bool opened = false;
    bool saved = false;
    int16_t code = 0;
    int16_t release = 0;
    tool_support::DrawingForm from_form = tool_support::DrawingForm::kUnknown;
    tool_support::SavedObjects counts;
    std::string stopped_at; // "the 3DSOLID 2A" when an entity stopped a DXF save
    std::string limit;      // the limit of the form that refused the save, in words
};

// Converts `in` into `out`; the drawing is closed again before this returns.
ConversionOutcome ConvertDrawing(const char *in, const char *out, bool binary,
                                 const ConversionHooks &hooks);

#endif
