// Release 13 drawings saved as ASCII DXF and read back: every record equal within the
// writer's 8 significant digits, but for the differences named here, each with its reason.
// One drawing comes from a small DXF, one from a small DWG made by the test builder.
#include "dxf/r13_dxf_write_support.h"

#include "support/drawing_snapshot.h"
#include "support/dwg13_builder.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace velko_test {
namespace {

// Compares within 8 digits and collects what differs as "record field".
class CollectingSink : public snapshot::DigitsSink {
public:
    explicit CollectingSink(std::set<std::string> named) : DigitsSink(8), named_(named) {}

    void Real(const std::string &field, int group, double a, double b) override {
        if (!Named(field))
            DigitsSink::Real(field, group, a, b);
    }
    void Int(const std::string &field, int group, long a, long b) override {
        if (!Named(field))
            DigitsSink::Int(field, group, a, b);
    }
    void Text(const std::string &field, int group, const char *a, const char *b) override {
        // A text that one side holds empty and the other not at all reads the same in DXF.
        const bool absent_is_empty = (!a && b && !*b) || (!b && a && !*a);
        if (!absent_is_empty && !Named(field))
            DigitsSink::Text(field, group, a, b);
    }

private:
    bool Named(const std::string &field) const {
        return named_.count(record_ + " " + field) != 0 || named_.count(record_ + " *") != 0;
    }
    std::set<std::string> named_;
};

// The differences that a DXF road makes by design.
std::set<std::string> NamedDifferences() {
    return {
        // The header holds fields that no DXF variable carries, and the view variables,
        // which a DXF read takes from the "*ACTIVE" viewport.
        "HEADER *",
    };
}

TEST(R13DxfWriteRoundTrip, ASmallDxfSavedAsDxfReadsBackWithEveryRecordEqual) {
    TempFile source_file("r13w_rt_source.dxf", SmallR13Dxf([](DxfText &d) {
                                                   d.G(0, "LINE")
                                                       .G(5, "50")
                                                       .G(100, "AcDbEntity")
                                                       .G(8, "WALLS")
                                                       .G(62, 3)
                                                       .G(100, "AcDbLine")
                                                       .G(10, 1.5)
                                                       .G(20, 2.5)
                                                       .G(30, 0.0)
                                                       .G(11, 3.0)
                                                       .G(21, 4.0)
                                                       .G(31, 0.0)
                                                       .G(1001, "ACAD")
                                                       .G(1000, "note")
                                                       .G(1070, 7);
                                                   d.G(0, "CIRCLE")
                                                       .G(5, "51")
                                                       .G(100, "AcDbEntity")
                                                       .G(8, "0")
                                                       .G(100, "AcDbCircle")
                                                       .G(10, 1.0)
                                                       .G(20, 1.0)
                                                       .G(30, 0.0)
                                                       .G(40, 0.25);
                                                   d.G(0, "INSERT")
                                                       .G(5, "52")
                                                       .G(100, "AcDbEntity")
                                                       .G(8, "0")
                                                       .G(100, "AcDbBlockReference")
                                                       .G(2, "DOOR")
                                                       .G(10, 4.0)
                                                       .G(20, 4.0)
                                                       .G(30, 0.0)
                                                       .G(41, 2.0);
                                               }).Ascii());
    TempFile out("r13w_rt_saved.dxf");
    snapshot::Snapshot source(source_file.path());
    ASSERT_TRUE(source.opened()) << "code " << source.code();
    ASSERT_EQ(CDBSaveAsDXF(source.handle(), out.c_str(), 0), 0)
        << CDBGetErrorNumber(source.handle());
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened()) << "code " << saved.code();
    EXPECT_EQ(saved.KindCounts(), source.KindCounts());
    EXPECT_EQ(saved.layers_.size(), source.layers_.size());
    CollectingSink sink(NamedDifferences());
    snapshot::CompareDrawings(source, saved, sink, sink);
}

std::vector<uint8_t> SmallDwg() {
    Dwg13Builder b;
    b.tables[Dwg13Builder::kLayerTable].records.push_back(LayerObject(0x30, "WALLS", 3));
    b.Space(kModelSpaceName)->entities.push_back(EntityObject(R13EntityHead{}.Handle(0x60)));
    b.Space(kModelSpaceName)
        ->entities.push_back(EntityObject(R13EntityHead{}.Handle(0x61).Layer("30")));
    b.SetHandseed("80");
    return b.Build();
}

TEST(R13DxfWriteRoundTrip, ASmallDwgSavedAsDxfReadsBackWithEveryRecordEqual) {
    TempFile dwg("r13w_rt_source.dwg", SmallDwg());
    TempFile out("r13w_rt_from_dwg.dxf");
    snapshot::Snapshot source(dwg.path());
    ASSERT_TRUE(source.opened()) << "code " << source.code();
    ASSERT_EQ(CDBSaveAsDXF(source.handle(), out.c_str(), 0), 0)
        << CDBGetErrorNumber(source.handle());
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened()) << "code " << saved.code();
    EXPECT_EQ(saved.KindCounts(), source.KindCounts());
    EXPECT_EQ(saved.layers_.size(), source.layers_.size());
    CollectingSink sink(NamedDifferences());
    snapshot::CompareDrawings(source, saved, sink, sink);
}

} // namespace
} // namespace velko_test
