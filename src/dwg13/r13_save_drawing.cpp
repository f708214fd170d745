// The drawing's side of a DWG save: the new file beside the target, the writer, and the
// switch to the new file once it is complete. The old file is read while the new one is
// written, and is left as it was when the save fails.
#include "dwg13/r13_drawing.h"

#include "dwg13/r13_object_map.h"
#include "dwg13/r13_save.h"
#include "io/drawing_file.h"
#include "io/file_replacement.h"

#include <cstring>
#include <map>

short CR13Drawing::SaveAsDWG(const char *name) {
    SetError(CDB_ERR_NONE);
    if (!name || !*name) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    if (!loaded) {
        SetError(CDB_ERR_FILE_READ);
        return CDB_FAIL;
    }
    // Only a DWG of this release lends its sections and objects; a drawing read from DXF
    // is written from memory alone.
    CDrawingFile *source = file_kind == kDwg ? file.get() : nullptr;
    if (file_kind == kDwg && !source) {
        SetError(CDB_ERR_FILE_READ);
        return CDB_FAIL;
    }
    CFileReplacement replacement(name);
    const std::string target = replacement.Target();
    auto output = std::make_unique<CDrawingFile>();
    if (!replacement.Open(*output)) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    CR13DwgSaver saver(*this, source, *output);
    const int written = saver.Run();
    const int committed = written && replacement.Commit(*output);
    output->Close();
    output.reset();
    if (!committed) {
        // A refusal for a limit of the form has set its code and words already.
        if (saver.Why() != CR13DwgSaver::kLimit)
            SetError(saver.Why() == CR13DwgSaver::kSequence ? CDB_ERR_WRONG_SEQUENCE
                     : saver.Why() == CR13DwgSaver::kHeader ? CDB_ERR_FILE_READ
                                                            : CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }

    // The map takes the new offsets; the carried objects are found there from now on.
    std::map<uint32_t, int32_t> offsets;
    object_map->Clear();
    for (const auto &object : saver.Written()) {
        if (offsets.emplace(object.first, object.second).second)
            object_map->Add(ObjectMapEntry{object.first, object.second});
    }
    auto carried = std::make_unique<CObjectMap>();
    for (const ObjectMapEntry &entry : carried_objects->Entries()) {
        auto found = offsets.find(entry.handle);
        if (found != offsets.end())
            carried->Add(ObjectMapEntry{entry.handle, found->second});
    }
    carried_objects = std::move(carried);

    // The drawing reads from the file just written.
    if (file) {
        file->Close();
        file.reset();
    }
    file_kind = kDwg;
    auto reopened = std::make_unique<CDrawingFile>();
    file_name = name;
    if (!reopened->Open(target.c_str(), kDrawingFileRead)) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    reopened->SetPosition(0, 0);
    reopened->Read(reopened->version, sizeof reopened->version);
    file = std::move(reopened);
    file_head.Read(*file);
    objects_start = saver.ObjectsStart();
    objects_end = static_cast<int32_t>(file_head.map_at);
    return 0;
}

short CR13Drawing::Save() {
    if (file_kind != kDwg) {
        SetError(CDB_ERR_FILE_READ);
        return CDB_FAIL;
    }
    const std::string name = file_name;
    return SaveAsDWG(name.c_str());
}
