// The TrueType glyph functions: thin wrappers that check a font handle and forward to
// CTrueTypeFont.
//
// Handles. The open fonts live in one process-wide growable array; a handle is the index
// in it. InitFont always appends, and ExitFont empties its slot without removing it, so a
// closed handle never names another font later. A handle outside the array, or of a
// closed slot, gives -123; the six functions that walk points also show "Invalid Handle
// Passed". Fonts are not tied to a drawing.
//
// The drawing number. Every function takes one and, as fonts belong to no drawing,
// ignores it: no call is refused for it, and g_LastError is left as it was (the font
// functions report their failures by -123 and the shown words alone).
#include "fonts/truetype_font.h"

#include <memory>
#include <new>
#include <vector>

namespace {

// The process-wide array of open fonts; a closed font leaves a null slot.
std::vector<std::unique_ptr<CTrueTypeFont>> &OpenFonts() {
    static std::vector<std::unique_ptr<CTrueTypeFont>> fonts;
    return fonts;
}

// The largest number of slots: a handle is an i16.
constexpr size_t kMaxFonts = 0x7FFF;

CTrueTypeFont *FindFont(int16_t font, bool tell_user) {
    std::vector<std::unique_ptr<CTrueTypeFont>> &fonts = OpenFonts();
    if (font < 0 || static_cast<size_t>(font) >= fonts.size() || !fonts[font]) {
        if (tell_user)
            ShowFontMessage("Invalid Handle Passed");
        return nullptr;
    }
    return fonts[font].get();
}

} // namespace

extern "C" {

int16_t InitFont(int16_t, const char *path) {
    std::vector<std::unique_ptr<CTrueTypeFont>> &fonts = OpenFonts();
    if (fonts.size() >= kMaxFonts)
        return CDB_FAIL;
    // Allocation failures end in -123: no exception leaves the library.
    try {
        std::unique_ptr<CTrueTypeFont> font(new (std::nothrow) CTrueTypeFont);
        if (!font || !font->Open(path))
            return CDB_FAIL;
        fonts.push_back(std::move(font));
    } catch (const std::bad_alloc &) {
        return CDB_FAIL;
    }
    return static_cast<int16_t>(fonts.size() - 1);
}

int16_t ExitFont(int16_t, int16_t font) {
    if (!FindFont(font, false))
        return CDB_FAIL;
    OpenFonts()[font].reset();
    return CDB_OK;
}

int16_t SetCurrentChar(int16_t, int16_t font, uint16_t code) {
    CTrueTypeFont *f = FindFont(font, false);
    if (!f)
        return CDB_FAIL;
    try {
        return f->SetCurrentChar(code);
    } catch (const std::bad_alloc &) {
        f->ClearCurrentChar();
        return CDB_FAIL;
    }
}

int16_t GetWidth(int16_t, int16_t font, uint16_t *advance, int16_t *left_bearing) {
    CTrueTypeFont *f = FindFont(font, false);
    return f ? f->GetWidth(advance, left_bearing) : CDB_FAIL;
}

int16_t SetGlyf(int16_t, int16_t font, int16_t number) {
    CTrueTypeFont *f = FindFont(font, false);
    return f ? f->SetGlyf(number) : CDB_FAIL;
}

int16_t GetGlyfData(int16_t, int16_t font, user_compGlyfData *data) {
    CTrueTypeFont *f = FindFont(font, false);
    return f ? f->GetGlyfData(data) : CDB_FAIL;
}

int16_t GetContourCount(int16_t, int16_t font) {
    CTrueTypeFont *f = FindFont(font, true);
    return f ? f->GetContourCount() : CDB_FAIL;
}

int16_t GetPointCount(int16_t, int16_t font) {
    CTrueTypeFont *f = FindFont(font, true);
    return f ? f->GetPointCount() : CDB_FAIL;
}

// The end point walks hand out a u16 value through the i16 result.
int16_t GetFirstEndPoint(int16_t, int16_t font) {
    CTrueTypeFont *f = FindFont(font, true);
    uint16_t value = 0;
    if (!f || f->GetFirstEndPoint(&value) != CDB_OK)
        return CDB_FAIL;
    return static_cast<int16_t>(value);
}

int16_t GetNextEndPoint(int16_t, int16_t font) {
    CTrueTypeFont *f = FindFont(font, true);
    uint16_t value = 0;
    if (!f || f->GetNextEndPoint(&value) != CDB_OK)
        return CDB_FAIL;
    return static_cast<int16_t>(value);
}

int16_t GetFirstPoint(int16_t, int16_t font, FNT_POINT *point) {
    CTrueTypeFont *f = FindFont(font, true);
    return f ? f->GetFirstPoint(point) : CDB_FAIL;
}

int16_t GetNextPoint(int16_t, int16_t font, FNT_POINT *point) {
    CTrueTypeFont *f = FindFont(font, true);
    return f ? f->GetNextPoint(point) : CDB_FAIL;
}

} // extern "C"
