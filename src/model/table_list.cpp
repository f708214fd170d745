#include "model/table_list.h"

CTableList::~CTableList() {
    for (CTableRecord *record : items)
        delete record;
}

std::vector<CTableRecord *> CTableList::TakeAll() {
    std::vector<CTableRecord *> taken;
    taken.swap(items);
    cursor = -1;
    index_valid = false;
    return taken;
}

int CTableList::Add(CTableRecord *record) {
    items.push_back(record);
    int index = Count() - 1;
    if (index_valid)
        IndexRecord(index);
    cursor = static_cast<int16_t>(index > INT16_MAX ? INT16_MAX : index);
    return index;
}

void CTableList::Remove(int index) {
    if (index < 0 || index >= Count())
        return;
    delete items[static_cast<size_t>(index)];
    items.erase(items.begin() + index);
    index_valid = false;
}

int CTableList::Replace(int index, CTableRecord *record) {
    if (index < 0 || index >= Count())
        return 0;
    delete items[static_cast<size_t>(index)];
    items[static_cast<size_t>(index)] = record;
    index_valid = false;
    return 1;
}

CTableRecord *CTableList::First() {
    cursor = 0;
    return At(cursor);
}

CTableRecord *CTableList::Next() {
    if (cursor < INT16_MAX)
        ++cursor;
    return At(cursor);
}

int CTableList::FindByName(const char *name) const {
    for (int i = 0; i < Count(); ++i)
        if (items[static_cast<size_t>(i)] && items[static_cast<size_t>(i)]->CompareName(name))
            return i;
    return -1;
}

namespace {
// Upper case in the "C" locale: only the letters a to z change.
void UpperAscii(std::string &text) {
    for (char &c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
}
} // namespace

void CTableList::IndexRecord(int index) const {
    const CTableRecord *record = items[static_cast<size_t>(index)];
    if (!record || (record->Flags() & CTableRecord::kDeleted))
        return;
    char name[CTableRecord::kNameBufferSize];
    record->GetName(name);
    std::string key(name);
    UpperAscii(key);
    // The first record of a name wins; later ones are never found.
    name_index.emplace(std::move(key), index);
}

int CTableList::FindNoCase(const char *name) const {
    if (!name || items.empty())
        return -1;
    if (!index_valid) {
        name_index.clear();
        name_index.reserve(items.size());
        for (int i = 0; i < Count(); ++i)
            IndexRecord(i);
        index_valid = true;
    }
    scratch.assign(name);
    UpperAscii(scratch);
    auto found = name_index.find(scratch);
    return found == name_index.end() ? -1 : found->second;
}
