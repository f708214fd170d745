#include "support/dwg13_builder.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/header_texts.h"
#include "records/heap_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace velko_test {

namespace {

R13Object BytesOf(const CBitWriter &w) {
    return R13Object(w.Data(), w.Data() + w.TellSize());
}

void PutU32(std::vector<uint8_t> &b, size_t at, uint32_t v) {
    if (b.size() < at + 4)
        b.resize(at + 4, 0);
    for (int i = 0; i < 4; ++i)
        b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

void Append(std::vector<uint8_t> &to, const std::vector<uint8_t> &more) {
    to.insert(to.end(), more.begin(), more.end());
}

// The bytes of a handle value, most significant first, without leading zero bytes (one
// zero byte for 0).
std::vector<uint8_t> HandleBytes(uint32_t value) {
    std::vector<uint8_t> bytes;
    for (int i = 3; i >= 0; --i) {
        const uint8_t byte = static_cast<uint8_t>(value >> (8 * i));
        if (byte != 0 || !bytes.empty() || i == 0)
            bytes.push_back(byte);
    }
    return bytes;
}

} // namespace

// ---- Entities --------------------------------------------------------------------------------

void SetEntityHead(CR13Entity &entity, const R13EntityHead &head) {
    CDB_ENTITY *r = entity.GetData();
    entity.SetFileType(head.type);
    std::free(r->handle);
    std::free(r->layer_handle);
    std::free(r->line_type_handle);
    std::free(r->eed_data);
    r->handle = R13NewHandleText(head.handle);
    r->layer_handle = DuplicateText(head.layer_handle.c_str());
    r->line_type_handle = DuplicateText(head.line_type_handle.c_str());
    r->line_type_bylayer = head.line_type_handle == "-1" ? 1u : 0u;
    r->has_graphic = 0;
    r->mode_model = static_cast<uint32_t>(head.mode_model);
    r->mode_paper = static_cast<uint32_t>(head.space);
    r->space = static_cast<int16_t>(head.space);
    r->has_owner = head.mode_model == 0 && head.space == 0 ? 1u : 0u;
    r->owner = CHandleRef{4, head.owner};
    r->dictionary = CHandleRef{3, 0};
    r->reserved_bit_1 = 1;
    r->reserved_bit_2 = 0;
    r->no_links = static_cast<uint32_t>(head.no_links);
    r->previous = CHandleRef{4, head.previous};
    r->next = CHandleRef{4, head.next};
    r->color = head.color;
    r->line_type_scale = 1.0;
    r->eed_data = nullptr;
    r->eed_size = 0;
    if (!head.eed.empty()) {
        r->eed_data = static_cast<uint8_t *>(std::malloc(head.eed.size()));
        std::memcpy(r->eed_data, head.eed.data(), head.eed.size());
        r->eed_size = static_cast<uint16_t>(head.eed.size());
    }
}

R13Object EntityObjectOf(const CR13Entity &entity) {
    entity.GetData()->object_bits = entity.EstimateBits();
    CBitWriter w;
    entity.WriteDWG(w);
    return BytesOf(w);
}

R13Object EntityObject(const R13EntityHead &head) {
    const R13EntityKind *kind = FindR13EntityKind(head.type);
    // The public kind only decides which texts the object frees; a type without a row
    // goes as a sequence end, which has none.
    CR13PlainEntity entity(nullptr, kind ? kind->code : int16_t(CDB_SEQEND), head.type, 0);
    SetEntityHead(entity, head);
    return EntityObjectOf(entity);
}

std::vector<uint8_t> Eed13(uint32_t application_handle, const std::vector<uint8_t> &values) {
    const std::vector<uint8_t> handle = HandleBytes(application_handle);
    std::vector<uint8_t> eed;
    eed.push_back(static_cast<uint8_t>(0x50 + handle.size()));
    Append(eed, handle);
    Append(eed, values);
    return eed;
}

void PutEedShort(std::vector<uint8_t> &values, int16_t value) {
    values.push_back(70);
    values.push_back(static_cast<uint8_t>(value & 0xFF));
    values.push_back(static_cast<uint8_t>((value >> 8) & 0xFF));
}

void PutEedString(std::vector<uint8_t> &values, const std::string &text) {
    values.push_back(0);
    values.push_back(static_cast<uint8_t>(text.size()));
    values.push_back(0); // the code page, two bytes
    values.push_back(0);
    values.insert(values.end(), text.begin(), text.end());
}

void PutEedReal(std::vector<uint8_t> &values, double value) {
    values.push_back(40);
    uint8_t bytes[8];
    std::memcpy(bytes, &value, 8);
    values.insert(values.end(), bytes, bytes + 8);
}

R13Object OpaqueObject(int16_t type, uint32_t handle, size_t payload) {
    CBitWriter w;
    R13BeginObject(w, type);
    w.WriteBits(0, 4);
    w.WriteHandleText(R13HandleText(handle).c_str());
    for (size_t i = 0; i < payload; ++i)
        w.WriteByte(0);
    R13EndObject(w);
    return BytesOf(w);
}

// ---- Table records ---------------------------------------------------------------------------

namespace {

// Where the public record of a table of `record_type` keeps its handle text (the records
// are packed: the pointer is stored byte by byte).
size_t HandleOffset(int16_t record_type) {
    size_t at = 0;
    switch (record_type) {
    case kR13BlockHeader:
        at = offsetof(CDB_BLOCK_TBL, handle);
        break;
    case kR13Layer:
        at = offsetof(CDB_LAYER_TBL_type, handle);
        break;
    case kR13Style:
        at = offsetof(CDB_STYLE_TBL_type, handle);
        break;
    case kR13Ltype:
        at = offsetof(CDB_LTYPE_TBL_type, handle);
        break;
    case kR13View:
        at = offsetof(CDB_VIEW_TBL_type, handle);
        break;
    case kR13Ucs:
        at = offsetof(CDB_UCS_TBL_type, handle);
        break;
    case kR13Vport:
        at = offsetof(CDB_VPORT_TBL_type, handle);
        break;
    case kR13Appid:
        at = offsetof(CDB_APPID_TBL_type, handle);
        break;
    case kR13Dimstyle:
        at = offsetof(CDB_DIMSTYLE_TBL_type, handle);
        break;
    case kR13VpEntHdr:
        at = offsetof(R13VpEntHdrRecord, handle);
        break;
    case kR13MlineStyle:
        at = offsetof(CDB_MLINESTYLE_TBL_type, handle);
        break;
    default:
        break;
    }
    return at;
}

} // namespace

R13Object TableRecordObject(int16_t record_type, uint32_t handle, const char *name,
                            const std::function<void(void *record)> &fill) {
    std::unique_ptr<CR13TableRecord> record(MakeR13TableRecord(nullptr, record_type));
    if (!record)
        return R13Object();
    void *body = record->GetRecord();
    char *text = R13NewHandleText(handle);
    std::memcpy(static_cast<uint8_t *>(body) + HandleOffset(record_type), &text, sizeof text);
    record->SetName(name);
    if (fill)
        fill(body);
    CBitWriter w;
    record->WriteDWG(w);
    return BytesOf(w);
}

R13Object LayerObject(uint32_t handle, const char *name, int16_t color,
                      const char *line_type_handle, uint8_t raw_flags) {
    return TableRecordObject(kR13Layer, handle, name, [&](void *body) {
        auto *layer = static_cast<CDB_LAYER_TBL_type *>(body);
        layer->color = color;
        layer->flags_copy = raw_flags;
        layer->line_type_handle = DuplicateText(line_type_handle);
    });
}

R13Object LtypeObject(uint32_t handle, const char *name) {
    return TableRecordObject(kR13Ltype, handle, name);
}

R13Object StyleObject(uint32_t handle, const char *name, const char *font_file) {
    return TableRecordObject(kR13Style, handle, name, [&](void *body) {
        auto *style = static_cast<CDB_STYLE_TBL_type *>(body);
        style->font_file = DuplicateText(font_file);
        style->width_factor = 1.0;
    });
}

R13Object AppidObject(uint32_t handle, const char *name) {
    return TableRecordObject(kR13Appid, handle, name);
}

R13Object DimstyleObject(uint32_t handle, const char *name) {
    return TableRecordObject(kR13Dimstyle, handle, name);
}

R13Object MlineStyleObject(uint32_t handle, const char *name) {
    return TableRecordObject(kR13MlineStyle, handle, name);
}

// ---- Blocks ----------------------------------------------------------------------------------

R13Object BlockHeaderObject(const R13BlockSpec &block) {
    CR13BlockRecord record(nullptr);
    R13BlockBody &body = record.body;
    body.record.handle = R13NewHandleText(block.header_handle);
    record.SetName(block.name.c_str());
    body.base_point = block.base_point;
    body.xref_path = DuplicateText(block.xref_path.c_str());
    body.is_xref_block = block.xref ? 1 : 0;
    // The first and the last entity between BLOCK and ENDBLK, 0 when there is none.
    const uint32_t first = block.entities.empty() ? 0 : R13ObjectHandle(block.entities.front());
    const uint32_t last = block.entities.empty() ? 0 : R13ObjectHandle(block.entities.back());
    body.record.links.refs[3] = CHandleRef{4, first};
    body.record.links.refs[4] = CHandleRef{4, block.start_handle};
    body.record.links.refs[5] = CHandleRef{4, last};
    body.record.links.refs[6] = CHandleRef{3, block.end_handle};
    CBitWriter w;
    record.WriteDWG(w);
    return BytesOf(w);
}

R13Object BlockStartObject(uint32_t handle, uint32_t header, const char *name) {
    CR13BlockStart start(nullptr);
    SetEntityHead(start, R13EntityHead{}.Type(kR13BlockType).Handle(handle).InBlock(header));
    start.GetData()->block.name = DuplicateText(name);
    return EntityObjectOf(start);
}

uint32_t R13ObjectHandle(const R13Object &object) {
    if (object.size() < 4)
        return 0;
    CBitStream stream(object.data(), static_cast<int32_t>(object.size()));
    stream.Skip(2, 0);
    stream.ReadBitShort();
    stream.ReadBits(4);
    return stream.ReadHandleValue();
}

int16_t R13ObjectType(const R13Object &object) {
    if (object.size() < 4)
        return 0;
    CBitStream stream(object.data(), static_cast<int32_t>(object.size()));
    stream.Skip(2, 0);
    return static_cast<int16_t>(stream.ReadBitShort());
}

// ---- The builder -----------------------------------------------------------------------------

const std::array<int16_t, Dwg13Builder::kTableCount> Dwg13Builder::kRecordTypes = {
    kR13Layer, kR13Style, kR13Ltype,    kR13View,     kR13Ucs,
    kR13Vport, kR13Appid, kR13Dimstyle, kR13VpEntHdr,
};

Dwg13Builder::Dwg13Builder() {
    header.vars.treedepth = CR13Header::kTreedepth;
    header.vars.dragmode = 2;
    header.vars.saveimages = 0;
    SetHandseed("100");
    SetHeaderHandle(&CDB_HEADER_type::hclayer, "10");

    R13BlockSpec model;
    model.name = kModelSpaceName;
    model.header_handle = 0x20;
    model.start_handle = 0x21;
    model.end_handle = 0x22;
    R13BlockSpec paper = model;
    paper.name = kPaperSpaceName;
    paper.header_handle = 0x23;
    paper.start_handle = 0x24;
    paper.end_handle = 0x25;
    blocks = {model, paper};

    for (int t = 0; t < kTableCount; ++t)
        tables[t].control_handle = static_cast<uint32_t>(0x02 + t);
    tables[kLayerTable].records.push_back(LayerObject(0x10, "0", 7, "15"));
    tables[kStyleTable].records.push_back(StyleObject(0x11, "STANDARD"));
    tables[kLtypeTable].records.push_back(LtypeObject(0x15, "CONTINUOUS"));
    tables[kAppidTable].records.push_back(AppidObject(0x12, "ACAD"));
    tables[kDimstyleTable].records.push_back(DimstyleObject(0x1D, "STANDARD"));
    mline_styles.push_back(MlineStyleObject(0x18, "STANDARD"));
}

Dwg13Builder::~Dwg13Builder() = default;

R13BlockSpec *Dwg13Builder::Space(const char *name) {
    for (R13BlockSpec &block : blocks)
        if (block.name == name)
            return &block;
    return nullptr;
}

void Dwg13Builder::RemoveBlock(const char *name) {
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                                [name](const R13BlockSpec &b) { return b.name == name; }),
                 blocks.end());
}

void Dwg13Builder::SetHeaderHandle(char *CDB_HEADER_type::*member, const char *text) {
    char *&slot = header.vars.*member;
    std::free(slot);
    slot = DuplicateText(text);
}

void Dwg13Builder::SetHandseed(const char *text) {
    CopyIntoTextBlock(header.vars.handseed, kHeaderHandseedSize, text);
}

int32_t Dwg13Builder::OffsetOf(uint32_t handle) const {
    for (const ObjectMapEntry &entry : placed)
        if (entry.handle == handle)
            return entry.offset;
    return -1;
}

std::vector<uint8_t> Dwg13Builder::HeaderSection() const {
    CBitWriter w;
    header.Write(w);
    std::vector<uint8_t> section = header_prefix;
    section.insert(section.end(), w.Data(), w.Data() + w.TellSize());
    return section;
}

void Dwg13Builder::Place(std::vector<uint8_t> &file, R13Object object) {
    const uint32_t handle = R13ObjectHandle(object);
    auto edit = edit_objects.find(handle);
    if (edit != edit_objects.end() && edit->second)
        edit->second(object);
    placed.push_back(ObjectMapEntry{handle, static_cast<int32_t>(file.size())});
    Append(file, object);
}

R13Object Dwg13Builder::BlockControlObject() const {
    CR13TableHead head;
    head.handle = R13HandleText(block_control_handle);
    for (const R13BlockSpec &block : blocks) {
        if (block.name == kModelSpaceName)
            head.model_ref = CHandleRef{3, block.header_handle};
        else if (block.name == kPaperSpaceName)
            head.paper_ref = CHandleRef{3, block.header_handle};
        else
            head.entries.push_back(CHandleRef{2, block.header_handle});
    }
    head.entry_count = static_cast<int16_t>(head.entries.size());
    CBitWriter w;
    head.Write(w, kR13BlockHeader);
    return BytesOf(w);
}

namespace {

// The head of a block's BLOCK or ENDBLK: in model space, in paper space, or a member of the
// block that its header is.
R13EntityHead BoundaryHead(const R13BlockSpec &block, int16_t type, uint32_t handle) {
    R13EntityHead head;
    head.type = type;
    head.handle = handle;
    if (block.name == kPaperSpaceName)
        head.InPaperSpace();
    else if (block.name != kModelSpaceName)
        head.InBlock(block.header_handle);
    return head;
}

} // namespace

void Dwg13Builder::PlaceBlocks(std::vector<uint8_t> &file) {
    if (write_block_control)
        Place(file, BlockControlObject());
    for (const R13BlockSpec &block : blocks) {
        Place(file, BlockHeaderObject(block));
        if (block.write_start) {
            CR13BlockStart start(nullptr);
            const R13EntityHead head = BoundaryHead(block, kR13BlockType, block.start_handle);
            SetEntityHead(start, head);
            start.GetData()->block.name = DuplicateText(block.name.c_str());
            Place(file, EntityObjectOf(start));
        }
        for (const R13Object &entity : block.entities)
            Place(file, entity);
        if (block.write_end) {
            const R13EntityHead end = BoundaryHead(block, kR13EndBlockType, block.end_handle);
            Place(file, EntityObject(end));
        }
    }
}

void Dwg13Builder::PlaceTables(std::vector<uint8_t> &file) {
    for (int t = 0; t < kTableCount; ++t) {
        const R13TableSpec &table = tables[t];
        if (table.write_control) {
            CR13TableHead head;
            head.handle = R13HandleText(table.control_handle);
            for (const R13Object &record : table.records)
                head.entries.push_back(CHandleRef{2, R13ObjectHandle(record)});
            head.entry_count = static_cast<int16_t>(head.entries.size());
            // The line type control names its BYLAYER and BYBLOCK line types behind them.
            if (kRecordTypes[t] == kR13Ltype) {
                head.entries.push_back(CHandleRef{3, 0});
                head.entries.push_back(CHandleRef{3, 0});
            }
            CBitWriter w;
            head.Write(w, kRecordTypes[t]);
            Place(file, BytesOf(w));
        }
        for (const R13Object &record : table.records)
            Place(file, record);
    }
}

void Dwg13Builder::WriteHead(std::vector<uint8_t> &file, int32_t header_size, int32_t classes_at,
                             int32_t map_size, int32_t trailing_at) const {
    R13FileHead::PutVersion(file.data());
    file[R13FileHead::kRecordCountAt] = record_count;
    const int32_t records[4][2] = {
        {kHeadSize, header_size},
        {classes_at, static_cast<int32_t>(classes.size())},
        {map_offset, map_size},
        {trailing_at, write_trailing_section ? 32 : 0},
    };
    const int count = write_trailing_section ? 4 : 3;
    for (int i = 0; i < count; ++i)
        R13FileHead::PutRecord(file.data(), static_cast<size_t>(i),
                               static_cast<uint32_t>(records[i][0]),
                               static_cast<uint32_t>(records[i][1]));
}

std::vector<uint8_t> Dwg13Builder::Build() {
    placed.clear();
    std::vector<uint8_t> file(kHeadSize, 0);
    const std::vector<uint8_t> header_section = HeaderSection();
    Append(file, header_section);
    const int32_t classes_at = static_cast<int32_t>(file.size());
    Append(file, classes);

    objects_start = static_cast<int32_t>(file.size());
    for (const R13Object &object : objects_in_front)
        Place(file, object);
    PlaceBlocks(file);
    PlaceTables(file);
    for (const R13Object &object : other_objects)
        Place(file, object);
    for (const R13Object &object : mline_styles)
        Place(file, object);
    for (const R13Object &object : objects_behind)
        Place(file, object);

    map_entries = placed;
    map_entries.insert(map_entries.end(), extra_map_entries.begin(), extra_map_entries.end());
    std::stable_sort(
        map_entries.begin(), map_entries.end(),
        [](const ObjectMapEntry &a, const ObjectMapEntry &b) { return a.handle < b.handle; });
    map_offset = static_cast<int32_t>(file.size());
    const std::vector<uint8_t> map = EncodeObjectMap(map_entries);
    Append(file, map);

    const int32_t trailing_at = static_cast<int32_t>(file.size());
    if (write_trailing_section) {
        std::vector<uint8_t> trailing(32, 0);
        const int64_t start = trailing_objects_start >= 0 ? trailing_objects_start : objects_start;
        PutU32(trailing, 16, static_cast<uint32_t>(start));
        Append(file, trailing);
    }
    WriteHead(file, static_cast<int32_t>(header_section.size()), classes_at,
              static_cast<int32_t>(map.size()), trailing_at);
    return file;
}

} // namespace velko_test
