#include "model/table_list.h"

CTableList::~CTableList() {
    for (CTableRecord *record : items)
        delete record;
}

std::vector<CTableRecord *> CTableList::TakeAll() {
    std::vector<CTableRecord *> taken;
    taken.swap(items);
    cursor = -1;
    NamesChanged();
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
    NamesChanged();
}

int CTableList::Replace(int index, CTableRecord *record) {
    if (index < 0 || index >= Count())
        return 0;
    delete items[static_cast<size_t>(index)];
    items[static_cast<size_t>(index)] = record;
    NamesChanged();
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
    return FindExact(name, true);
}

int CTableList::FindExact(const char *name, bool skip_deleted) const {
    if (!name || items.empty())
        return -1;
    EnsureIndexed();
    scratch.assign(name);
    return Lookup(skip_deleted ? live_index : any_index, scratch);
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
    if (!record)
        return;
    // The first record of a name wins; later ones are never found.
    const bool live = !(record->Flags() & CTableRecord::kDeleted);
    if (const char *whole = record->FullName()) {
        any_index.emplace(whole, index);
        if (live)
            live_index.emplace(whole, index);
    }
    if (!live)
        return;
    char name[CTableRecord::kNameBufferSize];
    record->GetName(name);
    std::string key(name);
    UpperAscii(key);
    name_index.emplace(std::move(key), index);
}

void CTableList::EnsureIndexed() const {
    if (index_valid)
        return;
    for (NameIndex *index : {&name_index, &live_index, &any_index}) {
        index->clear();
        index->reserve(items.size());
    }
    for (int i = 0; i < Count(); ++i)
        IndexRecord(i);
    index_valid = true;
}

int CTableList::Lookup(const NameIndex &index, const std::string &key) {
    auto found = index.find(key);
    return found == index.end() ? -1 : found->second;
}

int CTableList::FindNoCase(const char *name) const {
    if (!name || items.empty())
        return -1;
    EnsureIndexed();
    scratch.assign(name);
    UpperAscii(scratch);
    return Lookup(name_index, scratch);
}
