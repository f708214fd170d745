// The texts a list mode record hands out: see owned_texts.h.
#include "support/owned_texts.h"

#include <cstdlib>

namespace velko_test {
namespace walk {

std::array<char **, 3> CopiedTexts(CDB_ENTITY &r) {
    switch (r.entity_type) {
    case CDB_TEXT:
        return {&r.text.text, nullptr, nullptr};
    case CDB_ATTRIB:
        return {&r.attrib.value, &r.attrib.tag, nullptr};
    case CDB_ATTDEF:
        return {&r.attdef.default_value, &r.attdef.prompt, &r.attdef.tag};
    case CDB_DIMENSION:
        return {&r.dimension.text, nullptr, nullptr};
    case CDB_BLOCK:
        return {&r.block.xref_path, &r.block.name, &r.block.name_2};
    case CDB_MTEXT:
        return {&r.mtext.text, nullptr, nullptr};
    case CDB_TOLERANCE:
        return {&r.tolerance.text, nullptr, nullptr};
    default:
        return {nullptr, nullptr, nullptr};
    }
}

void FreeCopies(CDB_ENTITY &r) {
    for (char **text : CopiedTexts(r)) {
        if (text) {
            std::free(*text);
            *text = nullptr;
        }
    }
}

void FreeCopies(CDB_STARTBLOCK_ENTITY_type &block) {
    std::free(block.xref_path);
    std::free(block.name);
    std::free(block.name_2);
    block.xref_path = block.name = block.name_2 = nullptr;
}

} // namespace walk
} // namespace velko_test
