// Saving a release 13 drawing carries the objects that are never re-encoded -- REGION,
// 3DSOLID, BODY and objects of a class the reader does not know -- with the bytes they were
// read from: the written file holds each of them unchanged but for its check (FF FF).
#include "support/r13_written_file.h"
#include "support/dwg13_builder.h"

#include "r13_new_kinds_support.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_new_kinds.h"
#include "dwg13/r13_object_map.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>

namespace velko_test {
namespace {

// The object of `handle` with its size field, without its check; empty when missing.
std::vector<uint8_t> ObjectOf(const std::vector<uint8_t> &file,
                              const std::map<uint32_t, int32_t> &map, uint32_t handle) {
    const auto found = map.find(handle);
    if (found == map.end() || found->second <= 0 || size_t(found->second) + 2 > file.size())
        return {};
    const size_t at = size_t(found->second);
    const size_t size = file[at] | size_t(file[at + 1]) << 8;
    if (at + size + 4 > file.size())
        return {};
    return std::vector<uint8_t>(file.begin() + long(at), file.begin() + long(at + 2 + size));
}

// A modeler object (37, 38 or 39) in model space holding `text` as its data.
R13Object ModelerObject(int16_t type, uint32_t handle, const char *text) {
    auto entity = MakeOfType(type);
    CDB_ENTITY in = CallerRecord(*entity);
    auto *data = static_cast<uint8_t *>(std::malloc(std::strlen(text) + 1));
    std::memcpy(data, text, std::strlen(text) + 1);
    if (type == 38)
        in.solid3d.data = data;
    else
        in.region.data = data;
    entity->SetRecord(&in);
    SetEntityHead(*entity, R13EntityHead{}.Type(type).Handle(handle));
    return EntityObjectOf(*entity);
}

constexpr uint32_t kRegion = 0x41, kSolid = 0x42, kBody = 0x43, kOfAClass = 0x44;

std::vector<uint8_t> CarriedDrawing() {
    Dwg13Builder b;
    auto &model = b.Space(kModelSpaceName)->entities;
    const auto line = FindR13EntityKind(19);
    std::unique_ptr<CR13Entity> first(line->make(nullptr, 19));
    SetEntityHead(*first, R13EntityHead{}.Type(19).Handle(0x40));
    model.push_back(EntityObjectOf(*first));
    model.push_back(ModelerObject(37, kRegion, "region data\n"));
    model.push_back(ModelerObject(38, kSolid, "solid data\n"));
    model.push_back(ModelerObject(39, kBody, "body data\n"));
    // An object of the first class of the drawing: a type the reader has no kind for.
    model.push_back(OpaqueObject(500 + 1, kOfAClass, 9));
    return b.Build();
}

TEST(Release13SaveCarried, RegionSolidBodyAndAnObjectOfAClassKeepTheirBytes) {
    const std::vector<uint8_t> before = CarriedDrawing();
    TempFile source("carried_source.dwg", before);
    TempFile out("carried_saved.dwg");
    const int16_t h = CDBStartFileReading(source.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    EXPECT_EQ(CDBSaveAsDWG(h, out.c_str()), 0) << CDBGetErrorNumber(h);
    CDBEndOperation(h);

    const std::vector<uint8_t> after = FileBytes(out.path());
    const auto map_before = MapOffsetsOf(source.path()), map_after = MapOffsetsOf(out.path());
    for (uint32_t handle : {kRegion, kSolid, kBody, kOfAClass}) {
        const std::vector<uint8_t> was = ObjectOf(before, map_before, handle);
        const std::vector<uint8_t> is = ObjectOf(after, map_after, handle);
        ASSERT_FALSE(was.empty()) << std::hex << handle;
        EXPECT_EQ(is, was) << "object " << std::hex << handle;
        if (!is.empty()) {
            const size_t end = size_t(map_after.at(handle)) + is.size();
            EXPECT_EQ(after[end], 0xFF);
            EXPECT_EQ(after[end + 1], 0xFF);
        }
    }
}

} // namespace
} // namespace velko_test
