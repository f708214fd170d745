// Reading everything that a loaded font offers: every lookup and the strokes of every shape
// of a shape file or a shape table, and the glyph walk of a TrueType font through the flat
// interface. Nothing here checks what a damaged font holds; the TrueType walk notes the
// answers that disagree with each other. Free of any test framework, so that the mutation
// tests and the fuzz targets share it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class CShapeFile;
class CShapeTable;

namespace velko_test {

// Every shape's width and strokes, its subshapes taken from the same file, the extra
// shapes, and the first shapes of a big font part.
void ExerciseShapeFile(const CShapeFile &font);
// Every lookup of every slot of a table (names, data, big font codes, ids), and the shape
// file of each slot.
void ExerciseShapeTable(const CShapeTable &table);

// Opens a TrueType file with InitFont and walks each of `codes`: SetCurrentChar, the width,
// every record with its data, end points and points, then ExitFont. The first inconsistency
// found, or "".
std::string WalkTrueType(const std::string &path, const std::vector<uint16_t> &codes,
                         bool *opened = nullptr, int *decoded = nullptr);
// The character codes that a TrueType file's character map maps, in the order of its
// format 0 table and its format 4 segments, one code for each glyph they reach (the first
// that reaches it), at most `budget` of them; none when the file does not open.
std::vector<uint16_t> MappedCodes(const std::string &path, size_t budget);

} // namespace velko_test
