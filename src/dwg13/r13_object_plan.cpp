// The loader's order of the objects of a release 13 DWG laid out in another order.
#include "dwg13/r13_object_plan.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/drawing_file.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int16_t kBlockControlType = kR13BlockHeader - 1;
constexpr int16_t kSequenceEndType = 6;
// The object types of the entities that the chains hold.
constexpr int16_t kLastEntityType = 47;
constexpr uint8_t kLongSizeBit = 0x80;

// The handle a reference leads to from the object `own`: the codes 6 and 8 are the next and
// the previous handle, 10 and 12 an offset up or down; any other code holds the handle.
uint32_t Target(int16_t code, uint32_t value, uint32_t own) {
    switch (code) {
    case 6:
        return own + 1;
    case 8:
        return own - 1;
    case 10:
        return own + value;
    case 12:
        return own - value;
    default:
        return value;
    }
}

uint32_t Target(const CHandleRef &ref, uint32_t own) {
    return Target(ref.code, ref.value, own);
}

// An entity object whose head gave no place that a group knows (its owner unknown, or a
// head that did not decode): a chain that leads to it takes it.
template <typename Item> bool Adoptable(const Item &item) {
    return item.group < 0 && item.type >= 1 && item.type <= kLastEntityType &&
           item.type != kR13BlockType && item.type != kR13EndBlockType;
}

int16_t TypeOf(const uint8_t *object) {
    CBitStream stream(object);
    stream.Skip(2, 0);
    return static_cast<int16_t>(stream.ReadBitShort());
}

} // namespace

std::vector<int32_t> CR13ObjectPlan::Make() {
    Catalogue();
    std::vector<uint32_t> headers;
    if (!BlockOrder(headers))
        return {};
    GroupEntities(headers);
    for (uint32_t header : headers)
        PlaceBlock(header);
    if (!PlaceTables())
        return {};
    PlaceTheRest();
    return std::move(offsets);
}

std::unique_ptr<uint8_t[]> CR13ObjectPlan::ObjectAt(int32_t offset) {
    CDrawingFile &file = *drawing.file;
    uint8_t size[2] = {};
    if (offset < 0 || static_cast<uint32_t>(offset) >= file.Length() ||
        !file.SetPosition(offset, 0) || !file.Read(size, 2) || file.GetPosition() != offset + 2 ||
        (size[1] & kLongSizeBit))
        return nullptr;
    file.SetPosition(offset, 0);
    std::unique_ptr<uint8_t[]> object = file.ReadObject();
    if (file.read_failed)
        return nullptr;
    return object;
}

void CR13ObjectPlan::Catalogue() {
    const CObjectMap &map = *drawing.object_map;
    items.reserve(map.Count());
    for (size_t i = 0; i < map.Count(); ++i) {
        const ObjectMapEntry &entry = map.At(i);
        if (by_handle.count(entry.handle))
            continue;
        std::unique_ptr<uint8_t[]> object = ObjectAt(entry.offset);
        if (!object)
            continue;
        Item item;
        item.handle = entry.handle;
        item.offset = entry.offset;
        item.type = TypeOf(object.get());
        if (item.type >= 1 && item.type <= kLastEntityType)
            DecodeEntity(item, object.get());
        else if (item.type == kR13BlockHeader)
            DecodeBlockHeader(item, object.get());
        by_handle.emplace(item.handle, static_cast<int>(items.size()));
        items.push_back(item);
    }
}

void CR13ObjectPlan::DecodeEntity(Item &item, const uint8_t *object) {
    std::unique_ptr<CR13Entity> entity = drawing.MakeEntityOfType(item.type);
    if (!entity)
        return;
    CBitStream stream(object);
    if (!entity->ReadDWG(stream))
        return;
    const CDB_ENTITY &record = *entity->GetData();
    item.entity = true;
    if (record.mode_model)
        item.place = Place::kModel;
    else if (record.mode_paper)
        item.place = Place::kPaper;
    else {
        item.place = Place::kOwned;
        item.owner = Target(record.owner, item.handle);
    }
    // An entity without links of its own is linked to the handles beside its own.
    item.next = record.no_links ? item.handle + 1 : Target(record.next, item.handle);
}

void CR13ObjectPlan::DecodeBlockHeader(Item &item, const uint8_t *object) {
    CR13BlockRecord header(&drawing);
    if (!header.ReadDWG(object))
        return;
    item.first_entity = Target(header.Ref(3), item.handle);
    item.block_start = Target(header.Ref(4), item.handle);
    item.block_end = Target(header.Ref(6), item.handle);
}

int CR13ObjectPlan::IndexOf(uint32_t handle) const {
    auto found = by_handle.find(handle);
    return found == by_handle.end() ? -1 : found->second;
}

void CR13ObjectPlan::Put(int index) {
    items[static_cast<size_t>(index)].placed = true;
    offsets.push_back(items[static_cast<size_t>(index)].offset);
}

bool CR13ObjectPlan::PlaceControl(int control, int16_t record_type, CR13TableHead &head) {
    std::unique_ptr<uint8_t[]> object = ObjectAt(items[static_cast<size_t>(control)].offset);
    if (!object)
        return false;
    CBitStream stream(object.get());
    if (!head.Read(stream, record_type))
        return false;
    Put(control);
    return true;
}

bool CR13ObjectPlan::BlockOrder(std::vector<uint32_t> &headers) {
    int control = -1;
    for (size_t i = 0; i < items.size() && control < 0; ++i)
        if (items[i].type == kBlockControlType)
            control = static_cast<int>(i);
    if (control < 0)
        return false;
    CR13TableHead head;
    if (!PlaceControl(control, kR13BlockHeader, head))
        return false;
    const uint32_t own = items[static_cast<size_t>(control)].handle;
    model_header = Target(head.model_ref, own);
    paper_header = Target(head.paper_ref, own);
    std::vector<uint32_t> named{model_header, paper_header};
    for (const CHandleRef &ref : head.entries)
        named.push_back(Target(ref, own));
    for (uint32_t handle : named) {
        const int index = IndexOf(handle);
        if (index < 0 || items[static_cast<size_t>(index)].type != kR13BlockHeader ||
            group_of_header.count(handle))
            continue;
        group_of_header.emplace(handle, static_cast<int>(groups.size()));
        groups.emplace_back();
        headers.push_back(handle);
    }
    return true;
}

void CR13ObjectPlan::GroupEntities(const std::vector<uint32_t> &headers) {
    (void)headers;
    std::vector<int> order(items.size());
    for (size_t i = 0; i < items.size(); ++i)
        order[i] = static_cast<int>(i);
    std::sort(order.begin(), order.end(),
              [this](int a, int b) { return items[size_t(a)].handle < items[size_t(b)].handle; });
    for (int index : order) {
        Item &item = items[static_cast<size_t>(index)];
        if (!item.entity || item.type == kR13BlockType || item.type == kR13EndBlockType)
            continue;
        uint32_t header = 0;
        if (item.place == Place::kModel)
            header = model_header;
        else if (item.place == Place::kPaper)
            header = paper_header;
        else if (item.place == Place::kOwned) {
            const int owner = IndexOf(item.owner);
            if (owner >= 0 && owner != index && items[static_cast<size_t>(owner)].entity) {
                Item &parent = items[static_cast<size_t>(owner)];
                if (parent.members < 0) {
                    parent.members = static_cast<int>(groups.size());
                    groups.emplace_back();
                }
                item.group = parent.members;
                groups[static_cast<size_t>(item.group)].push_back(index);
                continue;
            }
            header = item.owner;
        }
        auto found = group_of_header.find(header);
        if (found == group_of_header.end())
            continue;
        item.group = found->second;
        groups[static_cast<size_t>(item.group)].push_back(index);
    }
    AdoptOrphans(order);
}

void CR13ObjectPlan::AdoptOrphans(const std::vector<int> &by_handle_order) {
    // The group of the nearest grouped entity below and above each place, in handle order.
    const size_t n = by_handle_order.size();
    std::vector<int> below(n, -1), above(n, -1);
    int last = -1;
    for (size_t k = 0; k < n; ++k) {
        below[k] = last;
        const Item &item = items[size_t(by_handle_order[k])];
        if (item.group >= 0)
            last = item.group;
    }
    last = -1;
    for (size_t k = n; k-- > 0;) {
        above[k] = last;
        const Item &item = items[size_t(by_handle_order[k])];
        if (item.group >= 0)
            last = item.group;
    }
    for (size_t k = 0; k < n; ++k) {
        const int index = by_handle_order[k];
        Item &item = items[static_cast<size_t>(index)];
        if (!Adoptable(item) || below[k] < 0 || below[k] != above[k])
            continue;
        item.group = below[k];
        std::vector<int> &members = groups[static_cast<size_t>(item.group)];
        auto at =
            std::lower_bound(members.begin(), members.end(), item.handle,
                             [this](int m, uint32_t h) { return items[size_t(m)].handle < h; });
        members.insert(at, index);
    }
}

int CR13ObjectPlan::EndOfBlock(uint32_t header, uint32_t named, int16_t type) const {
    const int index = IndexOf(named);
    if (index >= 0 && items[static_cast<size_t>(index)].type == type &&
        !items[static_cast<size_t>(index)].placed)
        return index;
    for (size_t i = 0; i < items.size(); ++i)
        if (items[i].type == type && items[i].entity && !items[i].placed &&
            items[i].place == Place::kOwned && items[i].owner == header)
            return static_cast<int>(i);
    return -1;
}

void CR13ObjectPlan::PlaceBlock(uint32_t handle) {
    const int header = IndexOf(handle);
    Item &item = items[static_cast<size_t>(header)];
    // The header names the BLOCK and the first entity, in either order: the BLOCK is the one
    // of its type.
    const int named = IndexOf(item.first_entity);
    if (named >= 0 && items[static_cast<size_t>(named)].type == kR13BlockType)
        std::swap(item.first_entity, item.block_start);
    const int start = EndOfBlock(handle, item.block_start, kR13BlockType);
    const int end = EndOfBlock(handle, item.block_end, kR13EndBlockType);
    // Without its ENDBLK the block's walk would run on into the next block: it is left out.
    if (end < 0)
        return;
    Put(header);
    if (start >= 0)
        Put(start);
    PlaceChain(group_of_header[handle], item.first_entity, true);
    Put(end);
}

void CR13ObjectPlan::PlaceChain(int group, uint32_t first, bool with_members) {
    const std::vector<int> &members = groups[static_cast<size_t>(group)];
    auto takes = [&](int index) {
        if (index < 0)
            return false;
        const Item &item = items[static_cast<size_t>(index)];
        return !item.placed && item.type != kSequenceEndType &&
               (item.group == group || Adoptable(item));
    };
    size_t lowest = 0;
    int current = takes(IndexOf(first)) ? IndexOf(first) : -1;
    for (;;) {
        if (current < 0) {
            while (lowest < members.size() && !takes(members[lowest]))
                ++lowest;
            if (lowest == members.size())
                break;
            current = members[lowest];
        }
        Put(current);
        Item &item = items[static_cast<size_t>(current)];
        item.group = group;
        if (with_members && item.members >= 0)
            PlaceChain(item.members, 0, false);
        const int next = item.next ? IndexOf(item.next) : -1;
        current = takes(next) ? next : -1;
    }
    for (int index : members)
        if (!items[static_cast<size_t>(index)].placed)
            Put(index);
}

bool CR13ObjectPlan::PlaceTables() {
    for (size_t t = static_cast<size_t>(R13Table::kLayers);
         t <= static_cast<size_t>(R13Table::kVpEntHdrs); ++t) {
        const int16_t record_type = drawing.tables[t]->RecordType();
        int control = -1;
        for (size_t i = 0; i < items.size(); ++i)
            if (items[i].type == record_type - 1 && !items[i].placed &&
                (control < 0 || items[i].handle < items[static_cast<size_t>(control)].handle))
                control = static_cast<int>(i);
        if (control < 0)
            return false;
        CR13TableHead head;
        if (!PlaceControl(control, record_type, head))
            return false;
        const uint32_t own = items[static_cast<size_t>(control)].handle;
        for (const CHandleRef &ref : head.entries) {
            const int index = IndexOf(Target(ref, own));
            if (index >= 0 && items[static_cast<size_t>(index)].type == record_type &&
                !items[static_cast<size_t>(index)].placed)
                Put(index);
        }
    }
    return true;
}

void CR13ObjectPlan::PlaceTheRest() {
    std::vector<int> order;
    for (size_t i = 0; i < items.size(); ++i)
        if (!items[i].placed)
            order.push_back(static_cast<int>(i));
    std::sort(order.begin(), order.end(),
              [this](int a, int b) { return items[size_t(a)].offset < items[size_t(b)].offset; });
    for (int index : order)
        if (items[static_cast<size_t>(index)].type != kR13MlineStyle)
            Put(index);
    for (int index : order)
        if (items[static_cast<size_t>(index)].type == kR13MlineStyle)
            Put(index);
}
