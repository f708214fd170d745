// The order in which the loader of a release 13 DWG wants the objects of a file whose writer
// laid them out in another order: the tolerant road of CDB_READ_ANY_OBJECT_ORDER.
//
// The loader walks the objects in one order: the block control, each block header with its
// BLOCK, its entities and its ENDBLK, then each table's control object with its records,
// then the objects behind the tables with the multiline styles last. Other programs write
// the same objects in other orders (the controls first, the entities by kind). The plan
// finds every object through the object map and puts them in the loader's order, so that
// the same readers decode them with the same classes:
// - the block headers in the order the block control gives (its model and paper space
//   first, then its entries);
// - a block's BLOCK and ENDBLK are the ones its header names, or else the ones that name
//   the header as their owner;
// - a block's entities are those whose mode bits say model or paper space (for the two
//   spaces) or whose owner is the block's header; their order is the chain that starts at
//   the header's first entity and goes on by each entity's link to the next. A link that
//   leads out of the block or back to an entity already placed ends the chain there, and
//   the walk goes on at the lowest handle of the block not yet placed, so that every entity
//   is placed once and the walk ends;
// - the entities owned by an entity (the vertices of a POLYLINE, the attributes of an
//   INSERT, their SEQEND) follow their owner, by the same chain rule, the SEQEND last;
// - an entity whose head names no owner that the plan knows joins the group of its
//   neighbours by handle, when the entities just below and just above it are of one group;
// - each table's control object (the object of its type with the lowest handle) with the
//   records it names;
// - every other object in the file's order, the multiline styles behind them.
//
// Safety: the map's entries are held against the file (an offset outside it, or an object
// that does not read, is left out), no object is placed twice, and every loop places one
// object per step or ends.
#ifndef VELKO_R13_OBJECT_PLAN_H
#define VELKO_R13_OBJECT_PLAN_H

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

class CR13Drawing;
struct CR13TableHead;

class CR13ObjectPlan {
public:
    explicit CR13ObjectPlan(CR13Drawing &drawing) : drawing(drawing) {}

    // The offsets of the objects in the loader's order; empty when the file has no block
    // control, or a table lacks its control object.
    std::vector<int32_t> Make();

private:
    // Where an entity belongs by its mode bits.
    enum class Place : uint8_t { kNone, kModel, kPaper, kOwned };
    // What the plan knows of one object of the map.
    struct Item {
        uint32_t handle = 0;
        int32_t offset = 0;
        int16_t type = 0;
        bool entity = false;
        bool placed = false;
        Place place = Place::kNone;
        uint32_t owner = 0;
        uint32_t next = 0;
        // The group whose member the item is (a block, or the entities of an owner); -1 none.
        int group = -1;
        // The group of the entities this entity owns; -1 none.
        int members = -1;
        // A block header's first entity, BLOCK and ENDBLK, as it names them.
        uint32_t first_entity = 0;
        uint32_t block_start = 0;
        uint32_t block_end = 0;
    };

    // Reads the type and handle of every object of the map, and decodes each entity.
    void Catalogue();
    void DecodeEntity(Item &item, const uint8_t *object);
    void DecodeBlockHeader(Item &item, const uint8_t *object);
    // The object at `offset` as the file's reader gives it; null for one of the long size
    // form, an offset outside the file or a failed read.
    std::unique_ptr<uint8_t[]> ObjectAt(int32_t offset);
    // The block headers in the order of the block control. False without a block control.
    bool BlockOrder(std::vector<uint32_t> &headers);
    // Gives each entity its group: the block header it belongs to, or its owning entity.
    void GroupEntities(const std::vector<uint32_t> &headers);
    // An entity whose head names no group (an owner that is not known, or a head that did
    // not decode) joins the group of its neighbours by handle when both are of one group.
    void AdoptOrphans(const std::vector<int> &by_handle_order);
    void PlaceBlock(uint32_t header);
    // Places the members of `group` in chain order from `first`, each with its own members.
    void PlaceChain(int group, uint32_t first, bool with_members);
    // The BLOCK (type 4) or ENDBLK (type 5) of a header: the named one, or one it owns.
    int EndOfBlock(uint32_t header, uint32_t named, int16_t type) const;
    bool PlaceTables();
    // Decodes the table head of the control object `control` (its records of type
    // `record_type`) and places the control. False when it does not decode.
    bool PlaceControl(int control, int16_t record_type, CR13TableHead &head);
    void PlaceTheRest();
    void Put(int index);
    int IndexOf(uint32_t handle) const;

    CR13Drawing &drawing;
    std::vector<Item> items;
    std::unordered_map<uint32_t, int> by_handle;
    // The members of each group, in handle order; groups 0.. are the block headers.
    std::vector<std::vector<int>> groups;
    std::unordered_map<uint32_t, int> group_of_header;
    std::vector<int32_t> offsets;
    uint32_t model_header = 0;
    uint32_t paper_header = 0;
};

#endif
