// velko convert: reads a drawing and writes it again, as DWG or as DXF (ASCII or binary).
// velko new: makes a new drawing from a template drawing.
//
// A long conversion shows a progress bar on stderr: while the entities load (a drawing
// reads them at the first use, so the drawing's load hook can be set after the open) and
// while the writer saves. The tool reaches the drawing behind the handle through the
// library's internals to set the two hooks, which every drawing class has; the work
// itself goes through the flat calls.
#include "commands.h"
#include "dwg12/r12_drawing.h"
#include "interface/drawing_file.h"
#include "interface/drawing_table.h"
#include "json_writer.h"
#include "progress_bar.h"
#include "velkow32.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char kConvertUsage[] = "usage: velko convert IN OUT [--binary] [--quiet] [--json]\n";
const char kNewUsage[] = "usage: velko new TEMPLATE OUT [--json]\n";

// The load hook is called for every entity; the clock is read only every so many.
constexpr long kLoadCheckStep = 256;

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

// A name whose last four characters are ".dwg", in any case, names a DWG.
bool NamesDwg(const char *name) {
    const size_t length = std::strlen(name);
    return length >= 4 && strcasecmp(name + length - 4, ".dwg") == 0;
}

const char *KindName(int kind) {
    switch (kind) {
    case CR12Drawing::kDwg:
        return "DWG";
    case CR12Drawing::kTextDxf:
        return "ASCII DXF";
    case CR12Drawing::kBinaryDxf:
        return "binary DXF";
    default:
        return "unknown";
    }
}

long FileBytes(const char *name) {
    struct stat st;
    return stat(name, &st) == 0 ? static_cast<long>(st.st_size) : -1;
}

// The drawing behind a handle, or null.
CBaseDrawing *DrawingOf(int16_t h) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(h);
    return lib ? lib->Drawing() : nullptr;
}

// What the drawing holds, as the writers count it: entities of all lists and table records.
struct DrawingCounts {
    long entities = 0;
    long blocks = 0;
    long table_records = 0;
    long Objects() const { return entities + table_records; }
};

// The table records of a drawing of another release: those of its public tables.
long PublicTableRecords(CBaseDrawing &d) {
    const int counts[] = {
        d.GetBlockTableCount(), d.GetLayerTableCount(), d.GetStyleTableCount(),
        d.GetLtypeTableCount(), d.GetViewTableCount(),  d.GetUcsTableCount(),
        d.GetVportTableCount(), d.GetAppidTableCount(), d.GetDimstyleTableCount()};
    long sum = 0;
    for (int n : counts)
        sum += n > 0 ? n : 0;
    return sum;
}

DrawingCounts CountObjects(CBaseDrawing &d) {
    DrawingCounts c;
    if (auto *lists = dynamic_cast<CListDrawing *>(&d)) {
        c.entities = lists->Entities().Count();
        c.blocks = lists->Blocks().Count();
        for (int i = 0; i < c.blocks; ++i) {
            const CModelBlock *block = lists->Blocks().At(i);
            if (block && block->entities)
                c.entities += block->entities->Count();
        }
    }
    if (auto *r12 = dynamic_cast<CR12Drawing *>(&d)) {
        for (int t = kR12Blocks; t <= kR12VxHeaders; ++t)
            c.table_records += r12->Table(t).Count();
    } else {
        c.table_records = PublicTableRecords(d);
    }
    return c;
}

// The state the drawing's hooks report to. The hooks are plain function pointers without
// a context, so they find it through the one pointer below, set while a conversion runs.
struct ConvertProgress {
    ProgressBar &bar;
    CBaseDrawing &drawing;
    // The file the load reads, whose read position tells how far it has come; null when
    // the drawing class does not show it.
    CDrawingFile *file = nullptr;
    long loaded = 0;
    long total = 0; // objects the save will write
};
ConvertProgress *g_progress = nullptr;

// Load: how far the read position has come through the file.
void OnEntityLoaded(int16_t, int16_t) {
    ConvertProgress &p = *g_progress;
    if (++p.loaded % kLoadCheckStep != 0)
        return;
    CDrawingFile *file = p.file;
    const double fraction = file && file->Length() > 0
                                ? static_cast<double>(file->GetPosition()) / file->Length()
                                : -1.0;
    p.bar.Update("loading", fraction, p.loaded);
}

// Save: the objects written against those the drawing holds.
void OnObjectsWritten(int32_t written) {
    ConvertProgress &p = *g_progress;
    const double fraction = p.total > 0 ? static_cast<double>(written) / p.total : -1.0;
    p.bar.Update("saving", fraction, written);
}

// Sets the hooks for the life of the object, and takes them away again.
class ProgressHooks {
public:
    explicit ProgressHooks(ConvertProgress &progress) : drawing_(progress.drawing) {
        g_progress = &progress;
        drawing_.progress_callback = OnEntityLoaded;
        drawing_.save_progress = OnObjectsWritten;
    }
    ~ProgressHooks() {
        drawing_.progress_callback = nullptr;
        drawing_.save_progress = nullptr;
        g_progress = nullptr;
    }
    ProgressHooks(const ProgressHooks &) = delete;
    ProgressHooks &operator=(const ProgressHooks &) = delete;

private:
    CBaseDrawing &drawing_;
};

struct ConvertOptions {
    const char *in = nullptr;
    const char *out = nullptr;
    bool binary = false;
    bool quiet = false;
    bool json = false;
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

// Loads what the drawing has not read yet and saves it; the library's status.
int16_t LoadAndSave(int16_t h, const ConvertOptions &o, ProgressBar &bar, DrawingCounts &counts,
                    int &from_kind) {
    CBaseDrawing *drawing = DrawingOf(h);
    if (!drawing)
        return NamesDwg(o.out) ? CDBSaveAsDWG(h, o.out) : CDBSaveAsDXF(h, o.out, o.binary);
    ConvertProgress progress{bar, *drawing};
    if (auto *r12 = dynamic_cast<CR12Drawing *>(drawing)) {
        from_kind = r12->FileKind();
        progress.file = r12->File();
    }
    ProgressHooks hooks(progress);
    // Loading first and on its own, so that the bar tells the load from the save.
    if (!drawing->TriggerLoading())
        return CDB_FAIL;
    counts = CountObjects(*drawing);
    progress.total = counts.Objects();
    return NamesDwg(o.out) ? CDBSaveAsDWG(h, o.out) : CDBSaveAsDXF(h, o.out, o.binary);
}

// CDBNew keeps the drawing open when its save fails and gives no handle for it. This
// process opened no other drawing, so it is the one drawing in the table.
int16_t DrawingLeftOpen() {
    for (int h = 0; h < CDrawingTable::kSlots; ++h)
        if (g_DrawingTable.GetDrawing(static_cast<int16_t>(h)))
            return static_cast<int16_t>(h);
    return CDB_FAIL;
}

} // namespace

int RunConvert(int argc, char **argv) {
    ConvertOptions o;
    if (int status = ParseConvert(argc, argv, o))
        return status;

    const auto start = ProgressBar::Clock::now();
    ProgressBar bar(stderr, !o.quiet && isatty(fileno(stderr)), 1.0, start);
    int16_t h = CDBStartFileReading(o.in, nullptr);
    if (h == CDB_FAIL)
        return Refused(o.in, CDBGetErrorNumber(CDB_FAIL));

    DrawingCounts counts;
    int from_kind = CR12Drawing::kNone;
    const int16_t saved = LoadAndSave(h, o, bar, counts, from_kind);
    bar.Finish();
    const int16_t code = CDBGetErrorNumber(h);
    CDBEndOperation(h);
    if (saved == CDB_FAIL)
        return Refused(o.out, code);

    const double seconds = std::chrono::duration<double>(ProgressBar::Clock::now() - start).count();
    const int to_kind = NamesDwg(o.out)
                            ? CR12Drawing::kDwg
                            : (o.binary ? CR12Drawing::kBinaryDxf : CR12Drawing::kTextDxf);
    Report report;
    report.AddText("input", o.in);
    report.AddText("from", KindName(from_kind));
    report.AddText("output", o.out);
    report.AddText("to", KindName(to_kind));
    report.AddInt("entities", counts.entities);
    report.AddInt("blocks", counts.blocks);
    report.AddInt("records", counts.table_records);
    report.AddInt("bytes", FileBytes(o.out));
    report.AddNumber("seconds", std::round(seconds * 1000) / 1000); // to the millisecond
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
        const int16_t left = DrawingLeftOpen();
        if (left == CDB_FAIL) // the template did not open
            return Refused(template_name, CDBGetErrorNumber(CDB_FAIL));
        const int16_t code = CDBGetErrorNumber(left);
        CDBEndOperation(left);
        return Refused(out, code);
    }
    CDBEndOperation(h);

    Report report;
    report.AddText("template", template_name);
    report.AddText("output", out);
    report.AddText("to", KindName(NamesDwg(out) ? CR12Drawing::kDwg : CR12Drawing::kTextDxf));
    report.AddInt("bytes", FileBytes(out));
    if (json)
        std::printf("%s\n", report.Json().c_str());
    else
        report.PrintText(stdout);
    return 0;
}
