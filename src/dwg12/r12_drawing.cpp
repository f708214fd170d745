#include "dwg12/r12_drawing.h"

#include "io/byte_order.h"
#include "io/drawing_file.h"
#include "records/eed_cursor.h"
#include "records/header_vars.h"

#include <cstring>
#include <vector>

namespace {
// Offset of table t's descriptor in the trailer, and the order the tables are read in.
constexpr int kDescriptorBase = 28;
constexpr int kDescriptorSize = 10;
constexpr int kTableOrder[10] = {kR12Blocks, kR12Layers, kR12VxHeaders, kR12Dimstyles, kR12Vports,
                                 kR12Views,  kR12Appids, kR12Ucs,       kR12Styles,    kR12Ltypes};
} // namespace

CR12Drawing::CR12Drawing(CLibDrawing *owner, int flag) : CListDrawing(flag) {
    SetLib(owner);
    for (int t = 0; t < 10; ++t)
        tables[t] = std::make_unique<CR12TableList>(this, static_cast<int16_t>(t));
}

CR12Drawing::~CR12Drawing() = default;

int CR12Drawing::OpenDWG(const char *name, CDB_OPEN_MODE mode) {
    if (file) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return 0;
    }
    auto opened = std::make_unique<CDrawingFile>();
    if (!opened->Open(name, mode)) {
        SetError(CDB_ERR_OPENING_FILE);
        return 0;
    }
    return OpenDWGFrom(std::move(opened), name);
}

int CR12Drawing::OpenDWGFrom(std::unique_ptr<CDrawingFile> opened, const char *name) {
    if (file) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return 0;
    }
    file = std::move(opened);
    file_name = name;
    file->in_entity_section = 0;
    auto fail = [this](short code) {
        file->Close();
        file.reset();
        SetError(code);
        return 0;
    };
    if (file->Length() != 0) {
        // A new, empty file has no header to check.
        file->SetPosition(0, 0);
        if (!file->Read(file->version, 6))
            return fail(CDB_ERR_FILE_READ);
        if (std::memcmp(file->version, "AC1009", 6) != 0)
            return fail(CDB_ERR_VERSION_MISMATCH);
        file->SetPosition(-150, 2);
        if (file->GetPosition() < 0)
            return fail(CDB_ERR_INVALID_FILE);
        if (!file->Read(file->trailer, sizeof file->trailer))
            return fail(CDB_ERR_FILE_READ);
        if (!file->Rewind())
            return fail(CDB_ERR_FILE_SEEK);
    }
    file_kind = kDwg;
    ArmFrameBudget();
    return 1;
}

int CR12Drawing::Rewind() {
    if (!file) {
        SetError(CDB_ERR_FILE_NOT_OPEN);
        return 0;
    }
    if (!file->Rewind()) {
        SetError(CDB_ERR_FILE_SEEK);
        return 0;
    }
    return 1;
}

int CR12Drawing::CloseDWGFile() {
    if (!file) {
        SetError(CDB_ERR_FILE_NOT_OPEN);
        return 0;
    }
    if (!file->Close()) {
        SetError(CDB_ERR_FILE_CLOSE);
        return 0;
    }
    file.reset();
    return 1;
}

int CR12Drawing::LoadDWG() {
    if (file_kind != kDwg)
        return LoadDXF();
    if (!tables_loaded) {
        SetError(CDB_ERR_FILE_READ);
        if (!LoadTables())
            return 0;
        SetError(0);
    }
    tables_loaded = 1;
    if (!InXref() && !header_loaded) {
        if (!LoadHeader())
            return 0;
        header_loaded = 1;
    }
    return 1;
}

int CR12Drawing::LoadTables() {
    if (!file)
        return 0;
    for (int t : kTableOrder) {
        const uint8_t *descriptor = file->trailer + kDescriptorBase + kDescriptorSize * t;
        // An empty viewport table is replaced by the active viewport of the header, which
        // has not been read yet at this point: decode it for the purpose.
        std::unique_ptr<CR12Header> scratch;
        if (t == kR12Vports) {
            int16_t count = 0;
            ReadValueAt(descriptor, kDescriptorSize, 4, count);
            if (count == 0) {
                scratch = std::make_unique<CR12Header>();
                std::vector<uint8_t> block(CR12Header::kBlockSize, 0);
                int32_t noted = file->GetPosition();
                file->SetPosition(0, 0);
                if (file->Read(block.data(), CR12Header::kBlockSize))
                    scratch->Decode(block.data());
                file->SetPosition(noted, 0);
            }
        }
        if (!LoadR12Table(this, *file, *tables[t], descriptor, scratch ? &scratch->vars : nullptr))
            return 0;
    }
    return 1;
}

int CR12Drawing::LoadHeader() {
    if (!file)
        return 0;
    int32_t noted = file->GetPosition();
    std::vector<uint8_t> block(CR12Header::kBlockSize, 0);
    file->SetPosition(0, 0);
    if (!file->Read(block.data(), CR12Header::kBlockSize)) {
        file->SetPosition(noted, 0);
        return 0;
    }
    header.Decode(block.data());
    file->SetPosition(noted, 0);
    return 1;
}

int CR12Drawing::TriggerLoading() {
    if (file_kind != kDwg)
        return LoadDXF();
    if (!entities_loaded) {
        // Only a list that was not empty fails; a broken or empty section counts as read.
        if (LoadEntitySection() == 0)
            return 0;
        // The end sentinel closes the main section.
        entities.Append(new CR12EndBlock(this));
    }
    entities_loaded = 1;
    if (!blocks_loaded) {
        if (LoadBlockSection() == 0)
            return 0;
        HandOutViewportHeaders();
        RewindCursors();
    }
    blocks_loaded = 1;
    return 1;
}

void CR12Drawing::LoadEntities() {
    if (file_kind != kDwg) {
        // View mode leaves the entities of a DXF file for this call.
        LoadDxfEntities();
        return;
    }
    LoadEntitySection();
}

CDB_HEADER_type *CR12Drawing::GetAllVars() {
    return &header.vars;
}

char *CR12Drawing::GetFileName() {
    return file_name.data();
}

const std::string &CR12Drawing::GetAcadVersion() {
    const char *text = header.vars.acadver;
    if (header_loaded && text && *text)
        acad_version.assign(text);
    else
        acad_version.assign(file ? file->version : "", file ? strnlen(file->version, 6) : 0);
    return acad_version;
}

short CR12Drawing::GetVariableValue(const char *name, CDB_VAR_VALUE_type *value) {
    if (!name || !value)
        return 0;
    return GetHeaderVariable(header.vars, HeaderRelease::R12, name, value);
}

CTableList *CR12Drawing::PublicTable(TableBase which) {
    switch (which) {
    case TableBase::kBlocks:
        return &Table(kR12Blocks);
    case TableBase::kLayers:
        return &Table(kR12Layers);
    case TableBase::kLtypes:
        return &Table(kR12Ltypes);
    case TableBase::kDimstyles:
        return &Table(kR12Dimstyles);
    case TableBase::kStyles:
        return &Table(kR12Styles);
    case TableBase::kAppids:
        return &Table(kR12Appids);
    case TableBase::kViews:
        return &Table(kR12Views);
    case TableBase::kUcs:
        return &Table(kR12Ucs);
    case TableBase::kVports:
        return &Table(kR12Vports);
    default:
        return nullptr;
    }
}
