// The table bases of a drawing. A drawing that is loaded as an external reference keeps
// its table records behind those of its host, so every table index it hands out is
// shifted by the host's record count of that table: the base. A drawing of its own has
// all bases 0.
//
// The slots are named here once; a slot's value is read and set through
// CBaseDrawing::Base and CBaseDrawing::SetBase, and a data table that says "this field
// is an index into table X" names the slot by this enum.
#ifndef VELKO_TABLE_BASE_H
#define VELKO_TABLE_BASE_H

#include <cstdint>

enum class TableBase : uint8_t {
    kBlocks = 0,
    kLayers = 1,
    kLtypes = 2,
    kDimstyles = 3,
    kStyles = 4,
    kMlineStyles = 5,
    kAppids = 6,
    kViews = 7,
    kUcs = 8,
    kVports = 9,
    kCount = 10,
    // A field that is no table index: nothing is added.
    kNone = 0xFF,
};

constexpr int kTableBaseCount = static_cast<int>(TableBase::kCount);

#endif
