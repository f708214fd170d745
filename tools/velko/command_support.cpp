#include "command_support.h"

#include "interface/tool_support.h"
#include "velkow32.h"

#include <cstdio>
#include <string>

namespace {

struct FormName {
    tool_support::DrawingForm form;
    int32_t file_kind;
    const char *name;
};

const FormName kFormNames[] = {
    {tool_support::DrawingForm::kDwg, CDB_FILE_DWG, "DWG"},
    {tool_support::DrawingForm::kTextDxf, CDB_FILE_TEXT_DXF, "ASCII DXF"},
    {tool_support::DrawingForm::kBinaryDxf, CDB_FILE_BINARY_DXF, "binary DXF"},
};

const char kUnknownForm[] = "unknown";

} // namespace

const char *DrawingFormName(tool_support::DrawingForm form) {
    for (const FormName &entry : kFormNames)
        if (entry.form == form)
            return entry.name;
    return kUnknownForm;
}

const char *FileKindName(int32_t file_kind) {
    for (const FormName &entry : kFormNames)
        if (entry.file_kind == file_kind)
            return entry.name;
    return kUnknownForm;
}

int WrongUsage(const char *usage) {
    std::fputs(usage, stderr);
    return 2;
}

int Refused(const char *file, int16_t code) {
    char message[64] = {};
    CDBGetErrorMessage(code, message, sizeof message - 1);
    std::fprintf(stderr, "velko: %s: %s (%d)\n", file, message, code);
    return 1;
}

int RefusedToOpen(const char *file) {
    Refused(file, CDBGetErrorNumber(CDB_FAIL));
    const std::string why = tool_support::WhyRefused(file);
    if (!why.empty())
        std::fprintf(stderr, "velko: %s: %s\n", file, why.c_str());
    return 1;
}
