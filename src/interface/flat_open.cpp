// Opening and closing drawings through the flat interface.
#include "io/drawing_file.h"
#include "model/base_drawing.h"
#include "interface/drawing_table.h"
#include "interface/open_sniff.h"

#include <cstring>
#include <strings.h>

namespace {

using OpenStep = int (CLibDrawing::*)(const char *, CDB_OPEN_MODE, const char *);
using LoadStep = int (CLibDrawing::*)();

// One attempt at opening the file in one family of forms. Returns the handle, or -123
// with g_LastError holding the reason.
int16_t TryOpen(const char *name, const char *search_path, OpenStep open, LoadStep load,
                const std::function<void(CBaseDrawing &)> &before_load) {
    auto *lib = new CLibDrawing(0);
    const bool opened = (lib->*open)(name, CDB_OPEN_READ, search_path) != 0;
    if (opened && before_load && lib->Drawing())
        before_load(*lib->Drawing());
    if (opened && (lib->*load)()) {
        int16_t handle = g_DrawingTable.AddDrawing(lib);
        g_LastError = 0;
        lib->Drawing()->SetHandle(handle);
        if (handle == CDB_FAIL) {
            // A full table fails the attempt by its value alone: no code is kept. The
            // drawing that could not be given a handle is not kept either.
            delete lib;
        }
        return handle;
    }
    g_LastError = lib->GetError();
    delete lib;
    return CDB_FAIL;
}

} // namespace

int16_t OpenDrawingFile(const char *name, const char *search_path,
                        const std::function<void(CBaseDrawing &)> &before_load) {
    int16_t handle =
        TryOpen(name, search_path, &CLibDrawing::OpenDWGFile, &CLibDrawing::LoadDWG, before_load);
    if (handle != CDB_FAIL)
        return handle;
    // A recognisable DWG of the wrong release, or a corrupted one, goes no further.
    if (g_LastError == CDB_ERR_FILE_ALREADY_OPEN || g_LastError == CDB_ERR_VERSION_MISMATCH ||
        g_LastError == CDB_ERR_DRAWING_CORRUPTED)
        return CDB_FAIL;
    return TryOpen(name, search_path, &CLibDrawing::OpenDXFFile, &CLibDrawing::LoadDXF,
                   before_load);
}

extern "C" {

int16_t CDBStartFileReading(const char *name, const char *search_path) {
    return OpenDrawingFile(name, search_path, nullptr);
}

int16_t CDBGetDrawingFileInfo(const char *name, CDB_FILE_INFO *info) {
    const short code = DescribeDrawingFile(name, info);
    if (code != 0) {
        g_LastError = code;
        return CDB_FAIL;
    }
    return 0;
}

int16_t CDBEndOperation(int16_t h) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(h);
    if (!lib) {
        g_LastError = CDB_ERR_INVALID_DRAWING_HANDLE;
        return CDB_FAIL;
    }
    lib->CloseDWGFile();
    if (!g_DrawingTable.RemoveDrawing(h)) {
        g_LastError = CDB_ERR_FILE_NOT_OPEN;
        return CDB_FAIL;
    }
    delete lib;
    g_LastError = 0;
    return 0;
}

int16_t CDBNew(const char *template_name, const char *new_name) {
    g_LastError = 0;
    int16_t handle = CDBStartFileReading(template_name, nullptr);
    if (handle == CDB_FAIL)
        return CDB_FAIL;
    const char *extension = nullptr;
    if (new_name) {
        const char *base = new_name;
        for (const char *p = new_name; *p; ++p)
            if (*p == '/' || *p == '\\' || *p == ':')
                base = p + 1;
        extension = std::strrchr(base, '.');
    }
    int16_t saved = extension && strcasecmp(extension, ".DWG") == 0
                        ? CDBSaveAsDWG(handle, new_name)
                        : CDBSaveAsDXF(handle, new_name, 0);
    // On a failed save the drawing stays open under its handle.
    return saved == CDB_FAIL ? CDB_FAIL : handle;
}

int16_t CDBGetAutoCADVersion(int16_t h) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    const std::string &version = lib->Drawing()->GetAcadVersion();
    if (strcasecmp(version.c_str(), "AC1009") == 0)
        return 12;
    if (strcasecmp(version.c_str(), "AC1012") == 0)
        return 13;
    lib->SetError(CDB_ERR_DRAWING_CORRUPTED);
    return CDB_FAIL;
}

int16_t CDBGetDrawingFileName(int16_t h, char *buffer) {
    CLibDrawing *lib = LookupDrawingWith(h, buffer);
    if (!lib)
        return CDB_FAIL;
    const char *name = lib->Drawing()->GetFileName();
    std::strcpy(buffer, name ? name : "");
    return 0;
}

} // extern "C"
