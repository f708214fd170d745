// The harness of the robustness tests: see mutation_harness.h.
#include "support/mutation_harness.h"

#include "walk/walk_support.h"

#include "dwg12/r12_drawing.h"
#include "interface/drawing_table.h"
#include "model/navigate_stack.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <unistd.h>

// Present when the program runs under a sanitizer: called before it ends the
// process on a report.
extern "C" void __sanitizer_set_death_callback(void (*callback)(void)) __attribute__((weak));

namespace velko_test {

using Clock = std::chrono::steady_clock;

double MutantTimeLimit() {
    return VELKO_TEST_SANITIZED ? 2.0 : 0.5;
}

double HangLimit() {
    return VELKO_TEST_SANITIZED ? 30.0 : 10.0;
}

double MutationScale() {
    const char *env = std::getenv("VELKO_MUTATION_SCALE");
    if (!env || !*env)
        return 1.0;
    double s = std::atof(env);
    return s > 0.0 ? s : 1.0;
}

uint32_t SeedFor(const std::string &relative) {
    uint32_t h = 2166136261u;
    for (char c : relative) {
        h ^= static_cast<uint8_t>(c);
        h *= 16777619u;
    }
    return kMutationSeed ^ h;
}

// ---------------------------------------------------------------------------
// Crash and hang reports
// ---------------------------------------------------------------------------

namespace {

// What is being fed to the library right now; read by the signal handler and
// the sanitizer callback, so it is a plain buffer.
char g_current_input[1024] = "";

void WriteCurrentInput(const char *event) {
    if (!g_current_input[0])
        return;
    const char *lead = "\n*** velko robustness test: ";
    ssize_t ignored = write(2, lead, std::strlen(lead));
    ignored = write(2, event, std::strlen(event));
    ignored = write(2, " while reading: ", 16);
    ignored = write(2, g_current_input, std::strlen(g_current_input));
    ignored = write(2, "\n", 1);
    (void)ignored;
}

void OnSanitizerDeath() {
    WriteCurrentInput("sanitizer report");
}

constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr size_t kCrashSignalCount = sizeof kCrashSignals / sizeof kCrashSignals[0];
struct sigaction g_previous_actions[kCrashSignalCount];

void OnCrashSignal(int sig) {
    WriteCurrentInput(sig == SIGABRT ? "abort" : "crash signal");
    // Hand the signal on: restore what was there before and return, so that
    // the faulting instruction runs again under the old handler (a
    // sanitizer's, or the default one).
    for (size_t i = 0; i < kCrashSignalCount; ++i) {
        if (kCrashSignals[i] == sig)
            sigaction(sig, &g_previous_actions[i], nullptr);
    }
    if (sig == SIGABRT)
        raise(sig);
}

} // namespace

void SetCurrentInput(const std::string &what) {
    std::snprintf(g_current_input, sizeof g_current_input, "%s", what.c_str());
}

CrashReporter::CrashReporter() {
    if (__sanitizer_set_death_callback)
        __sanitizer_set_death_callback(OnSanitizerDeath);
    for (size_t i = 0; i < kCrashSignalCount; ++i) {
        struct sigaction sa;
        std::memset(&sa, 0, sizeof sa);
        sa.sa_handler = OnCrashSignal;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = SA_NODEFER;
        sigaction(kCrashSignals[i], &sa, &g_previous_actions[i]);
    }
}

CrashReporter::~CrashReporter() {
    for (size_t i = 0; i < kCrashSignalCount; ++i)
        sigaction(kCrashSignals[i], &g_previous_actions[i], nullptr);
    if (__sanitizer_set_death_callback)
        __sanitizer_set_death_callback(nullptr);
    g_current_input[0] = 0;
}

Watchdog::Watchdog() : thread_([this] { Run(); }) {}

Watchdog::~Watchdog() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void Watchdog::Begin() {
    std::lock_guard<std::mutex> lock(mutex_);
    busy_ = true;
    start_ = Clock::now();
}

void Watchdog::End() {
    std::lock_guard<std::mutex> lock(mutex_);
    busy_ = false;
}

void Watchdog::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_) {
        wake_.wait_for(lock, std::chrono::milliseconds(200));
        if (stop_ || !busy_)
            continue;
        double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
        if (elapsed > HangLimit()) {
            WriteCurrentInput("hang (no end after the time limit)");
            std::abort();
        }
    }
}

// ---------------------------------------------------------------------------
// Reading everything an opened drawing offers
// ---------------------------------------------------------------------------

size_t Touch(const char *text, size_t max) {
    return text ? strnlen(text, max) : 0;
}

namespace {

template <typename Record, typename Toucher>
void ReadTable(int16_t h, const char *table, int16_t (*count_fn)(int16_t),
               int16_t (*get_fn)(int16_t, int16_t, Record *), Toucher touch, ReadReport *report,
               bool may_be_absent = false) {
    int16_t count = count_fn(h);
    if (count < 0) {
        if (!(may_be_absent && count == -123))
            report->Note(std::string(table) + " count " + std::to_string(count));
        return;
    }
    for (int i = 0; i < count; ++i) {
        Record r;
        std::memset(&r, 0, sizeof r);
        int16_t s = get_fn(h, static_cast<int16_t>(i), &r);
        if (s != 0 && s != 2) {
            report->Note(std::string(table) + " get " + std::to_string(i) + " gave " +
                         std::to_string(s));
            continue;
        }
        report->sink += touch(r);
        ++report->records;
    }
    Record r;
    std::memset(&r, 0, sizeof r);
    if (get_fn(h, count, &r) != -123)
        report->Note(std::string(table) + " get past the end did not fail");
}

// The tables of names: blocks, layers, line types, text styles.
void ReadNameTables(int16_t h, ReadReport *report) {
    ReadTable<CDB_BLOCK_TBL>(
        h, "BLOCK", CDBBlockTableCount, CDBBlockTableGet,
        [](const CDB_BLOCK_TBL &r) { return Touch(r.name, 32); }, report);
    ReadTable<CDB_LAYER_TBL_type>(
        h, "LAYER", CDBLayerTableCount, CDBLayerTableGet,
        [](const CDB_LAYER_TBL_type &r) { return Touch(r.name, 32) + size_t(r.color); }, report);
    ReadTable<CDB_LTYPE_TBL_type>(
        h, "LTYPE", CDBLineTypeTableCount, CDBLineTypeTableGet,
        [](const CDB_LTYPE_TBL_type &r) {
            size_t n = Touch(r.name, 32) + Touch(r.description, 48);
            if (r.dashes) {
                double sum = 0.0;
                for (int i = 0; i < r.dash_count; ++i)
                    sum += r.dashes[i];
                n += sum > 0.0 ? 1 : 0;
            }
            return n;
        },
        report);
    ReadTable<CDB_STYLE_TBL_type>(
        h, "STYLE", CDBStyleTableCount, CDBStyleTableGet,
        [](const CDB_STYLE_TBL_type &r) {
            return Touch(r.name, 32) + Touch(r.font_file, 64) + Touch(r.bigfont_file, 64);
        },
        report);
}

// The tables of views and settings: viewports, views, UCSs, applications, dimension and
// multiline styles.
void ReadSettingTables(int16_t h, ReadReport *report) {
    ReadTable<CDB_VPORT_TBL_type>(
        h, "VPORT", CDBVportTableCount, CDBVportTableGet,
        [](const CDB_VPORT_TBL_type &r) { return Touch(r.name, 32); }, report);
    ReadTable<CDB_VIEW_TBL_type>(
        h, "VIEW", CDBViewTableCount, CDBViewTableGet,
        [](const CDB_VIEW_TBL_type &r) { return Touch(r.name, 32); }, report);
    ReadTable<CDB_UCS_TBL_type>(
        h, "UCS", CDBUCSTableCount, CDBUCSTableGet,
        [](const CDB_UCS_TBL_type &r) { return Touch(r.name, 32); }, report);
    ReadTable<CDB_APPID_TBL_type>(
        h, "APPID", CDBAppidTableCount, CDBAppidTableGet,
        [](const CDB_APPID_TBL_type &r) { return Touch(r.name, 32); }, report);
    ReadTable<CDB_DIMSTYLE_TBL_type>(
        h, "DIMSTYLE", CDBDimStyleTableCount, CDBDimStyleTableGet,
        [](const CDB_DIMSTYLE_TBL_type &r) {
            return Touch(r.name, 32) + Touch(r.dimpost, 16) + Touch(r.dimapost, 16) +
                   Touch(r.dimblk, 33) + Touch(r.dimblk1, 33) + Touch(r.dimblk2, 33);
        },
        report);
    // Release 12 drawings have no multiline styles: their count is -123.
    ReadTable<CDB_MLINESTYLE_TBL_type>(
        h, "MLINESTYLE", CDBMLineStyleTableCount, CDBMLineStyleTableGet,
        [](const CDB_MLINESTYLE_TBL_type &r) { return Touch(r.name, 32); }, report, true);
}

// The whole header, then a few variables by name.
void ReadHeader(int16_t h, ReadReport *report) {
    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof header);
    if (CDBGetAllVariables(h, &header) != 0) {
        report->Note("CDBGetAllVariables failed");
    } else {
        report->sink +=
            Touch(header.acadver, 7) + Touch(header.menu, 60) + Touch(header.handseed, 30) +
            Touch(header.dwgcodepage, 40) + Touch(header.dimpost, 16) + Touch(header.dimapost, 16) +
            Touch(header.dimblk, 33) + Touch(header.dimblk1, 33) + Touch(header.dimblk2, 33);
    }

    const char *names[] = {"acadver", "HANDSEED",  "menu",   "dwgcodepage", "extmin",
                           "limmax",  "treedepth", "dimblk", "dimasz",      "clayer"};
    for (const char *name : names) {
        CDB_VAR_VALUE_type v;
        std::memset(&v, 0, sizeof v);
        int16_t code = CDBGetVariableValue(h, name, &v);
        if (code < 0)
            report->Note(std::string("CDBGetVariableValue ") + name + " gave " +
                         std::to_string(code));
        report->sink += strnlen(v.text, sizeof v.text);
    }
}

// Copies every record of a list out as a walk does, reads what the copy points at, and
// frees the texts that list mode hands out.
void ReadEntityList(CEntityList &list, ReadReport *report) {
    for (int i = 0; i < list.Count(); ++i) {
        CModelEntity *entity = list.At(i);
        if (!entity) {
            report->Note("a null entity in a list");
            continue;
        }
        CDB_ENTITY r;
        std::memset(&r, 0, sizeof r);
        entity->GetRecord(&r);
        ++report->records;
        report->sink += Touch(r.handle, 64);
        for (uint16_t k = 0; r.eed_data && k < r.eed_size; ++k)
            report->sink += r.eed_data[k];
        if (r.entity_type == CDB_VIEWPORT)
            for (int16_t k = 0; r.viewport.frozen_layers && k < r.viewport.frozen_layer_count; ++k)
                report->sink += static_cast<size_t>(r.viewport.frozen_layers[k]);
        for (char **text : walk::CopiedTexts(r)) {
            if (text) {
                report->sink += Touch(*text, 1 << 16);
                std::free(*text);
            }
        }
    }
}

} // namespace

ReadReport ReadEverything(int16_t h) {
    ReadReport report;
    ReadNameTables(h, &report);
    ReadSettingTables(h, &report);
    ReadHeader(h, &report);
    return report;
}

void ReadEntities(int16_t h, ReadReport *report) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(h);
    auto *r12 = lib ? dynamic_cast<CR12Drawing *>(lib->Drawing()) : nullptr;
    if (!r12 || r12->FileKind() != CR12Drawing::kDwg)
        return;
    // A section whose first frame cannot be read fails the load (0); what was read of
    // the drawing is read all the same.
    int loaded = r12->TriggerLoading();
    if (loaded != 0 && loaded != 1)
        report->Note("TriggerLoading gave " + std::to_string(loaded));
    ReadEntityList(r12->Entities(), report);
    for (int b = 0; b < r12->Blocks().Count(); ++b) {
        CModelBlock *block = r12->Blocks().At(b);
        if (!block || !block->record) {
            report->Note("a block without its record");
            continue;
        }
        report->sink += Touch(block->record->name, 4096) + Touch(block->record->xref_path, 4096) +
                        Touch(block->record->name_2, 4096);
        if (block->entities)
            ReadEntityList(*block->entities, report);
    }
    for (CModelEntity *v = r12->Viewports().First(); v; v = r12->Viewports().Next())
        report->sink += static_cast<size_t>(v->GetData()->viewport.vx_index);
}

namespace {

// Frees the texts that a list mode record hands to its caller, after reading them.
size_t TouchAndFree(CDB_ENTITY &r) {
    char *texts[3] = {};
    switch (r.entity_type) {
    case CDB_TEXT:
        texts[0] = r.text.text;
        break;
    case CDB_ATTDEF:
        texts[0] = r.attdef.default_value;
        texts[1] = r.attdef.prompt;
        texts[2] = r.attdef.tag;
        break;
    case CDB_ATTRIB:
        texts[0] = r.attrib.value;
        texts[1] = r.attrib.tag;
        break;
    case CDB_DIMENSION:
        texts[0] = r.dimension.text;
        break;
    case CDB_BLOCK:
        texts[0] = r.block.xref_path;
        texts[1] = r.block.name;
        texts[2] = r.block.name_2;
        break;
    case CDB_MTEXT:
        texts[0] = r.mtext.text;
        break;
    case CDB_TOLERANCE:
        texts[0] = r.tolerance.text;
        break;
    default:
        break;
    }
    size_t n = Touch(r.handle, 64);
    for (char *text : texts) {
        n += Touch(text, 1 << 16);
        std::free(text);
    }
    return n;
}

// Reads and frees the texts of a block record handed out by the block walk.
size_t TouchAndFree(CDB_STARTBLOCK_ENTITY_type &b) {
    size_t n = Touch(b.name, 4096) + Touch(b.name_2, 4096) + Touch(b.xref_path, 4096);
    std::free(b.name);
    std::free(b.name_2);
    std::free(b.xref_path);
    return n;
}

// Bounds of the walks below: far above what any corpus drawing needs.
constexpr long kMaxWalkSteps = 200000;

// The main section of a drawing with `count` entities: its last entity is the sentinel.
void WalkMainSection(int16_t h, int16_t count, ReadReport *report) {
    if (CDBFirstEntity(h, -1) != 0x40000000)
        report->Note("CDBFirstEntity of the main section");
    CDB_ENTITY r;
    std::memset(&r, 0, sizeof r);
    int32_t id = CDBGetCurrentEntity(h, &r);
    long delivered = 0;
    int16_t last_kind = 0;
    while (id >= 0 && delivered < kMaxWalkSteps) {
        ++delivered;
        last_kind = r.entity_type;
        report->sink += TouchAndFree(r);
        std::memset(&r, 0, sizeof r);
        id = CDBGetNextEntity(h, &r);
    }
    report->walked += delivered;
    if (id != CDB_END_OF_WALK && !(count == 32767 && id < 0))
        report->Note("the main walk ended with " + std::to_string(id));
    else if (count < 32767 && delivered != count)
        report->Note("the main walk gave " + std::to_string(delivered) + " of " +
                     std::to_string(count) + " entities");
    else if (last_kind != CDB_ENDBLK)
        report->Note("the main walk did not end with the sentinel");
}

// The list of block `index`, which must give as many entities as its count says.
void WalkBlockEntities(int16_t h, int16_t index, ReadReport *report) {
    const int16_t size = CDBEntityCount(h, index);
    long in_block = 0;
    int32_t id = CDBFirstEntity(h, index);
    CDB_ENTITY r;
    std::memset(&r, 0, sizeof r);
    id = id < 0 ? id : CDBGetCurrentEntity(h, &r);
    while (id >= 0 && in_block < kMaxWalkSteps) {
        ++in_block;
        report->sink += TouchAndFree(r);
        std::memset(&r, 0, sizeof r);
        id = CDBGetNextEntity(h, &r);
    }
    report->walked += in_block;
    if (size < 0 || (size < 32767 && in_block != size))
        report->Note("block " + std::to_string(index) + " walk gave " + std::to_string(in_block) +
                     " of " + std::to_string(size));
}

// The block walk, each block's list, and CDBBlockGet of the last block and past the end.
void WalkBlocks(int16_t h, ReadReport *report) {
    const int16_t blocks = CDBBlockTableCount(h);
    CDB_STARTBLOCK_ENTITY_type b;
    std::memset(&b, 0, sizeof b);
    int16_t status = CDBGetFirstBlock(h, &b);
    int16_t walked = 0;
    while (status >= 0 && walked <= blocks) {
        if (status != 0 && status != CDB_DELETED)
            report->Note("block walk status " + std::to_string(status));
        report->sink += TouchAndFree(b);
        if (status == 0)
            WalkBlockEntities(h, walked, report);
        ++walked;
        std::memset(&b, 0, sizeof b);
        status = CDBGetNextBlock(h, &b);
    }
    // A block section that cannot be read to its end leaves fewer blocks than records.
    if (status != CDB_END_OF_BLOCKS || walked > (blocks > 0 ? blocks : 0))
        report->Note("the block walk gave " + std::to_string(walked) + " of " +
                     std::to_string(blocks) + " blocks and ended with " + std::to_string(status));
    if (blocks > 0 && walked == blocks) {
        std::memset(&b, 0, sizeof b);
        if (CDBBlockGet(h, static_cast<int16_t>(blocks - 1), &b) != 0)
            report->Note("CDBBlockGet of the last block failed");
        std::free(b.name);
        std::free(b.name_2);
        std::free(b.xref_path);
    }
    if (CDBBlockGet(h, blocks, &b) != CDB_FAIL)
        report->Note("CDBBlockGet past the end did not fail");
}

// The display walk, from an empty return stack so that a mutant is walked alike whatever
// came before it.
void WalkDisplay(int16_t h, ReadReport *report) {
    ResetNavigateStack();
    CDBFirstEntity(h, -1);
    CDB_ENTITY r;
    int16_t step = 0;
    long steps = 0;
    for (; steps < kMaxWalkSteps; ++steps) {
        std::memset(&r, 0, sizeof r);
        step = CDBNavigate(h, &r);
        if (step < 0)
            break;
        report->sink += TouchAndFree(r);
    }
    report->walked += steps;
    if (steps >= kMaxWalkSteps)
        report->Note("CDBNavigate did not end");
    else if (step != CDB_END_OF_WALK)
        report->Note("CDBNavigate ended with " + std::to_string(step));
    ResetNavigateStack();
}

// The viewport chain.
void WalkViewports(int16_t h, ReadReport *report) {
    CDB_ENTITY r;
    std::memset(&r, 0, sizeof r);
    int16_t vp = CDBGetFirstViewport(h, &r);
    long viewports = 0;
    while (vp == 0 && viewports < kMaxWalkSteps) {
        ++viewports;
        if (r.entity_type != CDB_VIEWPORT)
            report->Note("a viewport of kind " + std::to_string(r.entity_type));
        for (int16_t k = 0; r.viewport.frozen_layers && k < r.viewport.frozen_layer_count; ++k)
            report->sink += static_cast<size_t>(r.viewport.frozen_layers[k]);
        std::memset(&r, 0, sizeof r);
        vp = CDBGetNextViewport(h, &r);
    }
    report->walked += viewports;
    if (vp != CDB_END_OF_WALK)
        report->Note("the viewport walk ended with " + std::to_string(vp));
}

} // namespace

void WalkEverything(int16_t h, ReadReport *report) {
    const int16_t count = CDBEntityCount(h, -1);
    if (count == CDB_FAIL) {
        // Entities and blocks could not be loaded: every walk fails alike.
        CDB_ENTITY r;
        std::memset(&r, 0, sizeof r);
        if (CDBFirstEntity(h, -1) != CDB_FAIL || CDBGetNextEntity(h, &r) != CDB_FAIL ||
            CDBNavigate(h, &r) != CDB_FAIL || CDBGetFirstViewport(h, &r) != CDB_FAIL)
            report->Note("a failed load answered a walk");
        return;
    }
    if (count == 0) {
        // A DXF without an ENTITIES section has an empty main list, not even its sentinel:
        // a walk of it ends at once.
        if (CDBFirstEntity(h, -1) != CDB_END_OF_WALK)
            report->Note("CDBFirstEntity of an empty main section");
        return;
    }
    if (count < 0) {
        report->Note("entity count " + std::to_string(count));
        return;
    }
    WalkMainSection(h, count, report);
    WalkBlocks(h, report);
    WalkDisplay(h, report);
    WalkViewports(h, report);
}

int SaveEveryForm(int16_t h, const std::string &path) {
    if (CDBGetAutoCADVersion(h) != 12)
        return 0;
    const std::string dwg = path + ".saved.dwg", ascii = path + ".saved.dxf",
                      binary = path + ".saved.bin.dxf";
    int saved = 0;
    saved += CDBSaveAsDWG(h, dwg.c_str()) == 0;
    saved += CDBSaveAsDXF(h, ascii.c_str(), 0) == 0;
    saved += CDBSaveAsDXF(h, binary.c_str(), 1) == 0;
    for (const std::string &written : {dwg, ascii, binary})
        std::remove(written.c_str());
    return saved;
}

namespace {

// CDBGetDrawingFileInfo of `path`: what is wrong with its answer, or "".
std::string CheckFileInfo(const std::string &path) {
    CDB_FILE_INFO info;
    std::memset(&info, 0, sizeof info);
    int16_t r = CDBGetDrawingFileInfo(path.c_str(), &info);
    std::string trouble;
    if (r != 0 && r != -123)
        trouble = "CDBGetDrawingFileInfo gave " + std::to_string(r);
    // The version is the 6 bytes at the "AC10" found, cut at a zero byte.
    if (r == 0 && (info.file_kind < 4 || info.file_kind > 6 || info.release < 1 ||
                   info.release > 3 || std::strncmp(info.version, "AC10", 4) != 0 ||
                   strnlen(info.version, sizeof info.version) > 6))
        trouble = "CDBGetDrawingFileInfo answered an impossible kind, release or version";
    return trouble;
}

// Everything an opened drawing `h` offers, the saves with `save`, and the close.
void ReadOpened(int16_t h, const std::string &path, bool save, Outcome *out) {
    out->opened = true;
    ReadReport report = ReadEverything(h);
    ReadEntities(h, &report);
    WalkEverything(h, &report);
    out->records = report.records;
    out->walked = report.walked;
    if (save)
        out->saved = SaveEveryForm(h, path);
    if (out->trouble.empty())
        out->trouble = report.trouble;
    int16_t closed = CDBEndOperation(h);
    if (closed != 0 && out->trouble.empty())
        out->trouble = "CDBEndOperation gave " + std::to_string(closed);
    if (report.sink == static_cast<size_t>(-1))
        std::puts(""); // never: only keeps `sink` alive
}

} // namespace

Outcome FeedFile(const std::string &path, Watchdog *watchdog, bool save) {
    Outcome out;
    if (watchdog)
        watchdog->Begin();
    Clock::time_point start = Clock::now();

    out.trouble = CheckFileInfo(path);
    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    out.status = h;
    if (h >= 0) {
        ReadOpened(h, path, save, &out);
    } else {
        out.code = CDBGetErrorNumber(-123);
        if (h != -123 && out.trouble.empty())
            out.trouble = "the open gave " + std::to_string(h) + " instead of -123";
        if (out.code == 0 && out.trouble.empty())
            out.trouble = "a refused open left no reason";
    }

    out.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (watchdog)
        watchdog->End();
    return out;
}

void FeedTally::Add(const Outcome &out, const std::string &what) {
    ++fed;
    seconds += out.seconds;
    if (out.opened)
        ++opened;
    if (out.saved > 0)
        ++saved;
    if (out.seconds > slowest) {
        slowest = out.seconds;
        slowest_what = what;
    }
}

TempPath::TempPath(const std::string &tag) {
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::temp_directory_path(ec);
    if (ec)
        dir = "/tmp";
    path_ = (dir / ("velko_" + tag + "_" + std::to_string(getpid()))).string();
}

TempPath::~TempPath() {
    std::remove(path_.c_str());
}

// ---------------------------------------------------------------------------
// Memory bound
// ---------------------------------------------------------------------------

size_t CurrentDataBytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 7, "VmData:") == 0)
            return static_cast<size_t>(std::strtoull(line.c_str() + 7, nullptr, 10)) * 1024;
    }
    return 0;
}

namespace {
// A "Vm...:" line of /proc/self/status in bytes; -1 when absent.
int64_t StatusBytes(const char *field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const size_t length = std::strlen(field);
    while (std::getline(status, line))
        if (line.compare(0, length, field) == 0)
            return static_cast<int64_t>(std::strtoll(line.c_str() + length, nullptr, 10)) * 1024;
    return -1;
}
} // namespace

PeakMemory::PeakMemory() {
    if (VELKO_TEST_SANITIZED)
        return;
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5" << std::flush;
    if (!clear)
        return;
    start_ = StatusBytes("VmRSS:");
}

int64_t PeakMemory::Added() const {
    if (start_ < 0)
        return -1;
    const int64_t peak = StatusBytes("VmHWM:");
    return peak < 0 ? -1 : std::max<int64_t>(0, peak - start_);
}

DataLimit::DataLimit(size_t extra) {
    // The sanitizers map their shadow memory and keep freed blocks in quarantine: a limit
    // on the data size would stop them, not the library.
    if (VELKO_TEST_SANITIZED)
        return;
#if defined(__GLIBC__)
    // Free memory that the heap keeps at its top goes back first, so that the bound counts
    // from what is in use rather than from the largest heap of an earlier feed.
    malloc_trim(0);
#endif
    const size_t now = CurrentDataBytes();
    if (now == 0 || getrlimit(RLIMIT_DATA, &previous_) != 0)
        return;
    limit_ = static_cast<rlim_t>(now + extra);
    if (previous_.rlim_max != RLIM_INFINITY && limit_ > previous_.rlim_max)
        limit_ = previous_.rlim_max;
    struct rlimit bound = previous_;
    bound.rlim_cur = limit_;
    active_ = setrlimit(RLIMIT_DATA, &bound) == 0;
}

DataLimit::~DataLimit() {
    if (active_)
        setrlimit(RLIMIT_DATA, &previous_);
}

BoundedOutcome FeedFileWithinMemory(const std::string &path, size_t extra, Watchdog *watchdog) {
    BoundedOutcome result;
    {
        DataLimit limit(extra);
        result.limited = limit.active();
        try {
            result.out = FeedFile(path, watchdog);
        } catch (const std::bad_alloc &) {
            result.out_of_memory = true;
            if (watchdog)
                watchdog->End();
        }
    }
    if (result.limited && !result.out_of_memory) {
        const Outcome free = FeedFile(path, watchdog);
        result.bound_mattered = free.opened != result.out.opened || free.code != result.out.code ||
                                free.records != result.out.records ||
                                free.walked != result.out.walked ||
                                free.trouble != result.out.trouble;
    }
    return result;
}

// ---------------------------------------------------------------------------
// Generic mutants
// ---------------------------------------------------------------------------

Damage DamageFor(int index) {
    int slot = index % 20;
    if (slot < 6)
        return Damage::BitFlips;
    if (slot < 10)
        return Damage::Overwrites;
    if (slot < 14)
        return Damage::HeadOverwrites;
    if (slot < 17)
        return Damage::TailOverwrites;
    if (slot < 19)
        return Damage::Truncation;
    return Damage::ZeroFill;
}

std::string Mutator::Make(int index, std::vector<uint8_t> *out) {
    *out = original_;
    std::ostringstream what;
    size_t size = out->size();
    if (size == 0) {
        what << "empty original";
        return what.str();
    }
    switch (DamageFor(index)) {
    case Damage::BitFlips:
        FlipBits(out, &what);
        break;
    case Damage::Overwrites:
        what << "overwrites:";
        Overwrite(out, 0, size, Uniform(1, 16), &what);
        break;
    case Damage::HeadOverwrites:
        // Where a release 12 header block lives.
        what << "head overwrites:";
        Overwrite(out, 0, std::min<size_t>(size, 2048), Uniform(1, 8), &what);
        break;
    case Damage::TailOverwrites: {
        // Where a release 12 trailer and its table descriptors live.
        size_t from = size > 160 ? size - 160 : 0;
        what << "tail overwrites:";
        Overwrite(out, from, size, Uniform(1, 6), &what);
        break;
    }
    case Damage::Truncation: {
        size_t keep = Offset(0, size);
        out->resize(keep);
        what << "truncated to " << keep << " of " << size << " bytes";
        break;
    }
    case Damage::ZeroFill: {
        size_t at = Offset(0, size);
        size_t room = size - at;
        size_t len = 1 + Offset(0, std::min<size_t>(room, 4096));
        std::fill(out->begin() + static_cast<std::ptrdiff_t>(at),
                  out->begin() + static_cast<std::ptrdiff_t>(at + len), 0);
        what << "zero fill of " << len << " bytes at " << at;
        break;
    }
    }
    return what.str();
}

// One to eight bits flipped anywhere.
void Mutator::FlipBits(std::vector<uint8_t> *out, std::ostringstream *what) {
    int n = Uniform(1, 8);
    *what << "bit flips:";
    for (int i = 0; i < n; ++i) {
        size_t at = Offset(0, out->size());
        int bit = Uniform(0, 7);
        (*out)[at] ^= static_cast<uint8_t>(1u << bit);
        *what << " " << at << "." << bit;
    }
}

// `n` damages in [from, to): single bytes, random or of the values that upset sizes and
// counts, and now and then a whole 16- or 32-bit word.
void Mutator::Overwrite(std::vector<uint8_t> *out, size_t from, size_t to, int n,
                        std::ostringstream *what) {
    static const uint8_t kBytes[] = {0x00, 0xFF, 0x7F, 0x80, 0x01, 0xFE};
    static const uint32_t kWords[] = {0x0000u,     0xFFFFu,     0x7FFFu,     0x8000u,
                                      0xFFFFFFFFu, 0x7FFFFFFFu, 0x80000000u, 0x00010000u};
    for (int i = 0; i < n; ++i) {
        size_t at = Offset(from, to);
        int style = Uniform(0, 5);
        if (style <= 1) {
            uint8_t v = static_cast<uint8_t>(Uniform(0, 255));
            (*out)[at] = v;
            *what << " " << at << "=" << int(v);
        } else if (style <= 3) {
            uint8_t v = kBytes[Uniform(0, 5)];
            (*out)[at] = v;
            *what << " " << at << "=" << int(v);
        } else {
            uint32_t word = kWords[Uniform(0, 7)];
            if (Uniform(0, 3) == 0) // a position just past the end of the file
                word = static_cast<uint32_t>(out->size() + static_cast<size_t>(Uniform(0, 64)));
            int width = style == 4 ? 2 : 4;
            for (int b = 0; b < width && at + static_cast<size_t>(b) < out->size(); ++b)
                (*out)[at + static_cast<size_t>(b)] = static_cast<uint8_t>(word >> (8 * b));
            *what << " " << at << "=u" << (width * 8) << ":" << word;
        }
    }
}

} // namespace velko_test
