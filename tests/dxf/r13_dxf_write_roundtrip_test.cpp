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
        // The block end that closes the main list: a DWG's reader closes it with paper
        // space's, the DXF reader with model space's own.
        if (record_ == "ENTITY" && kind_ == CDB_ENDBLK)
            return true;
        return named_.count(record_ + " " + field) != 0 || named_.count(record_ + " *") != 0;
    }
    std::set<std::string> named_;
};

// The differences that a DXF road makes by design.
std::set<std::string> NamedDifferences() {
    return {
        // The code page is always written "ansi_1252".
        "HEADER $DWGCODEPAGE",
        // A header name whose index is -1 (or whose handle was never given) is written as
        // its table's "no entry" name, which a DXF read turns into the handle text "-1".
        "HEADER hceltype",
        "HEADER hclayer",
        "HEADER hcmlstyle",
        "HEADER hdimstyle",
        "HEADER hdimtxsty",
        "HEADER htextstyle",
        // The head and trailer of a DWG object, which no DXF group carries: the extension
        // dictionary's reference, the mode bits, the links flag, the size in bits and the
        // reserved bit.
        "ENTITY dictionary.code",
        "ENTITY mode_model",
        "ENTITY no_links",
        "ENTITY object_bits",
        "ENTITY reserved_bit_1",
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

TEST(R13DxfWriteRoundTrip, ASmallDwgSavedAsDxfReadsBackWithEveryRecordEqual) {
    TempFile dwg("r13w_rt_source.dwg", SmallR13Dwg());
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
