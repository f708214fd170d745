// The records of one table of a drawing (layers, line types, ...), in table order, with a
// cursor and the name lookups. The list owns its records.
//
// A record is a CTableRecord: the public record it holds and the little the lookups need
// (name, flags); a release's record classes derive from it and add their file forms.
// CTableListOf gives a release the list typed with its own record class.
#ifndef VELKO_TABLE_LIST_H
#define VELKO_TABLE_LIST_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

class CTableRecord {
public:
    // The flag of a deleted record, in Flags() as in the public record's flags.
    static constexpr uint8_t kDeleted = 0x80;
    // What GetName writes at most, terminator included: 31 characters and a zero.
    static constexpr size_t kNameBufferSize = 32;

    CTableRecord() = default;
    virtual ~CTableRecord() = default;
    CTableRecord(const CTableRecord &) = delete;
    CTableRecord &operator=(const CTableRecord &) = delete;

    // 1 if the record is not deleted and its name equals `name`, case counted.
    virtual int CompareName(const char *name) const = 0;
    // Copies the name, at most kNameBufferSize bytes; a deleted record gives "".
    virtual void GetName(char *buffer) const = 0;
    // The public record held inside the object (a CDB_..._TBL of the table's type).
    virtual void *GetRecord() = 0;
    virtual uint8_t Flags() const = 0;
    // The whole name as the public record holds it, or null; deleted records included.
    virtual const char *FullName() const = 0;

    // The table number the file gave the record.
    int16_t table_id = 0;
};

class CTableList {
public:
    explicit CTableList(int16_t table_number) : table_number(table_number) {}
    virtual ~CTableList();
    CTableList(const CTableList &) = delete;
    CTableList &operator=(const CTableList &) = delete;

    int Count() const { return static_cast<int>(items.size()); }
    CTableRecord *At(int index) const {
        return index >= 0 && index < Count() ? items[static_cast<size_t>(index)] : nullptr;
    }
    // Adds the record at the end; the cursor goes to it. Its index.
    int Add(CTableRecord *record);
    // Destroys the record at `index`; the later records move up one place.
    void Remove(int index);
    // Puts `record` in the place of the record at `index`, which is destroyed: 1, or 0 for
    // an index outside the table (the record is then not taken).
    int Replace(int index, CTableRecord *record);
    CTableRecord *First();
    CTableRecord *Next();
    // The index of the first record whose CompareName matches, or -1: the first live
    // record whose whole name equals `name`, case counted.
    int FindByName(const char *name) const;
    // The index of the first record whose whole name equals `name`, case counted, deleted
    // records passed by when `skip_deleted`; -1 when there is none.
    int FindExact(const char *name, bool skip_deleted) const;
    // The lookup of the DXF readers: the index of the first record in table order whose
    // flags are below 128 and whose name equals `name` ignoring case, or -1.
    //
    // The three lookups by name are served by indexes of the names, which Add keeps up to
    // date and every other change of the list rebuilds at the next lookup; a caller that
    // changes a record's name, flags or other key in place calls NamesChanged().
    int FindNoCase(const char *name) const;
    void NamesChanged() {
        index_valid = false;
        ++changes;
    }
    // Counts the changes other than Add: an index kept outside the list (of another key)
    // that saw the same number may take the records added since and stay.
    uint32_t Changes() const { return changes; }
    // Hands all records to the caller, who then owns them, and leaves the table empty.
    std::vector<CTableRecord *> TakeAll();
    int16_t TableNumber() const { return table_number; }

private:
    int16_t table_number;
    std::vector<CTableRecord *> items;
    int16_t cursor = -1;

    using NameIndex = std::unordered_map<std::string, int>;
    // Enters record `index` in the indexes where it is the first of its name.
    void IndexRecord(int index) const;
    // Builds the indexes anew when a change made them stale.
    void EnsureIndexed() const;
    static int Lookup(const NameIndex &index, const std::string &key);
    // Upper-case name (GetName) to the first live record that has it.
    mutable NameIndex name_index;
    // Whole name to the first live record, and to the first record of any flags.
    mutable NameIndex live_index;
    mutable NameIndex any_index;
    mutable bool index_valid = false;
    mutable std::string scratch;
    uint32_t changes = 0;
};

// The list of a release whose records are all of class `Record`: the lookups give that
// class. Only records of that class are to be added.
template <typename Record> class CTableListOf : public CTableList {
public:
    using CTableList::CTableList;
    Record *At(int index) const { return static_cast<Record *>(CTableList::At(index)); }
    Record *First() { return static_cast<Record *>(CTableList::First()); }
    Record *Next() { return static_cast<Record *>(CTableList::Next()); }
};

#endif
