#include "support/r13_dxf_fixture.h"

#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "io/drawing_file.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace velko_test {

namespace {

using Type = R13BinaryType;

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

R13BinaryType R13BinaryTypeOf(int code) {
    if ((code >= 10 && code <= 58) || (code >= 140 && code <= 147) ||
        (code >= 210 && code <= 230) || (code >= 1010 && code <= 1042))
        return Type::kReal;
    if ((code >= 62 && code <= 78) || (code >= 170 && code <= 178) ||
        (code >= 270 && code <= 275) || (code >= 280 && code <= 289) || code == 1070)
        return Type::kInt16;
    if ((code >= 90 && code <= 99) || code == 1071)
        return Type::kInt32;
    if (code == 310 || code == 1004)
        return Type::kChunk;
    return Type::kString;
}

std::vector<uint8_t> R13DxfBinary(const DxfText &groups) {
    static const char kSentinel[] = "AutoCAD Binary DXF\r\n\x1a";
    std::vector<uint8_t> out(kSentinel, kSentinel + 22);
    for (const auto &g : groups.Groups()) {
        PutLe<int16_t>(out, static_cast<int16_t>(g.first));
        switch (R13BinaryTypeOf(g.first)) {
        case Type::kString:
            out.insert(out.end(), g.second.begin(), g.second.end());
            out.push_back(0);
            break;
        case Type::kReal:
            PutLe<double>(out, std::strtod(g.second.c_str(), nullptr));
            break;
        case Type::kInt16:
            PutLe<int16_t>(out, static_cast<int16_t>(std::atoi(g.second.c_str())));
            break;
        case Type::kInt32:
            PutLe<int32_t>(out, static_cast<int32_t>(std::atol(g.second.c_str())));
            break;
        case Type::kChunk: {
            std::vector<uint8_t> data;
            for (size_t i = 0; i + 1 < g.second.size(); i += 2)
                data.push_back(
                    static_cast<uint8_t>(std::strtoul(g.second.substr(i, 2).c_str(), nullptr, 16)));
            out.push_back(static_cast<uint8_t>(data.size()));
            out.insert(out.end(), data.begin(), data.end());
            break;
        }
        }
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
