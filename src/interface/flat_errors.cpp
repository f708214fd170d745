// Error codes and their messages.
#include "model/base_drawing.h"
#include "interface/drawing_table.h"

#include <cstring>

namespace {

struct ErrorText {
    int16_t code;
    const char *text;
};

constexpr ErrorText kMessages[] = {
    {0, "No Error."},
    {-400, "File Already Open."},
    {-401, "Error Opening File."},
    {-402, "File Read Error."},
    {-403, "File Seek Error."},
    {-404, "Version Mismatch."},
    {-405, "Invalid File."},
    {-406, "File Not Open."},
    {-407, "File Close Error."},
    {-408, "Drawing File Corrupted."},
    {-409, "Unnamed Block."},
    {-410, "Record Not Found."},
    {-411, "Block Not Found."},
    {-412, "Entity Not Found."},
    {-414, "Table Not Found."},
    {-415, "Invalid Index."},
    {-416, "Invalid Table Handle."},
    {-417, "Bad Entity Extended Data."},
    {-418, "Error Closing."},
    {-419, "Error Seeking."},
    {-420, "Bad Handle."},
    {-421, "Invalid Prameter(s)."},
    {-422, "Invalid Drawing Handle."},
    {-425, "The entity is added in wrong sequence."},
    {-426, "Invalid entity code."},
    {-427, "The entity's layer index is invalid."},
    {-428, "The entity's ltype index is invalid."},
    {-429, "The entity's text style index is invalid."},
    {-430, "The entity's block index is invalid."},
    {-431, "The entity's dimension style index is invalid."},
    {-432, "The entity's mline style index is invalid."},
    {-440, "Drawing exceeds a limit of the file form."},
};

const char *MessageOf(int16_t code) {
    for (const ErrorText &e : kMessages)
        if (e.code == code)
            return e.text;
    return "Invalid Error Code";
}

} // namespace

extern "C" {

int16_t CDBGetReadErrorNumber(int16_t h) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(h);
    if (!lib)
        return g_LastError != 0 ? g_LastError : CDB_ERR_INVALID_DRAWING_HANDLE;
    return lib->GetError();
}

int16_t CDBGetReadErrorMessage(int16_t code, char *buffer, int16_t size) {
    if (!buffer || size < 0)
        return 0;
    const char *text = MessageOf(code);
    size_t length = std::strlen(text);
    // A text that fits is copied with its terminator; a longer one is cut to exactly
    // `size` characters, without a terminator.
    if (length <= static_cast<size_t>(size))
        std::memcpy(buffer, text, length + 1);
    else
        std::memcpy(buffer, text, static_cast<size_t>(size));
    return 0;
}

int16_t CDBGetReadError(int16_t h, char *buffer, int16_t size) {
    int16_t code = CDBGetReadErrorNumber(h);
    CDBGetReadErrorMessage(code, buffer, size);
    return code;
}

int16_t CDBGetErrorNumber(int16_t h) {
    return CDBGetReadErrorNumber(h);
}
int16_t CDBGetErrorMessage(int16_t code, char *buffer, int16_t size) {
    return CDBGetReadErrorMessage(code, buffer, size);
}
int16_t CDBGetError(int16_t h, char *buffer, int16_t size) {
    return CDBGetReadError(h, buffer, size);
}

} // extern "C"
