// The calls of the tools beyond the public interface, answered from the library's own units.
#include "interface/tool_support.h"

#include "dwg12/r12_drawing.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_save.h"
#include "dxf/dxf_sniff.h"
#include "fonts/shape_file.h"
#include "fonts/shape_index_writer.h"
#include "fonts/shape_strokes.h"
#include "io/drawing_file.h"
#include "interface/drawing_table.h"
#include "interface/open_sniff.h"
#include "records/file_options.h"
#include "records/entity_kinds.h"
#include "views/xref_paths.h"

#include <fstream>
#include <memory>
#include <set>
#include <sys/stat.h>

namespace tool_support {

static_assert(kMostIndexedFonts == CShapeIndexWriter::kMostFonts, "one limit of the index");
static_assert(kLongestIndexedFontName == CShapeIndexWriter::kLongestName,
              "one limit of an entry's name");

namespace {

// The release 12 drawing under a handle, or null for a free handle or another class. The
// table is asked directly, so that no error code of the flat interface moves.
CR12Drawing *R12DrawingOf(int16_t handle) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(handle);
    return lib ? dynamic_cast<CR12Drawing *>(lib->Drawing()) : nullptr;
}

CR13Drawing *R13DrawingOf(int16_t handle) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(handle);
    return lib ? dynamic_cast<CR13Drawing *>(lib->Drawing()) : nullptr;
}

// The drawing StartReadingWithHooks has opened and is loading now, or null.
CBaseDrawing *g_opening = nullptr;

// position / length of the file the drawing reads, or -1.
double FractionRead(CBaseDrawing *drawing) {
    CDrawingFile *file = nullptr;
    if (auto *r12 = dynamic_cast<CR12Drawing *>(drawing))
        file = r12->File();
    else if (auto *r13 = dynamic_cast<CR13Drawing *>(drawing))
        file = r13->File();
    return file && file->Length() > 0 ? static_cast<double>(file->GetPosition()) / file->Length()
                                      : -1.0;
}

std::string NameOf(const std::vector<uint8_t> &data) {
    return std::string(reinterpret_cast<const char *>(data.data()), ShapeNameLength(data));
}

ShapeFontForm ListedForm(CShapeFile::Form form) {
    switch (form) {
    case CShapeFile::Form::kShapes10:
        return ShapeFontForm::kShapes10;
    case CShapeFile::Form::kUnifont:
        return ShapeFontForm::kUnifont;
    case CShapeFile::Form::kShapes11:
        break;
    }
    return ShapeFontForm::kShapes11;
}

void ListShapeFile(const CShapeFile &font, ShapeFontListing *listing) {
    listing->form = ListedForm(font.form);
    listing->above = font.above;
    listing->max_shape_id = font.max_shape_id;
    const bool has_width = font.form != CShapeFile::Form::kUnifont;
    for (size_t n = 0; n < font.shapes.size(); ++n) {
        const ShapeEntry &entry = font.shapes[n];
        if (entry.data_length <= 0)
            continue;
        listing->shapes.push_back({static_cast<unsigned>(n), NameOf(entry.data), entry.data_length,
                                   entry.width, has_width});
    }
    for (const ExtraShape &extra : font.extra_shapes)
        listing->shapes.push_back(
            {extra.shape_id, NameOf(extra.data), extra.data_length, extra.width, has_width});
}

void ListBigFont(const BigFont &font, ShapeFontListing *listing) {
    listing->form = ShapeFontForm::kBigFont;
    for (size_t i = 0; i < font.shapes.size(); ++i) {
        std::vector<uint8_t> data;
        ReadBigFontShape(font, i, &data);
        listing->shapes.push_back(
            {font.shapes[i].shape_id, NameOf(data), font.shapes[i].data_length, 0, false});
    }
}

// The first font whose name can't stand in the index, with the reason; kWritten when all can.
ShapeIndexOutcome CheckNames(const std::vector<IndexedFont> &fonts) {
    ShapeIndexOutcome outcome;
    std::set<std::string> seen;
    for (size_t i = 0; i < fonts.size(); ++i) {
        outcome.font = i;
        if (!CShapeIndexWriter::NameFits(fonts[i].name))
            outcome.status = ShapeIndexStatus::kBadName;
        else if (!seen.insert(fonts[i].name).second)
            outcome.status = ShapeIndexStatus::kDuplicateName;
        if (outcome.status != ShapeIndexStatus::kWritten)
            return outcome;
    }
    return ShapeIndexOutcome();
}

bool WriteBytes(const std::string &path, const std::vector<uint8_t> &bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    return file &&
           file.write(reinterpret_cast<const char *>(bytes.data()),
                      static_cast<std::streamsize>(bytes.size())) &&
           file.flush();
}

Stroke StrokeOf(const ShapeStroke &from) {
    Stroke stroke;
    stroke.points.reserve(from.points.size());
    for (const ShapePoint &p : from.points)
        stroke.points.push_back({p.x, p.y});
    return stroke;
}

} // namespace

const char *EntityKindName(int kind) {
    return ::EntityKindName(kind);
}

void FreeEntityTexts(CDB_ENTITY *record) {
    if (record)
        FreeOwnedTexts(record);
}

DrawingForm FormOf(int16_t drawing) {
    // Both releases number their file kinds alike.
    static_assert(int(CR12Drawing::kDwg) == int(CR13Drawing::kDwg) &&
                      int(CR12Drawing::kTextDxf) == int(CR13Drawing::kTextDxf) &&
                      int(CR12Drawing::kBinaryDxf) == int(CR13Drawing::kBinaryDxf),
                  "one numbering of file kinds");
    int kind = CR12Drawing::kNone;
    if (const auto *r12 = R12DrawingOf(drawing))
        kind = r12->FileKind();
    else if (const auto *r13 = R13DrawingOf(drawing))
        kind = r13->FileKind();
    switch (kind) {
    case CR12Drawing::kDwg:
        return DrawingForm::kDwg;
    case CR12Drawing::kTextDxf:
        return DrawingForm::kTextDxf;
    case CR12Drawing::kBinaryDxf:
        return DrawingForm::kBinaryDxf;
    default:
        return DrawingForm::kUnknown;
    }
}

int16_t LowestOpenDrawing() {
    for (int h = 0; h < CDrawingTable::kSlots; ++h)
        if (g_DrawingTable.GetDrawing(static_cast<int16_t>(h)))
            return static_cast<int16_t>(h);
    return CDB_FAIL;
}

bool LoadWholeDrawing(int16_t drawing) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(drawing);
    return lib && lib->Drawing() && lib->TriggerLoading() != 0;
}

bool CountSavedObjects(int16_t drawing, SavedObjects *counts) {
    if (CR13Drawing *r13 = R13DrawingOf(drawing)) {
        const R13SaveCounts saved = ::CountSavedObjects(*r13);
        counts->entities = saved.entities;
        counts->blocks = saved.blocks;
        counts->table_records = saved.records;
        return true;
    }
    CR12Drawing *r12 = R12DrawingOf(drawing);
    if (!r12)
        return false;
    SavedObjects c;
    c.entities = r12->Entities().Count();
    c.blocks = r12->Blocks().Count();
    for (int i = 0; i < c.blocks; ++i) {
        const CModelBlock *block = r12->Blocks().At(i);
        if (block && block->entities)
            c.entities += block->entities->Count();
    }
    for (int t = kR12Blocks; t <= kR12VxHeaders; ++t)
        c.table_records += r12->Table(t).Count();
    *counts = c;
    return true;
}

bool SaveStoppedAt(int16_t drawing, std::string *kind, std::string *handle) {
    const CR13Drawing *r13 = R13DrawingOf(drawing);
    if (!r13 || r13->LastDxfSaveStop().kind.empty())
        return false;
    if (kind)
        *kind = r13->LastDxfSaveStop().kind;
    if (handle)
        *handle = r13->LastDxfSaveStop().handle;
    return true;
}

std::string FormLimitOf(int16_t drawing) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(drawing);
    const CBaseDrawing *d = lib ? lib->Drawing() : nullptr;
    return d ? std::string(d->FormLimit()) : std::string();
}

bool SetProgressHooks(int16_t drawing, LoadProgressHook load, SaveProgressHook save) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(drawing);
    CBaseDrawing *d = lib ? lib->Drawing() : nullptr;
    if (!d)
        return false;
    d->progress_callback = load;
    d->save_progress = save;
    return true;
}

double LoadFraction(int16_t drawing) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(drawing);
    return lib ? FractionRead(lib->Drawing()) : -1.0;
}

int16_t StartReadingWithHooks(const char *name, LoadProgressHook load, SaveProgressHook save) {
    const int16_t handle = OpenDrawingFile(name, nullptr, [&](CBaseDrawing &opened) {
        opened.progress_callback = load;
        opened.save_progress = save;
        g_opening = &opened;
    });
    g_opening = nullptr;
    return handle;
}

double OpeningLoadFraction() {
    return g_opening ? FractionRead(g_opening) : -1.0;
}

int FileRelease(const std::string &path) {
    const OpenSniff dwg = SniffDrawing(path.c_str(), OpenAttempt::kDwg);
    if (dwg.kind == SniffedDrawing::kDwg12)
        return 12;
    if (dwg.kind == SniffedDrawing::kDwg13)
        return 13;
    const OpenSniff dxf = SniffDrawing(path.c_str(), OpenAttempt::kDxf);
    if (dxf.kind == SniffedDrawing::kDxf13)
        return 13;
    return dxf.kind == SniffedDrawing::kDxf12 ? 12 : 0;
}

std::string WhyRefused(const std::string &path) {
    // A release 13 DWG or DXF whose load failed: load it again on its own to hear why.
    CR13Drawing drawing(nullptr, 0);
    if (drawing.OpenDWG(path.c_str(), CDB_OPEN_READ) != 1) {
        auto file = std::make_unique<CDrawingFile>();
        if (!file->Open(path.c_str(), kDrawingFileRead))
            return "";
        const DxfSniff sniff = SniffDxf(*file, g_ReadOptions);
        if (sniff.release != 13 ||
            drawing.OpenDXFFrom(file, path.c_str(), sniff.form == CDxfStream::kBinary) != 1)
            return "";
    }
    if (drawing.LoadDWG() == 1)
        return "";
    return drawing.LoadFailure();
}

bool DrawingFileExists(const std::string &path) {
    if (path.empty())
        return false;
    struct stat st;
    return ::stat(ResolveDrawingPath(path.c_str()).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::vector<std::string> XrefCandidatePaths(const std::string &host_file,
                                            const std::string &stored) {
    const std::string first = XrefPathAsStored(stored);
    return {first, XrefPathBesideHost(host_file, first)};
}

bool ListShapeFont(const std::string &path, ShapeFontListing *listing) {
    *listing = ShapeFontListing();
    if (std::unique_ptr<CShapeFile> font = CShapeFile::Load(path)) {
        ListShapeFile(*font, listing);
        return true;
    }
    if (std::unique_ptr<BigFont> big = CShapeFile::LoadBigFont(path)) {
        ListBigFont(*big, listing);
        return true;
    }
    return false;
}

ShapeIndexOutcome WriteShapeIndex(const std::string &path, const std::vector<IndexedFont> &fonts) {
    ShapeIndexOutcome outcome;
    if (fonts.size() > kMostIndexedFonts) {
        outcome.status = ShapeIndexStatus::kTooManyFonts;
        return outcome;
    }
    outcome = CheckNames(fonts);
    if (outcome.status != ShapeIndexStatus::kWritten)
        return outcome;
    CShapeIndexWriter writer(fonts.size());
    for (size_t i = 0; i < fonts.size(); ++i) {
        outcome.font = i;
        switch (writer.Add(fonts[i].name, fonts[i].path)) {
        case CShapeIndexWriter::Added::kAdded:
            continue;
        case CShapeIndexWriter::Added::kUnreadable:
            outcome.status = ShapeIndexStatus::kUnreadableFont;
            return outcome;
        case CShapeIndexWriter::Added::kTooLarge:
            outcome.status = ShapeIndexStatus::kFontTooLarge;
            return outcome;
        }
    }
    outcome.font = 0;
    if (!WriteBytes(path, writer.Bytes())) {
        outcome.status = ShapeIndexStatus::kNotWritten;
        return outcome;
    }
    outcome.bytes = writer.Bytes().size();
    return outcome;
}

ShapeStrokes DrawShapeStrokes(const uint8_t *codes, size_t length, const SubshapeLookup &lookup) {
    const ShapeDrawing drawing = DrawShape(codes, length, lookup);
    ShapeStrokes strokes;
    strokes.strokes.reserve(drawing.strokes.size());
    for (const ShapeStroke &stroke : drawing.strokes)
        strokes.strokes.push_back(StrokeOf(stroke));
    strokes.end = {drawing.end.x, drawing.end.y};
    return strokes;
}

} // namespace tool_support
