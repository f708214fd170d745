// Reading everything an opened drawing offers: see drawing_feed.h.
#include "support/drawing_feed.h"

#include "support/owned_texts.h"

#include "dwg12/r12_drawing.h"
#include "interface/drawing_table.h"
#include "model/navigate_stack.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace velko_test {

using Clock = std::chrono::steady_clock;

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
    size_t n = Touch(r.handle, 64);
    for (char **text : walk::CopiedTexts(r)) {
        if (text) {
            n += Touch(*text, 1 << 16);
            std::free(*text);
            *text = nullptr;
        }
    }
    return n;
}

// Walks the extended data of a walked record with the cursor: every application and every
// value. Each step moves the cursor on, so the walks end; the bound only keeps a broken
// cursor from looping.
size_t ReadExtendedData(int16_t h, CDB_ENTITY &r, ReadReport *report) {
    if (!r.eed_data || r.eed_size == 0)
        return 0;
    CDB_EED_type cursor;
    std::memset(&cursor, 0, sizeof cursor);
    if (CDBGetEED(h, &r, &cursor) != 0) {
        report->Note("CDBGetEED of a record with extended data failed");
        return 0;
    }
    size_t n = 0;
    long steps = 0;
    for (int16_t app = CDBEEDGetFirstAppid(h, &cursor); app != CDB_EED_END && app != CDB_FAIL;
         app = CDBEEDGetNextAppid(h, &cursor)) {
        n += static_cast<size_t>(app);
        if (++steps > r.eed_size) {
            report->Note("the application walk of extended data did not end");
            break;
        }
    }
    CDB_EED_VALUES value;
    steps = 0;
    for (int16_t code = CDBEEDGetFirstValue(h, &cursor, &value); code >= 0;
         code = CDBEEDGetNextValue(h, &cursor, &value)) {
        n += strnlen(value.text, sizeof value.text) + static_cast<size_t>(code);
        if (++steps > r.eed_size) {
            report->Note("the value walk of extended data did not end");
            break;
        }
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
        report->sink += ReadExtendedData(h, r, report) + TouchAndFree(r);
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
        report->sink += ReadExtendedData(h, r, report) + TouchAndFree(r);
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
        report->sink += ReadExtendedData(h, r, report);
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

namespace {

// Every other save of the feed is written on the interoperable roads (section marks, real
// checks, strict DXF), so that damaged drawings go through those writers too; the options
// in force before come back when the object goes.
class AlternateWriteOptions {
public:
    AlternateWriteOptions() {
        static unsigned calls = 0;
        before_ = CDBSetWriteOptions(++calls % 2 ? CDB_WRITE_INTEROPERABLE : 0);
    }
    ~AlternateWriteOptions() { CDBSetWriteOptions(before_); }
    AlternateWriteOptions(const AlternateWriteOptions &) = delete;
    AlternateWriteOptions &operator=(const AlternateWriteOptions &) = delete;

private:
    int32_t before_ = 0;
};

} // namespace

int SaveEveryForm(int16_t h, const std::string &path) {
    if (CDBGetAutoCADVersion(h) != 12)
        return 0;
    const AlternateWriteOptions options;
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

int SaveAndReread(int16_t h, const std::string &path) {
    const int release = CDBGetAutoCADVersion(h);
    if (release != 12 && release != 13)
        return 0;
    const AlternateWriteOptions options;
    const std::string dwg = path + ".saved.dwg", ascii = path + ".saved.dxf",
                      binary = path + ".saved.bin.dxf";
    int saved = 0;
    saved += CDBSaveAsDWG(h, dwg.c_str()) == 0;
    saved += CDBSaveAsDXF(h, ascii.c_str(), 0) == 0;
    saved += CDBSaveAsDXF(h, binary.c_str(), 1) == 0;
    for (const std::string &written : {dwg, ascii, binary}) {
        if (access(written.c_str(), F_OK) == 0)
            FeedDrawing(written);
        std::remove(written.c_str());
    }
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
void ReadOpened(int16_t h, const std::string &path, bool save, bool reread, Outcome *out) {
    out->opened = true;
    ReadReport report = ReadEverything(h);
    ReadEntities(h, &report);
    WalkEverything(h, &report);
    out->records = report.records;
    out->walked = report.walked;
    if (save)
        out->saved = reread ? SaveAndReread(h, path) : SaveEveryForm(h, path);
    if (out->trouble.empty())
        out->trouble = report.trouble;
    int16_t closed = CDBEndOperation(h);
    if (closed != 0 && out->trouble.empty())
        out->trouble = "CDBEndOperation gave " + std::to_string(closed);
    if (report.sink == static_cast<size_t>(-1))
        std::puts(""); // never: only keeps `sink` alive
}

} // namespace

Outcome FeedDrawing(const std::string &path, bool save, bool reread) {
    Outcome out;
    Clock::time_point start = Clock::now();

    out.trouble = CheckFileInfo(path);
    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    out.status = h;
    if (h >= 0) {
        ReadOpened(h, path, save, reread, &out);
    } else {
        out.code = CDBGetErrorNumber(-123);
        if (h != -123 && out.trouble.empty())
            out.trouble = "the open gave " + std::to_string(h) + " instead of -123";
        if (out.code == 0 && out.trouble.empty())
            out.trouble = "a refused open left no reason";
    }

    out.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return out;
}

} // namespace velko_test
