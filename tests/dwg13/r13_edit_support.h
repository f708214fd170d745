// What the release 13 edit tests share: a drawing opened through the flat interface (from
// builder bytes or from a file), the drawing object behind its handle, and small makers of
// records.
#ifndef VELKO_TEST_R13_EDIT_SUPPORT_H
#define VELKO_TEST_R13_EDIT_SUPPORT_H

#include "support/dwg13_builder.h"

#include "interface/drawing_table.h"
#include "interface/test_files.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace r13edit {

// A model space LINE object of the builder: handle `handle`, on layer 0x10.
inline R13Object LineObject(uint32_t handle, double x = 1.0) {
    const R13EntityKind *kind = FindR13EntityKind(19);
    std::unique_ptr<CR13Entity> line(kind->make(nullptr, 19));
    line->GetData()->line.end_point.x = x;
    SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(handle));
    return EntityObjectOf(*line);
}

// A builder drawing with `lines` LINEs in model space (handles 0x40 on) and, when `block`
// is given, a block of that name (handles 0x30 to 0x32) holding one LINE (0x33).
inline std::vector<uint8_t> EditBytes(int lines, const char *block = nullptr) {
    Dwg13Builder b;
    for (int i = 0; i < lines; ++i)
        b.Space(kModelSpaceName)->entities.push_back(LineObject(0x40u + uint32_t(i), i + 1.0));
    if (block) {
        R13BlockSpec spec;
        spec.name = block;
        spec.header_handle = 0x30;
        spec.start_handle = 0x31;
        spec.end_handle = 0x32;
        const R13EntityKind *kind = FindR13EntityKind(19);
        std::unique_ptr<CR13Entity> line(kind->make(nullptr, 19));
        SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(0x33).InBlock(0x30));
        spec.entities.push_back(EntityObjectOf(*line));
        b.blocks.push_back(spec);
    }
    return b.Build();
}

// A drawing open through the flat interface; ended when the test ends.
class R13EditTest : public ::testing::Test {
protected:
    void OpenBytes(const std::vector<uint8_t> &bytes, const char *name = "r13_edit.dwg") {
        file = std::make_unique<TempFile>(name, bytes);
        OpenPath(file->c_str());
    }
    void OpenPath(const std::string &path) {
        h = CDBStartFileReading(path.c_str(), nullptr);
        ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    }
    void TearDown() override {
        if (h >= 0)
            CDBEndOperation(h);
    }
    CR13Drawing &D() const { return *static_cast<CR13Drawing *>(LookupDrawing(h)->Drawing()); }
    std::string Seed() const { return D().GetAllVars()->handseed; }
    // The offset of `handle` in the object map, or -1 when the map has no entry for it.
    int64_t MapOffset(const char *handle) const {
        const uint32_t value = R13HandleValue(handle);
        for (const ObjectMapEntry &entry : D().ObjectMap().Entries())
            if (entry.handle == value)
                return entry.offset;
        return -1;
    }
    bool MapIsSorted() const {
        const auto &entries = D().ObjectMap().Entries();
        for (size_t i = 1; i < entries.size(); ++i)
            if (entries[i - 1].handle > entries[i].handle)
                return false;
        return true;
    }
    // The record of the entity at `position` of `block` (the drawing's own).
    const CDB_ENTITY *EntityAt(int block, int position) const {
        CEntityList *list = block == -1 ? &D().Entities() : D().Blocks().At(block)->entities.get();
        CModelEntity *entity = list ? list->At(position) : nullptr;
        return entity ? entity->GetResolvedRecord() : nullptr;
    }
    CDB_ENTITY Line(double x, int16_t layer = 0, int16_t line_type = -1) const {
        CDB_ENTITY e;
        CDBEntityDefault(h, &e, CDB_LINE);
        e.layer_index = layer;
        e.line_type_index = line_type;
        e.line.end_point.x = x;
        return e;
    }
    CDB_ENTITY Kind(int16_t kind) const {
        CDB_ENTITY e;
        CDBEntityDefault(h, &e, kind);
        e.layer_index = 0;
        e.line_type_index = -1;
        return e;
    }

    std::unique_ptr<TempFile> file;
    int16_t h = -1;
};

} // namespace r13edit
} // namespace velko_test

#endif
