// Robustness tests: damaged copies of every corpus drawing, and plain bad
// files, fed to the readers. Nothing here checks what a damaged drawing holds;
// every open must end (opened or refused with a reason), quickly, without a
// crash or a sanitizer report, and an opened drawing must answer every table
// and header read and close again. A sample of the opened release 12 mutants is
// also saved as DWG and as DXF, within the same time bound.
//
// The mutants come from std::mt19937 seeded per drawing from one fixed
// number, so a failure is reproducible: it names the drawing, the mutant's
// index and its damage. When a mutant crashes the process or hangs, the same
// description goes to stderr before the process ends, and the damaged file is
// left at the temporary path that is printed with it.
#include "support/corpus.h"
#include "support/dwg12_builder.h"
#include "walk/walk_support.h"

#include "dwg12/r12_drawing.h"
#include "interface/drawing_table.h"
#include "model/navigate_stack.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define VELKO_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(undefined_behavior_sanitizer)
#define VELKO_TEST_SANITIZED 1
#endif
#endif
#ifndef VELKO_TEST_SANITIZED
#define VELKO_TEST_SANITIZED 0
#endif

// Present when the program runs under a sanitizer: called before it ends the
// process on a report.
extern "C" void __sanitizer_set_death_callback(void (*callback)(void)) __attribute__((weak));

namespace velko_test {
namespace {

using Clock = std::chrono::steady_clock;

// The fixed number every drawing's generator is seeded from.
constexpr uint32_t kMutationSeed = 0x7E1C0D12u;

// At least this many mutants per drawing; small drawings get more.
constexpr int kMinMutants = 200;
constexpr int kSmallDrawingMutants = 400;
constexpr size_t kSmallDrawing = 64 * 1024;

// Every this many mutants is also saved as DWG and as DXF when it opens; a drawing above
// kSmallDrawing bytes more rarely, as each save writes all of it three times.
constexpr int kSaveEvery = 10;
constexpr int kSaveEveryLarge = 100;

// One mutant's open, reads and close must stay under this (seconds). Under a
// sanitizer the code runs several times slower, and the bound grows with it.
double MutantTimeLimit() {
    return VELKO_TEST_SANITIZED ? 10.0 : 2.0;
}

// Past this a mutant counts as hung: the process is stopped with a report.
double HangLimit() {
    return VELKO_TEST_SANITIZED ? 300.0 : 60.0;
}

// VELKO_MUTATION_SCALE multiplies the number of mutants (deeper runs by hand).
double MutationScale() {
    const char *env = std::getenv("VELKO_MUTATION_SCALE");
    if (!env || !*env)
        return 1.0;
    double s = std::atof(env);
    return s > 0.0 ? s : 1.0;
}

// ---------------------------------------------------------------------------
// Crash and hang reports
// ---------------------------------------------------------------------------

// What is being fed to the library right now; read by the signal handler and
// the sanitizer callback, so it is a plain buffer.
char g_current_input[1024] = "";

void SetCurrentInput(const std::string &what) {
    std::snprintf(g_current_input, sizeof g_current_input, "%s", what.c_str());
}

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
struct sigaction g_previous_actions[sizeof kCrashSignals / sizeof kCrashSignals[0]];

void OnCrashSignal(int sig) {
    WriteCurrentInput(sig == SIGABRT ? "abort" : "crash signal");
    // Hand the signal on: restore what was there before and return, so that
    // the faulting instruction runs again under the old handler (a
    // sanitizer's, or the default one).
    for (size_t i = 0; i < sizeof kCrashSignals / sizeof kCrashSignals[0]; ++i) {
        if (kCrashSignals[i] == sig)
            sigaction(sig, &g_previous_actions[i], nullptr);
    }
    if (sig == SIGABRT)
        raise(sig);
}

// Installs the reporters for the life of one test.
class CrashReporter {
public:
    CrashReporter() {
        if (__sanitizer_set_death_callback)
            __sanitizer_set_death_callback(OnSanitizerDeath);
        for (size_t i = 0; i < sizeof kCrashSignals / sizeof kCrashSignals[0]; ++i) {
            struct sigaction sa;
            std::memset(&sa, 0, sizeof sa);
            sa.sa_handler = OnCrashSignal;
            sigemptyset(&sa.sa_mask);
            sa.sa_flags = SA_NODEFER;
            sigaction(kCrashSignals[i], &sa, &g_previous_actions[i]);
        }
    }
    ~CrashReporter() {
        for (size_t i = 0; i < sizeof kCrashSignals / sizeof kCrashSignals[0]; ++i)
            sigaction(kCrashSignals[i], &g_previous_actions[i], nullptr);
        if (__sanitizer_set_death_callback)
            __sanitizer_set_death_callback(nullptr);
        g_current_input[0] = 0;
    }
    CrashReporter(const CrashReporter &) = delete;
    CrashReporter &operator=(const CrashReporter &) = delete;
};

// A thread that stops the process with a report when one input takes longer
// than HangLimit(): a hang would otherwise end only at the test runner's
// timeout, without saying which input.
class Watchdog {
public:
    Watchdog() : thread_([this] { Run(); }) {}
    ~Watchdog() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    void Begin() {
        std::lock_guard<std::mutex> lock(mutex_);
        busy_ = true;
        start_ = Clock::now();
    }
    void End() {
        std::lock_guard<std::mutex> lock(mutex_);
        busy_ = false;
    }

private:
    void Run() {
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

    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    bool busy_ = false;
    Clock::time_point start_;
    std::thread thread_;
};

// ---------------------------------------------------------------------------
// Reading everything an opened drawing offers
// ---------------------------------------------------------------------------

// Reads at most `max` bytes of a text the library handed out, so that a
// sanitizer sees a pointer into freed or too small memory.
size_t Touch(const char *text, size_t max) {
    return text ? strnlen(text, max) : 0;
}

struct ReadReport {
    long records = 0;
    std::string trouble; // empty when every call answered as it should
    size_t sink = 0;     // keeps the reads from being optimised away

    void Note(const std::string &what) {
        if (trouble.empty())
            trouble = what;
    }
};

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

// Every table record, the whole header and a few variables by name.
ReadReport ReadEverything(int16_t h) {
    ReadReport report;
    ReadTable<CDB_BLOCK_TBL>(
        h, "BLOCK", CDBBlockTableCount, CDBBlockTableGet,
        [](const CDB_BLOCK_TBL &r) { return Touch(r.name, 32); }, &report);
    ReadTable<CDB_LAYER_TBL_type>(
        h, "LAYER", CDBLayerTableCount, CDBLayerTableGet,
        [](const CDB_LAYER_TBL_type &r) { return Touch(r.name, 32) + size_t(r.color); }, &report);
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
        &report);
    ReadTable<CDB_STYLE_TBL_type>(
        h, "STYLE", CDBStyleTableCount, CDBStyleTableGet,
        [](const CDB_STYLE_TBL_type &r) {
            return Touch(r.name, 32) + Touch(r.font_file, 64) + Touch(r.bigfont_file, 64);
        },
        &report);
    ReadTable<CDB_VPORT_TBL_type>(
        h, "VPORT", CDBVportTableCount, CDBVportTableGet,
        [](const CDB_VPORT_TBL_type &r) { return Touch(r.name, 32); }, &report);
    ReadTable<CDB_VIEW_TBL_type>(
        h, "VIEW", CDBViewTableCount, CDBViewTableGet,
        [](const CDB_VIEW_TBL_type &r) { return Touch(r.name, 32); }, &report);
    ReadTable<CDB_UCS_TBL_type>(
        h, "UCS", CDBUCSTableCount, CDBUCSTableGet,
        [](const CDB_UCS_TBL_type &r) { return Touch(r.name, 32); }, &report);
    ReadTable<CDB_APPID_TBL_type>(
        h, "APPID", CDBAppidTableCount, CDBAppidTableGet,
        [](const CDB_APPID_TBL_type &r) { return Touch(r.name, 32); }, &report);
    ReadTable<CDB_DIMSTYLE_TBL_type>(
        h, "DIMSTYLE", CDBDimStyleTableCount, CDBDimStyleTableGet,
        [](const CDB_DIMSTYLE_TBL_type &r) {
            return Touch(r.name, 32) + Touch(r.dimpost, 16) + Touch(r.dimapost, 16) +
                   Touch(r.dimblk, 33) + Touch(r.dimblk1, 33) + Touch(r.dimblk2, 33);
        },
        &report);
    // Release 12 drawings have no multiline styles: their count is -123.
    ReadTable<CDB_MLINESTYLE_TBL_type>(
        h, "MLINESTYLE", CDBMLineStyleTableCount, CDBMLineStyleTableGet,
        [](const CDB_MLINESTYLE_TBL_type &r) { return Touch(r.name, 32); }, &report, true);

    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof header);
    if (CDBGetAllVariables(h, &header) != 0) {
        report.Note("CDBGetAllVariables failed");
    } else {
        report.sink +=
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
            report.Note(std::string("CDBGetVariableValue ") + name + " gave " +
                        std::to_string(code));
        report.sink += strnlen(v.text, sizeof v.text);
    }
    return report;
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

// Loads the entities and the blocks of a release 12 DWG and reads them all.
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

// Bounds of the walks below: far above what any corpus drawing needs.
constexpr long kMaxWalkSteps = 200000;

// Walks an opened drawing as an application does, through the flat interface: the entity
// count, the main section with CDBGetNextEntity, the block walk with each block's list,
// CDBBlockGet, CDBNavigate to its end and the viewport chain. Each walk must end, and end
// with its end value; a failed load must answer -123 everywhere.
void WalkEverything(int16_t h, ReadReport *report) {
    CDB_ENTITY r;
    const int16_t count = CDBEntityCount(h, -1);
    if (count == CDB_FAIL) {
        // Entities and blocks could not be loaded: every walk fails alike.
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

    // The main section: its last entity is the sentinel.
    if (CDBFirstEntity(h, -1) != 0x40000000)
        report->Note("CDBFirstEntity of the main section");
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
    if (id != CDB_END_OF_WALK && !(count == 32767 && id < 0))
        report->Note("the main walk ended with " + std::to_string(id));
    else if (count < 32767 && delivered != count)
        report->Note("the main walk gave " + std::to_string(delivered) + " of " +
                     std::to_string(count) + " entities");
    else if (last_kind != CDB_ENDBLK)
        report->Note("the main walk did not end with the sentinel");

    // The block walk, and each block's list.
    const int16_t blocks = CDBBlockTableCount(h);
    CDB_STARTBLOCK_ENTITY_type b;
    std::memset(&b, 0, sizeof b);
    int16_t status = CDBGetFirstBlock(h, &b);
    int16_t walked = 0;
    while (status >= 0 && walked <= blocks) {
        if (status != 0 && status != CDB_DELETED)
            report->Note("block walk status " + std::to_string(status));
        report->sink += Touch(b.name, 4096) + Touch(b.name_2, 4096) + Touch(b.xref_path, 4096);
        std::free(b.name);
        std::free(b.name_2);
        std::free(b.xref_path);
        if (status == 0) {
            const int16_t size = CDBEntityCount(h, walked);
            long in_block = 0;
            id = CDBFirstEntity(h, walked);
            std::memset(&r, 0, sizeof r);
            id = id < 0 ? id : CDBGetCurrentEntity(h, &r);
            while (id >= 0 && in_block < kMaxWalkSteps) {
                ++in_block;
                report->sink += TouchAndFree(r);
                std::memset(&r, 0, sizeof r);
                id = CDBGetNextEntity(h, &r);
            }
            if (size < 0 || (size < 32767 && in_block != size))
                report->Note("block " + std::to_string(walked) + " walk gave " +
                             std::to_string(in_block) + " of " + std::to_string(size));
        }
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

    // The display walk, from an empty return stack so that a mutant is walked alike
    // whatever came before it.
    ResetNavigateStack();
    CDBFirstEntity(h, -1);
    int16_t step = 0;
    long steps = 0;
    for (; steps < kMaxWalkSteps; ++steps) {
        std::memset(&r, 0, sizeof r);
        step = CDBNavigate(h, &r);
        if (step < 0)
            break;
        report->sink += TouchAndFree(r);
    }
    if (steps >= kMaxWalkSteps)
        report->Note("CDBNavigate did not end");
    else if (step != CDB_END_OF_WALK)
        report->Note("CDBNavigate ended with " + std::to_string(step));
    ResetNavigateStack();

    // The viewport chain.
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
    if (vp != CDB_END_OF_WALK)
        report->Note("the viewport walk ended with " + std::to_string(vp));
}

// The outcome of feeding one file to the library.
struct Outcome {
    bool opened = false;
    int16_t status = 0;   // the handle, or the failure status
    int16_t code = 0;     // the reason of a refusal
    double seconds = 0.0; // file info, open, reads and close
    long records = 0;
    int saved = 0;       // the forms the drawing was saved in
    std::string trouble; // empty when every call answered as it should
};

// Saves an opened release 12 drawing as DWG, as ASCII DXF and as binary DXF next to
// `path`, and removes what was written: the number of saves that succeeded. A save may
// refuse a damaged drawing; it must end without a crash or a sanitizer report.
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

// CDBGetDrawingFileInfo, CDBStartFileReading, every read when it opened (and with `save`
// the saves), CDBEndOperation. Failures of the calls are noted in `trouble`.
Outcome FeedFile(const std::string &path, Watchdog *watchdog, bool save = false) {
    Outcome out;
    if (watchdog)
        watchdog->Begin();
    Clock::time_point start = Clock::now();

    CDB_FILE_INFO info;
    std::memset(&info, 0, sizeof info);
    int16_t r = CDBGetDrawingFileInfo(path.c_str(), &info);
    if (r != 0 && r != -123)
        out.trouble = "CDBGetDrawingFileInfo gave " + std::to_string(r);
    // The version is the 6 bytes at the "AC10" found, cut at a zero byte.
    if (r == 0 && (info.file_kind < 4 || info.file_kind > 6 || info.release < 1 ||
                   info.release > 3 || std::strncmp(info.version, "AC10", 4) != 0 ||
                   strnlen(info.version, sizeof info.version) > 6))
        out.trouble = "CDBGetDrawingFileInfo answered an impossible kind, release or version";

    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    out.status = h;
    if (h >= 0) {
        out.opened = true;
        ReadReport report = ReadEverything(h);
        ReadEntities(h, &report);
        WalkEverything(h, &report);
        out.records = report.records;
        if (save)
            out.saved = SaveEveryForm(h, path);
        if (out.trouble.empty())
            out.trouble = report.trouble;
        int16_t closed = CDBEndOperation(h);
        if (closed != 0 && out.trouble.empty())
            out.trouble = "CDBEndOperation gave " + std::to_string(closed);
        if (report.sink == static_cast<size_t>(-1))
            std::puts(""); // never: only keeps `sink` alive
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

// A temporary file path for this process, removed when the object goes
// (unless the process dies first, which leaves the offending input behind).
class TempPath {
public:
    explicit TempPath(const std::string &tag) {
        std::error_code ec;
        std::filesystem::path dir = std::filesystem::temp_directory_path(ec);
        if (ec)
            dir = "/tmp";
        path_ = (dir / ("velko_" + tag + "_" + std::to_string(getpid()))).string();
    }
    ~TempPath() { std::remove(path_.c_str()); }
    TempPath(const TempPath &) = delete;
    TempPath &operator=(const TempPath &) = delete;
    const std::string &str() const { return path_; }

private:
    std::string path_;
};

// ---------------------------------------------------------------------------
// Mutants
// ---------------------------------------------------------------------------

enum class Damage { BitFlips, Overwrites, HeadOverwrites, TailOverwrites, Truncation, ZeroFill };

// The damage of mutant i: a repeating pattern of 20, so that every drawing
// gets each kind in the same proportion (6 : 4 : 4 : 3 : 2 : 1).
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

// FNV-1a of the drawing's path: each drawing's own seed, the same every run.
uint32_t SeedFor(const std::string &relative) {
    uint32_t h = 2166136261u;
    for (char c : relative) {
        h ^= static_cast<uint8_t>(c);
        h *= 16777619u;
    }
    return kMutationSeed ^ h;
}

class Mutator {
public:
    Mutator(const std::vector<uint8_t> &original, uint32_t seed)
        : original_(original), rng_(seed) {}

    // Makes mutant `index` (they must be asked for in order) into `out`;
    // returns what was done to it.
    std::string Make(int index, std::vector<uint8_t> *out) {
        *out = original_;
        std::ostringstream what;
        size_t size = out->size();
        if (size == 0) {
            what << "empty original";
            return what.str();
        }
        switch (DamageFor(index)) {
        case Damage::BitFlips: {
            int n = Uniform(1, 8);
            what << "bit flips:";
            for (int i = 0; i < n; ++i) {
                size_t at = Offset(0, size);
                int bit = Uniform(0, 7);
                (*out)[at] ^= static_cast<uint8_t>(1u << bit);
                what << " " << at << "." << bit;
            }
            break;
        }
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

private:
    int Uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
    // An offset in [from, to); `to` > `from`.
    size_t Offset(size_t from, size_t to) {
        return std::uniform_int_distribution<size_t>(from, to - 1)(rng_);
    }

    // `n` damages in [from, to): single bytes, random or of the values that
    // upset sizes and counts, and now and then a whole 16- or 32-bit word.
    void Overwrite(std::vector<uint8_t> *out, size_t from, size_t to, int n,
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

    const std::vector<uint8_t> &original_;
    std::mt19937 rng_;
};

// Damage aimed at the entity frames of a release 12 DWG, which the trailer locates: the
// frames of the entity section and of the block section are found by their lengths, and
// one of them is damaged; or the entity section itself is moved or given a made-up
// frame (the only damage for a drawing without frames). A repeating pattern of 10 kinds.
class FrameMutator {
public:
    FrameMutator(const std::vector<uint8_t> &original, uint32_t seed)
        : original_(original), rng_(seed) {
        const size_t size = original.size();
        if (size < 2000 || std::memcmp(original.data(), "AC1009", 6) != 0)
            return;
        trailer_ = size - 150;
        const size_t trailer = trailer_;
        entities_start_ = U32(trailer);
        const uint32_t entities_end = U32(trailer + 4);
        const uint32_t blocks_start = U32(trailer + 8);
        extra_start_ = U32(trailer + 12);
        Scan(entities_start_, entities_end);
        Scan(blocks_start, extra_start_);
    }

    // The number of frame mutants: none for a file that is no release 12 DWG.
    int Count() const {
        if (!trailer_)
            return 0;
        return std::max(1, static_cast<int>(kFrameMutants * MutationScale()));
    }

    std::string Make(int index, std::vector<uint8_t> *out) {
        *out = original_;
        if (frames_.empty() || index % 10 >= 8)
            return SectionDamage(index, out);
        std::ostringstream what;
        const Frame f = frames_[Pick(frames_.size())];
        what << "frame at " << f.at << " (length " << f.length << "): ";
        switch (index % 8) {
        case 0: { // bits inside the frame
            int n = Uniform(1, 4);
            what << "bit flips:";
            for (int i = 0; i < n; ++i) {
                size_t at = f.at + Pick(f.length);
                int bit = Uniform(0, 7);
                (*out)[at] ^= static_cast<uint8_t>(1u << bit);
                what << " " << at << "." << bit;
            }
            break;
        }
        case 1: { // one bit of the frame head
            size_t at = f.at + Pick(8);
            int bit = Uniform(0, 7);
            (*out)[at] ^= static_cast<uint8_t>(1u << bit);
            what << "head bit flip " << at << "." << bit;
            break;
        }
        case 2: { // a length below 8
            static const int16_t kShort[] = {-32768, -1, 0, 1, 2, 7};
            int16_t length = Uniform(0, 1) ? kShort[Pick(6)] : static_cast<int16_t>(Uniform(0, 7));
            Put16(out, f.at + 2, static_cast<uint16_t>(length));
            what << "length " << length;
            break;
        }
        case 3: { // a length past the frame, or past the file
            int16_t length = Uniform(0, 3) == 0 ? int16_t(0x7FFF)
                                                : static_cast<int16_t>(f.length + Uniform(1, 64));
            Put16(out, f.at + 2, static_cast<uint16_t>(length));
            what << "length " << length;
            break;
        }
        case 4: { // a jump into nowhere, into itself or back
            (*out)[f.at] = 18;
            const bool relative = Uniform(0, 1) == 1;
            (*out)[f.at + 7] = static_cast<uint8_t>(relative ? 0x80 : 0x00);
            uint32_t target = 0;
            switch (Uniform(0, 6)) {
            case 0:
                target = static_cast<uint32_t>(out->size() + Pick(1000));
                break;
            case 1:
                target = 0xFFFFFFFFu;
                break;
            case 2:
                target = 0x80000000u;
                break;
            case 3:
                target = f.at;
                break;
            case 4:
                target = entities_start_;
                break;
            case 5:
                target = static_cast<uint32_t>(Pick(1727));
                break;
            default:
                target = static_cast<uint32_t>(Pick(out->size()));
                break;
            }
            if (relative) {
                int16_t offset = static_cast<int16_t>(Uniform(-32768, 32767));
                if (Uniform(0, 1))
                    offset = static_cast<int16_t>(static_cast<int64_t>(target) -
                                                  static_cast<int64_t>(extra_start_));
                Put16(out, f.at + 4, static_cast<uint16_t>(offset));
                what << "relative jump " << offset;
            } else {
                Put16(out, f.at + 4, static_cast<uint16_t>(target & 0xFFFF));
                Put16(out, f.at + 6, static_cast<uint16_t>(target >> 16));
                what << "jump to " << target;
            }
            break;
        }
        case 5: { // a code that no class reads, or a kind out of place
            static const uint8_t kCodes[] = {0, 5, 6, 10, 12, 13, 21, 25, 30, 0x20, 0x7F, 0xFF};
            uint8_t code = kCodes[Pick(sizeof kCodes)];
            (*out)[f.at] = code;
            what << "code " << int(code);
            break;
        }
        case 6: { // the file cut inside the frame
            size_t keep = f.at + Pick(f.length);
            out->resize(keep);
            what << "truncated to " << keep;
            break;
        }
        default: { // the erased mark, set or cleared, and a flags byte of all bits
            (*out)[f.at] ^= 0x80;
            if (Uniform(0, 1))
                (*out)[f.at + 1] = 0xFF;
            what << "erased mark flipped, flags " << int((*out)[f.at + 1]);
            break;
        }
        }
        return what.str();
    }

private:
    static constexpr int kFrameMutants = 200;

    // The entity section's end moved, or a made-up frame at its start.
    std::string SectionDamage(int index, std::vector<uint8_t> *out) {
        std::ostringstream what;
        const size_t start = entities_start_;
        if (index % 2 == 0 || start + 80 > out->size()) {
            uint32_t end = 0;
            switch (Uniform(0, 3)) {
            case 0:
                end = static_cast<uint32_t>(start + Pick(4096));
                break;
            case 1:
                end = static_cast<uint32_t>(Pick(out->size()));
                break;
            case 2:
                end = static_cast<uint32_t>(out->size() + Pick(100));
                break;
            default:
                end = 0xFFFFFFFFu;
                break;
            }
            Put16(out, trailer_ + 4, static_cast<uint16_t>(end & 0xFFFF));
            Put16(out, trailer_ + 6, static_cast<uint16_t>(end >> 16));
            what << "entity section end moved to " << end;
            return what.str();
        }
        static const uint8_t kCodes[] = {1, 2, 3, 7, 8, 13, 14, 17, 18, 19, 20, 22, 23, 24, 0x81};
        const uint8_t code =
            Uniform(0, 3) ? kCodes[Pick(sizeof kCodes)] : static_cast<uint8_t>(Uniform(0, 255));
        const int16_t length = static_cast<int16_t>(Uniform(-16, 72));
        (*out)[start] = code;
        (*out)[start + 1] = static_cast<uint8_t>(Uniform(0, 255));
        Put16(out, start + 2, static_cast<uint16_t>(length));
        Put16(out, start + 4, static_cast<uint16_t>(Uniform(-3, 3)));
        (*out)[start + 6] = static_cast<uint8_t>(Uniform(0, 255));
        (*out)[start + 7] = static_cast<uint8_t>(Uniform(0, 255));
        for (size_t i = 8; i < 72; ++i)
            (*out)[start + i] = static_cast<uint8_t>(Uniform(0, 255));
        const uint32_t end = static_cast<uint32_t>(start + 8 + Pick(72));
        if (end > U32(trailer_ + 4)) {
            Put16(out, trailer_ + 4, static_cast<uint16_t>(end & 0xFFFF));
            Put16(out, trailer_ + 6, static_cast<uint16_t>(end >> 16));
        }
        what << "made-up frame at " << start << ": code " << int(code) << ", length " << length
             << ", section end " << end;
        return what.str();
    }
    struct Frame {
        size_t at;
        size_t length;
    };

    uint32_t U32(size_t at) const {
        return static_cast<uint32_t>(original_[at]) |
               static_cast<uint32_t>(original_[at + 1]) << 8 |
               static_cast<uint32_t>(original_[at + 2]) << 16 |
               static_cast<uint32_t>(original_[at + 3]) << 24;
    }
    static void Put16(std::vector<uint8_t> *out, size_t at, uint16_t v) {
        if (at + 1 < out->size()) {
            (*out)[at] = static_cast<uint8_t>(v);
            (*out)[at + 1] = static_cast<uint8_t>(v >> 8);
        }
    }
    // Frames one after another from `from`, while their lengths hold, below `to`.
    void Scan(uint32_t from, uint32_t to) {
        size_t p = from;
        const size_t end = std::min<size_t>(to, original_.size());
        while (p + 10 <= end && frames_.size() < 100000) {
            int16_t length = static_cast<int16_t>(original_[p + 2] | (original_[p + 3] << 8));
            if (length < 10 || p + static_cast<size_t>(length) > end)
                break;
            frames_.push_back({p, static_cast<size_t>(length)});
            p += static_cast<size_t>(length);
        }
    }
    int Uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
    size_t Pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }

    const std::vector<uint8_t> &original_;
    std::mt19937 rng_;
    std::vector<Frame> frames_;
    size_t trailer_ = 0;
    uint32_t entities_start_ = 0;
    uint32_t extra_start_ = 0;
};

int MutantCountFor(size_t size) {
    int base = size <= kSmallDrawing ? kSmallDrawingMutants : kMinMutants;
    int n = static_cast<int>(base * MutationScale());
    return std::max(n, kMinMutants);
}

// ---------------------------------------------------------------------------
// The mutation test, one instance per corpus drawing
// ---------------------------------------------------------------------------

std::vector<std::string> MutationCases() {
    std::vector<std::string> files;
    for (const char *folder : {"dwg12", "dwg13", "dxf12", "dxf13"}) {
        for (const std::string &f : CorpusFiles(folder))
            files.push_back(f);
    }
    if (files.empty())
        files.push_back(""); // stand-in: reports the missing corpus
    return files;
}

std::string MutationCaseName(const testing::TestParamInfo<std::string> &info) {
    return info.param.empty() ? std::string("no_corpus") : TestNameFor(info.param);
}

class CorpusMutationTest : public testing::TestWithParam<std::string> {};

TEST_P(CorpusMutationTest, DamagedCopiesEndCleanly) {
    VELKO_REQUIRE_CORPUS();
    const std::string &relative = GetParam();
    ASSERT_FALSE(relative.empty()) << "no drawing found in " << CorpusDir();
    std::vector<uint8_t> original;
    ASSERT_TRUE(ReadWholeFile(CorpusPath(relative), &original)) << relative;
    ASSERT_FALSE(original.empty()) << relative;

    CrashReporter reporter;
    Watchdog watchdog;
    TempPath temp("mutant");
    uint32_t seed = SeedFor(relative);
    Mutator mutator(original, seed);
    FrameMutator frames(original, seed ^ 0x46524D45u);
    const int regular = MutantCountFor(original.size());
    const int mutants = regular + frames.Count();

    int opened = 0;
    int troubled = 0;
    // A sample of the mutants is also saved, in every form, when it opens.
    const int save_every = original.size() <= kSmallDrawing ? kSaveEvery : kSaveEveryLarge;
    int saved = 0;
    double total = 0.0, slowest = 0.0;
    std::string slowest_what;
    std::vector<uint8_t> bytes;
    Clock::time_point test_start = Clock::now();
    for (int i = 0; i < mutants; ++i) {
        std::string damage =
            i < regular ? mutator.Make(i, &bytes) : frames.Make(i - regular, &bytes);
        std::ostringstream what;
        what << relative << " mutant " << i << " (seed " << seed << "): " << damage << "; file "
             << temp.str();
        SetCurrentInput(what.str());
        ASSERT_TRUE(WriteWholeFile(temp.str(), bytes.data(), bytes.size())) << temp.str();

        Outcome out = FeedFile(temp.str(), &watchdog, i % save_every == 0);
        total += out.seconds;
        if (out.opened)
            ++opened;
        if (out.saved > 0)
            ++saved;
        if (out.seconds > slowest) {
            slowest = out.seconds;
            slowest_what = what.str();
        }
        EXPECT_LE(out.seconds, MutantTimeLimit()) << "too slow: " << what.str();
        if (!out.trouble.empty()) {
            // Report the first few in full; count the rest.
            if (++troubled <= 5)
                ADD_FAILURE() << out.trouble << ": " << what.str();
        }
    }
    SetCurrentInput("");
    double wall = std::chrono::duration<double>(Clock::now() - test_start).count();
    EXPECT_EQ(troubled, 0) << troubled << " mutants of " << relative
                           << " got answers that break the interface";

    RecordProperty("mutants", mutants);
    RecordProperty("opened", opened);
    RecordProperty("saved", saved);
    std::printf("[ mutation ] %-40s %4d mutants, %4d opened, %3d saved, %.3f s (reads %.3f s, "
                "slowest %.4f s)\n",
                relative.c_str(), mutants, opened, saved, wall, total, slowest);
    if (slowest > MutantTimeLimit() / 4)
        std::printf("[ mutation ] slowest: %s\n", slowest_what.c_str());
}

INSTANTIATE_TEST_SUITE_P(Corpus, CorpusMutationTest, testing::ValuesIn(MutationCases()),
                         MutationCaseName);

// ---------------------------------------------------------------------------
// Plain bad inputs
// ---------------------------------------------------------------------------

class DrawingBadInput : public testing::Test {
protected:
    // Feeds `bytes` through a temporary file; fails the test on a broken
    // answer or when it takes too long.
    Outcome Feed(const Bytes &bytes, const std::string &what) {
        SetCurrentInput(what + "; file " + temp_.str());
        EXPECT_TRUE(WriteWholeFile(temp_.str(), bytes.data(), bytes.size()));
        Outcome out = FeedFile(temp_.str(), &watchdog_);
        SetCurrentInput("");
        EXPECT_TRUE(out.trouble.empty()) << out.trouble << ": " << what;
        EXPECT_LE(out.seconds, MutantTimeLimit()) << "too slow: " << what;
        return out;
    }

    // Writes `bytes` to the temporary file and returns its path.
    const std::string &Put(const Bytes &bytes) {
        EXPECT_TRUE(WriteWholeFile(temp_.str(), bytes.data(), bytes.size()));
        return temp_.str();
    }

    CrashReporter reporter_;
    Watchdog watchdog_;
    TempPath temp_{"bad_input"};
};

// The public records are byte-packed: their fields are copied out before they
// go to the assertion macros, which bind references to their arguments.
template <typename T> T Copy(T value) {
    return value;
}

Bytes Text(const std::string &s) {
    return Bytes(s.begin(), s.end());
}

// A small but complete release 12 drawing.
Bytes MinimalDrawing() {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    return b.Build();
}

TEST_F(DrawingBadInput, EmptyFile) {
    Outcome out = Feed(Bytes(), "empty file");
    EXPECT_FALSE(out.opened);
    EXPECT_EQ(out.status, -123);
    EXPECT_NE(out.code, 0);

    CDB_FILE_INFO info;
    std::memset(&info, 0, sizeof info);
    EXPECT_EQ(CDBGetDrawingFileInfo(Put(Bytes()).c_str(), &info), -123);
    EXPECT_EQ(CDBGetErrorNumber(-123), -405);
}

TEST_F(DrawingBadInput, MissingFile) {
    std::string path = temp_.str() + ".does-not-exist";
    EXPECT_EQ(CDBStartFileReading(path.c_str(), nullptr), -123);
    EXPECT_NE(CDBGetErrorNumber(-123), 0);
    CDB_FILE_INFO info;
    EXPECT_EQ(CDBGetDrawingFileInfo(path.c_str(), &info), -123);
    EXPECT_EQ(CDBGetErrorNumber(-123), -405);
}

TEST_F(DrawingBadInput, TooShortForATrailer) {
    // 149 bytes cannot hold the tail record: "Invalid File.", and the DXF
    // reader refuses the bytes as well.
    Bytes b = Text("AC1009");
    b.resize(149, 0);
    Outcome out = Feed(b, "149 bytes beginning AC1009");
    EXPECT_FALSE(out.opened);
    EXPECT_EQ(out.status, -123);
    EXPECT_EQ(out.code, -405);

    // Around that length: whatever the result, it must end cleanly.
    for (size_t n : {6u, 7u, 100u, 148u, 150u, 151u, 160u, 300u}) {
        Bytes c = Text("AC1009");
        c.resize(n, 0);
        Feed(c, std::to_string(n) + " bytes beginning AC1009");
    }
}

TEST_F(DrawingBadInput, VersionFollowedByZeros) {
    // All descriptors read as zero: empty tables, the default viewport, and a
    // header of zeros in which the tree depth 0 reads as 3020.
    Bytes b = Text("AC1009");
    b.resize(2000, 0);
    int16_t h = CDBStartFileReading(Put(b).c_str(), nullptr);
    ASSERT_GE(h, 0) << "error " << CDBGetErrorNumber(-123);
    EXPECT_EQ(CDBGetAutoCADVersion(h), 12);
    EXPECT_EQ(CDBBlockTableCount(h), 0);
    EXPECT_EQ(CDBLayerTableCount(h), 0);
    EXPECT_EQ(CDBLineTypeTableCount(h), 0);
    EXPECT_EQ(CDBStyleTableCount(h), 0);
    EXPECT_EQ(CDBViewTableCount(h), 0);
    EXPECT_EQ(CDBUCSTableCount(h), 0);
    EXPECT_EQ(CDBAppidTableCount(h), 0);
    EXPECT_EQ(CDBDimStyleTableCount(h), 0);
    EXPECT_EQ(CDBVportTableCount(h), 1);
    CDB_VPORT_TBL_type vport;
    std::memset(&vport, 0, sizeof vport);
    EXPECT_EQ(CDBVportTableGet(h, 0, &vport), 0);
    ASSERT_NE(Copy(vport.name), nullptr);
    EXPECT_STREQ(vport.name, "*ACTIVE");
    CDB_VAR_VALUE_type v;
    std::memset(&v, 0, sizeof v);
    EXPECT_EQ(CDBGetVariableValue(h, "treedepth", &v), CDB_VAR_INT16);
    EXPECT_EQ(Copy(v.int_value), 3020);
    std::memset(&v, 0, sizeof v);
    EXPECT_EQ(CDBGetVariableValue(h, "handseed", &v), CDB_VAR_TEXT);
    EXPECT_STREQ(v.text, "0");
    ReadReport report = ReadEverything(h);
    EXPECT_TRUE(report.trouble.empty()) << report.trouble;
    EXPECT_EQ(CDBEndOperation(h), 0);

    Feed(b, "AC1009 and 1994 zero bytes");
}

TEST_F(DrawingBadInput, RandomBytes) {
    const size_t sizes[] = {1, 5, 6, 64, 149, 150, 151, 1727, 1900, 4096, 20480, 70000};
    const char *prefixes[] = {
        "",
        "AC1009",
        "AC1012",
        "AC10",
        "  0\nSECTION\n  2\nHEADER\n  9\n$ACADVER\n  1\nAC1009\n",
        "  0\nSECTION\n  2\nHEADER\n  9\n$ACADVER\n  1\nAC1012\n",
        "AutoCAD Binary DXF\r\n\x1a",
    };
    for (uint32_t seed : {1u, 2u, 3u, 4u, 5u}) {
        std::mt19937 rng(kMutationSeed + seed);
        for (size_t size : sizes) {
            for (const char *prefix : prefixes) {
                Bytes b(size);
                for (uint8_t &x : b)
                    x = static_cast<uint8_t>(rng());
                size_t plen = std::strlen(prefix);
                if (std::strcmp(prefix, "AutoCAD Binary DXF\r\n\x1a") == 0)
                    ++plen; // its zero byte too
                std::memcpy(b.data(), prefix, std::min(plen, size));
                std::ostringstream what;
                what << size << " random bytes (seed " << seed << ") after \"" << prefix << "\"";
                Feed(b, what.str());
            }
        }
    }
}

TEST_F(DrawingBadInput, TruncatedTrailer) {
    Bytes whole = MinimalDrawing();
    // The intact drawing opens; cut at the end, the trailer is read from the
    // wrong place and its positions are garbage.
    Outcome intact = Feed(whole, "minimal drawing");
    EXPECT_TRUE(intact.opened);
    for (size_t cut : {1u, 2u, 16u, 17u, 18u, 22u, 23u, 100u, 128u, 149u, 150u, 154u, 300u}) {
        Bytes b(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(cut));
        Feed(b, "minimal drawing less its last " + std::to_string(cut) + " bytes");
    }
    // The trailer zeroed or filled with 0xFF.
    for (uint8_t fill : {uint8_t(0x00), uint8_t(0xFF)}) {
        Bytes b = whole;
        std::fill(b.end() - 150, b.end() - 22, fill);
        Feed(b, "minimal drawing with its trailer filled with " + std::to_string(fill));
    }
}

TEST_F(DrawingBadInput, TableDescriptorsPastTheEnd) {
    const Bytes whole = MinimalDrawing();
    const uint32_t past = static_cast<uint32_t>(whole.size()) + 1000;
    struct CountFn {
        int table;
        int16_t (*count)(int16_t);
    };
    const CountFn counts[] = {
        {kBlockTable, CDBBlockTableCount},       {kLayerTable, CDBLayerTableCount},
        {kStyleTable, CDBStyleTableCount},       {kLtypeTable, CDBLineTypeTableCount},
        {kViewTable, CDBViewTableCount},         {kUcsTable, CDBUCSTableCount},
        {kVportTable, CDBVportTableCount},       {kAppidTable, CDBAppidTableCount},
        {kDimstyleTable, CDBDimStyleTableCount},
    };

    for (int t = 0; t < kDwg12TableCount; ++t) {
        // Records past the end cannot be read: they stay as empty slots,
        // except in the viewport table, which drops them.
        Dwg12FileBuilder b;
        b.AddMinimalTables();
        b.OverrideDescriptor(t, kDwg12RecordSize[static_cast<size_t>(t)], 5, past);
        Bytes bytes = b.Build();
        std::string what = "table " + std::to_string(t) + ": 5 records past the end";
        SetCurrentInput(what);
        int16_t h = CDBStartFileReading(Put(bytes).c_str(), nullptr);
        SetCurrentInput("");
        ASSERT_GE(h, 0) << what << ": error " << CDBGetErrorNumber(-123);
        for (const CountFn &c : counts) {
            if (c.table == t) {
                EXPECT_EQ(c.count(h), t == kVportTable ? 0 : 5) << what;
            }
        }
        ReadReport report = ReadEverything(h);
        EXPECT_TRUE(report.trouble.empty()) << report.trouble << ": " << what;
        EXPECT_EQ(CDBEndOperation(h), 0);

        // Other bad descriptors: only a clean end is asked for.
        struct Bad {
            uint16_t record_size;
            int16_t count;
            uint32_t position;
            const char *what;
        };
        const Bad bads[] = {
            {kDwg12RecordSize[static_cast<size_t>(t)], 32767, past, "32767 records past the end"},
            {kDwg12RecordSize[static_cast<size_t>(t)], 3, 0xFFFFFFF0u, "position 0xFFFFFFF0"},
            {kDwg12RecordSize[static_cast<size_t>(t)], 3, 0x80000000u, "position 0x80000000"},
            {kDwg12RecordSize[static_cast<size_t>(t)], -1, past, "count -1"},
            {kDwg12RecordSize[static_cast<size_t>(t)], -32768, 0, "count -32768"},
            {0, 40, 0, "40 records over the header block"},
            {0xFFFF, 20, static_cast<uint32_t>(whole.size()) - 60,
             "20 records from 60 bytes before the end"},
        };
        for (const Bad &bad : bads) {
            Dwg12FileBuilder c;
            c.AddMinimalTables();
            c.OverrideDescriptor(t, bad.record_size, bad.count, bad.position);
            Feed(c.Build(), "table " + std::to_string(t) + ": " + bad.what);
        }
    }
}

} // namespace
} // namespace velko_test
