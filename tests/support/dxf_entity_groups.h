// A small reader of ASCII DXF for tests: the entities of the ENTITIES and BLOCKS sections,
// each with its name (group 0), its handle (group 5) and all its groups in file order.
//
// Lines end at a line feed; carriage returns are dropped; a code line is a decimal number
// after leading blanks. Nothing of the library is used, so that a test can hold what the
// library reads against what another program wrote.
#ifndef VELKO_TEST_DXF_ENTITY_GROUPS_H
#define VELKO_TEST_DXF_ENTITY_GROUPS_H

#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {

struct DxfGroup {
    int code = 0;
    std::string value;
};

struct DxfEntityGroups {
    std::string section; // "ENTITIES" or "BLOCKS"
    std::string name;    // the value of group 0
    std::string handle;  // the value of group 5, upper case; empty when absent
    std::vector<DxfGroup> groups;

    // The n-th (from 0) group with `code`, or null.
    const std::string *Find(int code, int n = 0) const;
    bool Has(int code) const { return Find(code) != nullptr; }
    // Group `code` as a number, `fallback` when absent.
    double Real(int code, double fallback = 0.0, int n = 0) const;
    int Int(int code, int fallback = 0) const;
    // Group `code` as text, "" when absent.
    std::string Text(int code) const;
    // How many groups have `code`.
    int Count(int code) const;
    // Whether a group 102 opens "{ACAD_REACTORS".
    bool HasReactors() const;
    // Whether the entity carries extended data (a group 1001).
    bool HasExtendedData() const { return Has(1001); }
};

// The groups of an ASCII DXF file as code and value pairs.
std::vector<DxfGroup> ReadAsciiDxfGroups(const std::vector<uint8_t> &bytes);

// The entities (BLOCK and ENDBLK included) of the ENTITIES and BLOCKS sections.
std::vector<DxfEntityGroups> CollectDxfEntities(const std::vector<DxfGroup> &groups);

} // namespace velko_test

#endif
