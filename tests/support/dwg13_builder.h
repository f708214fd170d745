// Hand-made release 13 ("AC1012") DWG files for the unit tests, built in memory with the
// library's own writers.
//
// A test describes a drawing -- the header variables, the blocks with their entities, the
// records of the nine tables, the objects behind them and the multiline styles -- and
// Build() lays it out the way the reader walks a file:
//
//   the file head     "AC1012", the record count at byte 21, the section records at 25
//                     (header variables, classes, object map, trailing section), a zero
//                     check and sixteen zero bytes;
//   header variables  `header_prefix`, then CR13Header::Write of `header`;
//   classes           `classes`, as given (never parsed by the reader);
//   the object area   `objects_in_front`, the block control, per block its header (49),
//                     BLOCK (4), its entities and ENDBLK (5); the nine table control
//                     objects, each followed by its records; `other_objects`; the
//                     multiline styles (73); `objects_behind`;
//   the object map    EncodeObjectMap of every object of the area (handle read from the
//                     object's bytes, sorted by handle) and of `extra_map_entries`;
//   trailing section  32 bytes whose u32 at byte 16 is the object area's start (or
//                     `trailing_objects_start` when a test sets it).
//
// Every object of the description is its whole file form (size field, bit stream, check),
// so a test may put in any object it likes: one made by a helper below, one written by a
// library class (an entity's WriteDWG, a table record's WriteDWG), or bytes it built by
// hand. `edit_objects` changes the bytes of one object, by handle, after the builder made
// it -- the way to damage a single object of a file that is otherwise sound.
//
// Example (a drawing with one layer and one entity in model space, written to disk):
//
//   velko_test::Dwg13Builder b;                    // the spaces, layer "0", the tables
//   b.Space(velko_test::kModelSpaceName)->entities.push_back(
//       velko_test::EntityObject(velko_test::R13EntityHead{}.Handle(0x40)));
//   b.tables[velko_test::Dwg13Builder::kLayerTable].records.push_back(
//       velko_test::LayerObject(0x41, "WALLS", 3, "15"));
//   std::vector<uint8_t> bytes = b.Build();
//   std::FILE *f = std::fopen("/tmp/one.dwg", "wb");
//   std::fwrite(bytes.data(), 1, bytes.size(), f);
//   std::fclose(f);
//
// The header is found by its tree depth: the builder keeps `treedepth` at 3020, and its
// default `dragmode` 2 and `saveimages` 0 make the flags and the three values in front of
// the tree depth exactly 56 bits, so the reader's search behind `header_prefix` lands on
// the flags. A test that changes those two values changes what the search finds.
#ifndef VELKO_TEST_DWG13_BUILDER_H
#define VELKO_TEST_DWG13_BUILDER_H

#include "dwg13/r13_file_head.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

class CR13Entity;

namespace velko_test {

// One object in its file form: size field, data, check bytes.
using R13Object = std::vector<uint8_t>;

constexpr char kModelSpaceName[] = "*MODEL_SPACE";
constexpr char kPaperSpaceName[] = "*PAPER_SPACE";

// The head of an entity object, as the common head and trailer carry it. The default is a
// model space entity on layer 0x10 with line type BYLAYER and no links.
struct R13EntityHead {
    int16_t type = 6; // the object type (6, SEQEND, has no data of its own)
    uint32_t handle = 0;
    // The mode bits: a member of a block has both 0 (and then an owner), model space
    // mode_model 1, paper space space 1.
    int mode_model = 1;
    int space = 0;
    uint32_t owner = 0;
    std::string layer_handle = "10";
    // "-1" is BYLAYER (the flag set, no handle in the stream); anything else a handle.
    std::string line_type_handle = "-1";
    int16_t color = 256;
    // The links to the previous and next entity; none when `no_links` is set.
    int no_links = 1;
    uint32_t previous = 0;
    uint32_t next = 0;
    // Extended data in the file's form: per application a marker 0x51 to 0x58, the
    // application's handle bytes, the values (see Eed13 below).
    std::vector<uint8_t> eed;

    R13EntityHead &Type(int16_t t) {
        type = t;
        return *this;
    }
    R13EntityHead &Handle(uint32_t h) {
        handle = h;
        return *this;
    }
    R13EntityHead &InPaperSpace() {
        mode_model = 0;
        space = 1;
        return *this;
    }
    R13EntityHead &InBlock(uint32_t block_header) {
        mode_model = 0;
        space = 0;
        owner = block_header;
        return *this;
    }
    R13EntityHead &Layer(const std::string &h) {
        layer_handle = h;
        return *this;
    }
    R13EntityHead &LineType(const std::string &h) {
        line_type_handle = h;
        return *this;
    }
    R13EntityHead &Eed(const std::vector<uint8_t> &bytes) {
        eed = bytes;
        return *this;
    }
};

// An entity object with the head `head` and no data of its own, written by the library's
// entity writer (CR13Entity::WriteDWG). Any type may be given: a type that has data of its
// own makes an object that a reader of that type would find short.
R13Object EntityObject(const R13EntityHead &head);
// For kinds with data of their own: gives a library entity object (of any class) the head
// `head` -- its file type, handle, mode bits, references, colour, extended data -- so that
// the test fills the kind's own fields and writes it with EntityObjectOf, e.g.
//   const R13EntityKind *kind = FindR13EntityKind(19);
//   std::unique_ptr<CR13Entity> line(kind->make(nullptr, 19));
//   SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(0x40));
//   line->GetData()->line.end_point = CDB_POINT3{1, 2, 0};
//   block.entities.push_back(EntityObjectOf(*line));
void SetEntityHead(CR13Entity &entity, const R13EntityHead &head);
// The object of a library entity: its size in bits estimated, then CR13Entity::WriteDWG.
R13Object EntityObjectOf(const CR13Entity &entity);

// Extended data of one application in the file's form: the marker of a `handle_bytes`
// long handle, the handle's bytes (most significant first), then `values` as given.
std::vector<uint8_t> Eed13(uint32_t application_handle, const std::vector<uint8_t> &values);
// Values of the release 13 coding: code 70 and a short, code 0 and a string (length, code
// page 0, characters), code 40 and a double.
void PutEedShort(std::vector<uint8_t> &values, int16_t value);
void PutEedString(std::vector<uint8_t> &values, const std::string &text);
void PutEedReal(std::vector<uint8_t> &values, double value);

// An object of any type that the reader does not decode: the type, the handle and
// `payload` zero bytes. A dictionary, a group, an object of a class.
R13Object OpaqueObject(int16_t type, uint32_t handle, size_t payload = 4);

// Table records written by the library's record classes. The record is made empty, given
// its handle and name, then `fill` (may be empty) sets what the test needs.
R13Object LayerObject(uint32_t handle, const char *name, int16_t color = 7,
                      const char *line_type_handle = "15", uint8_t raw_flags = 0);
R13Object LtypeObject(uint32_t handle, const char *name);
R13Object StyleObject(uint32_t handle, const char *name, const char *font_file = "txt");
R13Object AppidObject(uint32_t handle, const char *name);
R13Object DimstyleObject(uint32_t handle, const char *name);
R13Object MlineStyleObject(uint32_t handle, const char *name);
// Any table record: `record_type` picks the class, `fill` gets its public record (the
// CDB_..._TBL_type of the table) as void *.
R13Object TableRecordObject(int16_t record_type, uint32_t handle, const char *name,
                            const std::function<void(void *record)> &fill = {});

// One block: its header, its BLOCK, its entities and its ENDBLK.
struct R13BlockSpec {
    std::string name;
    uint32_t header_handle = 0; // the block header object (type 49)
    uint32_t start_handle = 0;  // BLOCK (type 4)
    uint32_t end_handle = 0;    // ENDBLK (type 5)
    CDB_POINT3 base_point{0.0, 0.0, 0.0};
    // A block of an external reference: the header's reference bits and its stored path.
    bool xref = false;
    std::string xref_path;
    // The objects between BLOCK and ENDBLK, in file order.
    std::vector<R13Object> entities;
    // Whether BLOCK and ENDBLK are written (a block without its ENDBLK runs into what
    // follows).
    bool write_start = true;
    bool write_end = true;
};

// The block header object of `block`: its name, its base point, and the references to
// its first entity, its BLOCK, its last entity and its ENDBLK, from the handles of `block`.
R13Object BlockHeaderObject(const R13BlockSpec &block);
// A BLOCK object (type 4) with the handle `handle`, owned by the block header `header`,
// named `name`: the start of a block that a block header behind the tables redefines.
R13Object BlockStartObject(uint32_t handle, uint32_t header, const char *name);

// One table: its control object's handle and the record objects behind it.
struct R13TableSpec {
    uint32_t control_handle = 0;
    std::vector<R13Object> records;
    // Whether the control object is written at all.
    bool write_control = true;
};

class Dwg13Builder {
public:
    // The nine tables behind the blocks, in the reader's order.
    enum TableIndex {
        kLayerTable,
        kStyleTable,
        kLtypeTable,
        kViewTable,
        kUcsTable,
        kVportTable,
        kAppidTable,
        kDimstyleTable,
        kVpEntHdrTable,
        kTableCount,
    };
    // The record type of each table (its control object is one less).
    static const std::array<int16_t, kTableCount> kRecordTypes;

    // A sound drawing: *MODEL_SPACE (header 0x20, BLOCK 0x21, ENDBLK 0x22) and
    // *PAPER_SPACE (0x23, 0x24, 0x25), both without entities; the control objects 0x01
    // (blocks) and 0x02 to 0x0A (the nine tables, in order); layer "0" (0x10) and line
    // type "CONTINUOUS" (0x15), text style "STANDARD" (0x11), application "ACAD" (0x12),
    // dimension style "STANDARD" (0x1D); the multiline style "STANDARD" (0x18). The header:
    // handseed "100", hclayer "10", hceltype and hdimstyle empty.
    Dwg13Builder();
    ~Dwg13Builder();
    Dwg13Builder(const Dwg13Builder &) = delete;
    Dwg13Builder &operator=(const Dwg13Builder &) = delete;

    // The whole file.
    std::vector<uint8_t> Build();

    // Shortcuts into the description.
    R13BlockSpec *Space(const char *name); // the block of that name, or null
    void RemoveBlock(const char *name);    // takes the block out of `blocks`
    // Replaces one of the header's handle texts (hclayer, htextstyle, ...); null clears.
    void SetHeaderHandle(char *CDB_HEADER_type::*member, const char *text);
    void SetHandseed(const char *text);

    // ---- Where things land (valid after Build) ----------------------------------------
    // The offset of the header variables section: behind the head, which always has room
    // for four records.
    static int32_t HeaderSectionOffset() { return kHeadSize; }
    int32_t ObjectsStart() const { return objects_start; }
    int32_t MapOffset() const { return map_offset; }
    // The file offset of the object with that handle, -1 when the area has none.
    int32_t OffsetOf(uint32_t handle) const;
    // The map entries as written (sorted by handle).
    const std::vector<ObjectMapEntry> &MapEntries() const { return map_entries; }

    // ---- The description -------------------------------------------------------------
    // Byte 21 of the head: 3 (the area starts at the map's lowest offset) or 4 (at the
    // value of the trailing section).
    uint8_t record_count = 4;
    // Whether the trailing section is written (its record at byte 52 too, whatever
    // `record_count` says), and the start it gives; -1 gives the true start.
    bool write_trailing_section = true;
    int64_t trailing_objects_start = -1;

    std::vector<uint8_t> header_prefix = std::vector<uint8_t>(20, 0);
    CR13Header header;
    std::vector<uint8_t> classes;

    std::vector<R13Object> objects_in_front;
    uint32_t block_control_handle = 0x01;
    bool write_block_control = true;
    std::vector<R13BlockSpec> blocks;
    std::array<R13TableSpec, kTableCount> tables;
    std::vector<R13Object> other_objects;
    std::vector<R13Object> mline_styles;
    std::vector<R13Object> objects_behind;

    // Entries added to the map beside those of the objects (handle, absolute offset).
    std::vector<ObjectMapEntry> extra_map_entries;
    // Edits of single objects by handle, run on the object's bytes once it is made.
    std::map<uint32_t, std::function<void(R13Object &)>> edit_objects;

private:
    static constexpr int32_t kHeadSize = static_cast<int32_t>(R13FileHead::SizeFor(4));

    std::vector<uint8_t> HeaderSection() const;
    // Appends one object to the area, after its edit; notes its handle and offset.
    void Place(std::vector<uint8_t> &file, R13Object object);
    void PlaceBlocks(std::vector<uint8_t> &file);
    void PlaceTables(std::vector<uint8_t> &file);
    R13Object BlockControlObject() const;
    void WriteHead(std::vector<uint8_t> &file, int32_t header_size, int32_t classes_at,
                   int32_t map_size, int32_t trailing_at) const;

    int32_t objects_start = 0;
    int32_t map_offset = 0;
    std::vector<ObjectMapEntry> placed;
    std::vector<ObjectMapEntry> map_entries;
};

// The handle of an object in its file form: behind the size and the type, a 4-bit code
// and the handle's bytes.
uint32_t R13ObjectHandle(const R13Object &object);
// The type of an object in its file form.
int16_t R13ObjectType(const R13Object &object);

} // namespace velko_test

#endif
