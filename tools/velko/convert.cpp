// velko convert: reads a drawing and writes it again, as DWG or as DXF (ASCII or binary).
// velko new: makes a new drawing from a template drawing.
//
// A long conversion shows a progress bar on stderr: while the entities load and while the
// writer saves. The drawing is opened with both hooks already set, since a DXF or a release
// 13 DWG is read whole while it opens (a release 12 DWG reads its entities at the first
// use). The hooks, the load fraction and the counts come through the tool support calls;
// the work itself goes through the flat calls.
//
// A drawing is saved in the release it was read in: --release only checks that. A release 13
// drawing is written as DXF too; its binary form has no sentinel, and the summary says so.
// A save that an entity stopped names the entity's kind and handle.
#include "command_support.h"
#include "commands.h"
#include "convert_drawing.h"
#include "interface/tool_support.h"
#include "json_writer.h"
#include "progress_bar.h"
#include "velkow32.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using tool_support::DrawingForm;
using tool_support::SavedObjects;

const char kConvertUsage[] =
    "usage: velko convert IN OUT [--binary] [--release 12|13] [--quiet] [--json]\n";
const char kNewUsage[] = "usage: velko new TEMPLATE OUT [--json]\n";

// The load hook is called for every entity; the clock is read only every so many.
constexpr long kLoadCheckStep = 256;

long FileBytes(const char *name) {
    struct stat st;
    return stat(name, &st) == 0 ? static_cast<long>(st.st_size) : -1;
}

// The state the drawing's hooks report to. The hooks are plain function pointers without
// a context, so they find it through the one pointer below, set while a conversion runs.
struct ConvertProgress {
    ProgressBar &bar;
    int16_t drawing = CDB_FAIL; // CDB_FAIL while the drawing is being opened
    long loaded = 0;
    long total = 0; // objects the save will write
};
ConvertProgress *g_progress = nullptr;

// Load: how far the read position has come through the file. A drawing read whole while
// it opens (a DXF, a release 13 DWG) has no handle yet.
void OnEntityLoaded(int16_t, int16_t) {
    ConvertProgress &p = *g_progress;
    if (++p.loaded % kLoadCheckStep != 0)
        return;
    const double fraction = p.drawing == CDB_FAIL ? tool_support::OpeningLoadFraction()
                                                  : tool_support::LoadFraction(p.drawing);
    p.bar.Update("loading", fraction, p.loaded);
}

// Save: the objects written against those the drawing holds.
void OnObjectsWritten(int32_t written) {
    ConvertProgress &p = *g_progress;
    const double fraction = p.total > 0 ? static_cast<double>(written) / p.total : -1.0;
    p.bar.Update("saving", fraction, written);
}

// Makes `progress` the one the hooks report to for the life of the object. The drawing
// must be closed before it goes: its hooks stay set until then.
class ProgressScope {
public:
    explicit ProgressScope(ConvertProgress &progress) { g_progress = &progress; }
    ~ProgressScope() { g_progress = nullptr; }
    ProgressScope(const ProgressScope &) = delete;
    ProgressScope &operator=(const ProgressScope &) = delete;
};

struct ConvertOptions {
    const char *in = nullptr;
    const char *out = nullptr;
    bool binary = false;
    bool quiet = false;
    bool json = false;
    int release = 0; // the release asked for with --release; 0 when not asked
};

// 0, or 2 after the usage went to stderr.
int ParseConvert(int argc, char **argv, ConvertOptions &o) {
    for (int i = 0; i < argc; ++i) {
        const char *a = argv[i];
        if (std::strcmp(a, "--binary") == 0)
            o.binary = true;
        else if (std::strcmp(a, "--quiet") == 0)
            o.quiet = true;
        else if (std::strcmp(a, "--json") == 0)
            o.json = true;
        else if (std::strcmp(a, "--release") == 0 && i + 1 < argc &&
                 (std::strcmp(argv[i + 1], "12") == 0 || std::strcmp(argv[i + 1], "13") == 0))
            o.release = std::atoi(argv[++i]);
        else if (a[0] == '-' && a[1] != 0)
            return WrongUsage(kConvertUsage);
        else if (!o.in)
            o.in = a;
        else if (!o.out)
            o.out = a;
        else
            return WrongUsage(kConvertUsage);
    }
    if (!o.in || !o.out)
        return WrongUsage(kConvertUsage);
    // A DWG has no binary form: the two words contradict each other.
    if (o.binary && NamesDwg(o.out)) {
        std::fputs("velko convert: --binary is for DXF output, not for a .dwg\n", stderr);
        return WrongUsage(kConvertUsage);
    }
    return 0;
}

// A drawing is saved in the release it was read in: with --release naming another release
// than the input's, the conversion is refused before anything is loaded. 0 to go on, or 1
// after a line on stderr.
int CheckRelease(const ConvertOptions &o) {
    const int release = o.release ? tool_support::FileRelease(o.in) : 0;
    if (release == 0 || release == o.release)
        return 0;
    std::fprintf(stderr,
                 "velko: %s: a release %d drawing cannot be converted to release %d: a drawing "
                 "is saved in the release it was read in\n",
                 o.in, release, o.release);
    return 1;
}

// Why a save of a release 13 drawing as DXF stopped, when an entity stopped it (a kind the
// DXF writer has no groups for: 3DSOLID, BODY, REGION, OLEFRAME): "the 3DSOLID 2A", or ""
// when the save did not stop at an entity. Asked before the drawing is closed.
std::string StoppedAt(int16_t h, int16_t release, const char *out) {
    if (release != 13 || NamesDwg(out))
        return "";
    std::string kind, handle;
    if (!tool_support::SaveStoppedAt(h, &kind, &handle))
        return "";
    return "the " + kind + " " + handle;
}

// The failed save's message: the library's text for its code, or, when the save left no
// code, that it failed; then the limit of the form or the entity that stopped it, when one
// did. Returns 1.
int RefusedToSave(const char *out, int16_t code, const std::string &stopped_at,
                  const std::string &limit) {
    if (code != 0)
        Refused(out, code);
    if (!limit.empty())
        std::fprintf(stderr, "velko: %s: the limit: %s\n", out, limit.c_str());
    else if (stopped_at.empty())
        std::fprintf(stderr, "velko: %s: the save failed\n", out);
    if (!stopped_at.empty())
        std::fprintf(stderr,
                     "velko: %s: the save stopped at %s: a release 13 DXF has no groups for "
                     "that kind; write the drawing to a .dwg\n",
                     out, stopped_at.c_str());
    return 1;
}

// The word on a binary DXF of release 13: the form is written without the sentinel that
// opens a binary DXF, so the file is told by its first group alone.
const char kNoSentinel[] = "a release 13 binary DXF is written without the binary sentinel: "
                           "other readers may not take it";

} // namespace

bool NamesDwg(const char *name) {
    const size_t length = std::strlen(name);
    return length >= 4 && strcasecmp(name + length - 4, ".dwg") == 0;
}

ConversionOutcome ConvertDrawing(const char *in, const char *out, bool binary,
                                 const ConversionHooks &hooks) {
    ConversionOutcome outcome;
    const int16_t h = tool_support::StartReadingWithHooks(in, hooks.load, hooks.save);
    if (h == CDB_FAIL) {
        outcome.code = CDBGetErrorNumber(CDB_FAIL);
        return outcome;
    }
    outcome.opened = true;
    if (hooks.opened)
        hooks.opened(h);
    outcome.from_form = tool_support::FormOf(h);
    // Loading first and on its own, so that a progress bar tells the load from the save.
    int16_t saved = CDB_FAIL;
    if (tool_support::LoadWholeDrawing(h)) {
        tool_support::CountSavedObjects(h, &outcome.counts);
        if (hooks.saving)
            hooks.saving(outcome.counts.Objects());
        saved = NamesDwg(out) ? CDBSaveAsDWG(h, out) : CDBSaveAsDXF(h, out, binary);
    }
    outcome.saved = saved != CDB_FAIL;
    outcome.code = CDBGetErrorNumber(h);
    outcome.release = CDBGetAutoCADVersion(h);
    if (!outcome.saved) {
        outcome.stopped_at = StoppedAt(h, outcome.release, out);
        outcome.limit = tool_support::FormLimitOf(h);
    }
    CDBEndOperation(h);
    return outcome;
}

int RunConvert(int argc, char **argv) {
    ConvertOptions o;
    if (int status = ParseConvert(argc, argv, o))
        return status;
    if (int status = CheckRelease(o))
        return status;

    const auto start = ProgressBar::Clock::now();
    ProgressBar bar(stderr, !o.quiet && isatty(fileno(stderr)), 1.0, start);
    ConvertProgress progress{bar};
    ProgressScope scope(progress);
    ConversionHooks hooks;
    hooks.load = OnEntityLoaded;
    hooks.save = OnObjectsWritten;
    hooks.opened = [&progress](int16_t h) { progress.drawing = h; };
    hooks.saving = [&progress](long objects) { progress.total = objects; };
    const ConversionOutcome outcome = ConvertDrawing(o.in, o.out, o.binary, hooks);
    bar.Finish();
    if (!outcome.opened)
        return RefusedToOpen(o.in);
    if (!outcome.saved)
        return RefusedToSave(o.out, outcome.code, outcome.stopped_at, outcome.limit);
    const SavedObjects &counts = outcome.counts;
    const DrawingForm from_form = outcome.from_form;
    const int16_t release = outcome.release;

    const double seconds = std::chrono::duration<double>(ProgressBar::Clock::now() - start).count();
    const DrawingForm to_form = NamesDwg(o.out)
                                    ? DrawingForm::kDwg
                                    : (o.binary ? DrawingForm::kBinaryDxf : DrawingForm::kTextDxf);
    Report report;
    report.AddText("input", o.in);
    report.AddText("from", DrawingFormName(from_form));
    report.AddText("output", o.out);
    report.AddText("to", DrawingFormName(to_form));
    report.AddInt("entities", counts.entities);
    report.AddInt("blocks", counts.blocks);
    report.AddInt("records", counts.table_records);
    report.AddInt("bytes", FileBytes(o.out));
    report.AddNumber("seconds", std::round(seconds * 1000) / 1000); // to the millisecond
    if (release == 13 && to_form == DrawingForm::kBinaryDxf)
        report.AddText("note", kNoSentinel);
    if (o.json)
        std::printf("%s\n", report.Json().c_str());
    else if (!o.quiet)
        report.PrintText(stdout);
    return 0;
}

int RunNew(int argc, char **argv) {
    const char *template_name = nullptr, *out = nullptr;
    bool json = false;
    for (int i = 0; i < argc; ++i) {
        const char *a = argv[i];
        if (std::strcmp(a, "--json") == 0)
            json = true;
        else if (a[0] == '-' && a[1] != 0)
            return WrongUsage(kNewUsage);
        else if (!template_name)
            template_name = a;
        else if (!out)
            out = a;
        else
            return WrongUsage(kNewUsage);
    }
    if (!template_name || !out)
        return WrongUsage(kNewUsage);

    int16_t h = CDBNew(template_name, out);
    if (h == CDB_FAIL) {
        // CDBNew keeps the drawing open when its save fails and gives no handle for it.
        // This process opened no other drawing, so it is the one drawing open.
        const int16_t left = tool_support::LowestOpenDrawing();
        if (left == CDB_FAIL) // the template did not open
            return Refused(template_name, CDBGetErrorNumber(CDB_FAIL));
        const int16_t code = CDBGetErrorNumber(left);
        const std::string stopped_at = StoppedAt(left, CDBGetAutoCADVersion(left), out);
        const std::string limit = tool_support::FormLimitOf(left);
        CDBEndOperation(left);
        return RefusedToSave(out, code, stopped_at, limit);
    }
    CDBEndOperation(h);

    Report report;
    report.AddText("template", template_name);
    report.AddText("output", out);
    report.AddText("to",
                   DrawingFormName(NamesDwg(out) ? DrawingForm::kDwg : DrawingForm::kTextDxf));
    report.AddInt("bytes", FileBytes(out));
    if (json)
        std::printf("%s\n", report.Json().c_str());
    else
        report.PrintText(stdout);
    return 0;
}
