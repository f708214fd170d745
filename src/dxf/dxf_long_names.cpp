#include "dxf/dxf_long_names.h"

#include <cstring>

namespace {

char UpperAscii(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool SameIgnoringCase(const char *a, const char *b) {
    for (; *a && *b; ++a, ++b)
        if (UpperAscii(*a) != UpperAscii(*b))
            return false;
    return *a == *b;
}

} // namespace

bool IsLongTableName(const char *name) {
    return name && strnlen(name, CTableRecord::kNameBufferSize) >= CTableRecord::kNameBufferSize;
}

int FindTableNameNoCase(const CTableList &list, const char *name, bool long_names,
                        bool *took_road) {
    const int found = list.FindNoCase(name);
    if (found >= 0 || !long_names || !IsLongTableName(name))
        return found;
    // Rare: a long name is a miss of the original lookup. A scan of the whole names.
    for (int i = 0; i < list.Count(); ++i) {
        const CTableRecord *record = list.At(i);
        const char *whole = record ? record->FullName() : nullptr;
        if (whole && !(record->Flags() & CTableRecord::kDeleted) && SameIgnoringCase(whole, name)) {
            if (took_road)
                *took_road = true;
            return i;
        }
    }
    return -1;
}
