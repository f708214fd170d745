#include "support/r13_dxf_fixture.h"

#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "io/drawing_file.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace velko_test {

namespace {

template <typename T> void PutLe(std::vector<uint8_t> &out, T value) {
    uint8_t bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    out.insert(out.end(), bytes, bytes + sizeof(T));
}

int file_count = 0;

template <typename Record>
void AddRecord(CR13Drawing &drawing, R13Table table, Record *record, const char *name,
               const char *handle) {
    record->SetName(name);
    record->Rec().handle = DuplicateText(handle);
    drawing.Table(table).AddRecord(record);
}

} // namespace

std::vector<uint8_t> R13DxfBinary(const DxfText &groups) {
    static const char kSentinel[] = "AutoCAD Binary DXF\r\n\x1a";
    std::vector<uint8_t> out(kSentinel, kSentinel + 22);
    for (const auto &g : groups.Groups()) {
        PutLe<int16_t>(out, static_cast<int16_t>(g.first));
        AppendBinaryValue(out, Release13BinaryValue(g.first), g.second);
    }
    return out;
}

R13DxfEntityFixture::R13DxfEntityFixture(bool binary, int view_flag)
    : binary_(binary), drawing_(nullptr, view_flag) {
    CR13Drawing &d = drawing_;
    AddRecord(d, R13Table::kLayers, new CR13LayerRecord(&d), "0", "10");
    AddRecord(d, R13Table::kLayers, new CR13LayerRecord(&d), "WALLS", "11");
    AddRecord(d, R13Table::kLtypes, new CR13LtypeRecord(&d), "CONTINUOUS", "14");
    AddRecord(d, R13Table::kLtypes, new CR13LtypeRecord(&d), "DASHED", "15");
    AddRecord(d, R13Table::kStyles, new CR13StyleRecord(&d), "STANDARD", "20");
    AddRecord(d, R13Table::kStyles, new CR13StyleRecord(&d), "ROMANS", "21");
    AddRecord(d, R13Table::kDimstyles, new CR13DimstyleRecord(&d), "STANDARD", "30");
    AddRecord(d, R13Table::kDimstyles, new CR13DimstyleRecord(&d), "ARCH", "31");
    AddRecord(d, R13Table::kAppids,
              static_cast<CR13AppidRecord *>(MakeR13TableRecord(&d, kR13Appid)), "ACAD", "12");
    AddRecord(d, R13Table::kAppids,
              static_cast<CR13AppidRecord *>(MakeR13TableRecord(&d, kR13Appid)), "VELKO", "13");
    AddRecord(d, R13Table::kBlocks, new CR13BlockRecord(&d), "DOOR", "40");
    AddRecord(d, R13Table::kMlineStyles, new CR13MlineStyleRecord(&d), "STANDARD", "50");
}

void R13DxfEntityFixture::Open(const DxfText &groups) {
    if (binary_) {
        OpenBytes(R13DxfBinary(groups));
        return;
    }
    const std::string text = groups.Ascii();
    OpenBytes(std::vector<uint8_t>(text.begin(), text.end()));
}

void R13DxfEntityFixture::OpenBytes(const std::vector<uint8_t> &bytes) {
    reader_.reset();
    file_ =
        std::make_unique<TempFile>("r13_entity_" + std::to_string(++file_count) + ".dxf", bytes);
    auto opened = std::make_unique<CDrawingFile>();
    opened->Open(file_->c_str(), kDrawingFileRead);
    opened->SetPosition(binary_ ? CDxfStream::kBinarySentinelSize : 0, 0);
    drawing_.AttachFile(std::move(opened),
                        binary_ ? CR13Drawing::kBinaryDxf : CR13Drawing::kTextDxf);
    reader_ = std::make_unique<CR13DxfReader>(drawing_,
                                              binary_ ? CDxfStream::kBinary : CDxfStream::kAscii);
    int16_t code = 0;
    std::memset(name_, 0, sizeof name_);
    reader_->Stream().ReadGroup(&code, name_);
}

std::unique_ptr<CR13Entity> R13DxfEntityFixture::Make(int16_t type) {
    const R13EntityKind *kind = FindR13EntityKind(type);
    if (!kind || !kind->make)
        return nullptr;
    return std::unique_ptr<CR13Entity>(kind->make(&drawing_, type));
}

} // namespace velko_test
