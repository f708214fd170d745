// Tables of rows keyed by a kind code: the rows stand in ascending order of their `code`
// member, each code once, and a direct index built at compile time finds the row of a small
// code without a search. The entity kind registry and the kind table of each release are
// such tables.
//
// What callers may rely on: everything here is constexpr or inline, allocates nothing and
// calls through no virtual function; FindRowByCode is as cheap as an array access for a code
// below the index's size, and a short walk over the rows for one above it.
#ifndef VELKO_CODE_TABLE_H
#define VELKO_CODE_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>

// A range over the rows of a table, for range-for.
template <typename Row> struct RowRange {
    const Row *first;
    const Row *last;

    const Row *begin() const { return first; }
    const Row *end() const { return last; }
    size_t size() const { return static_cast<size_t>(last - first); }
};

// Whether the rows stand in ascending order of code, each code once.
template <typename Row, size_t Count> constexpr bool CodesAscend(const Row (&rows)[Count]) {
    for (size_t i = 1; i < Count; ++i)
        if (rows[i - 1].code >= rows[i].code)
            return false;
    return true;
}

// The direct index of the codes from 0 to Codes - 1: the row's place + 1, 0 for no row.
template <size_t Codes> using CodeIndex = std::array<uint8_t, Codes>;

template <size_t Codes, typename Row, size_t Count>
constexpr CodeIndex<Codes> MakeCodeIndex(const Row (&rows)[Count]) {
    static_assert(Count < 255, "a row's place + 1 fits in a byte");
    CodeIndex<Codes> index{};
    for (size_t i = 0; i < Count; ++i)
        if (rows[i].code >= 0 && size_t(rows[i].code) < Codes)
            index[size_t(rows[i].code)] = static_cast<uint8_t>(i + 1);
    return index;
}

// The row of `code`, or null when no row has it. The codes outside the index are looked for
// in the rows themselves.
template <typename Row, size_t Count, size_t Codes>
const Row *FindRowByCode(const Row (&rows)[Count], const CodeIndex<Codes> &index, int code) {
    if (code >= 0 && size_t(code) < Codes)
        return index[size_t(code)] ? &rows[index[size_t(code)] - 1] : nullptr;
    for (const Row &row : rows)
        if (row.code == code)
            return &row;
    return nullptr;
}

#endif
