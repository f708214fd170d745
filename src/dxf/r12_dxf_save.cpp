// Saving a release 12 drawing as DXF "AC1009", ASCII or binary.
//
// The file holds HEADER, TABLES, BLOCKS and ENTITIES and the end mark "EOF". Every group
// goes through the stream's WriteGroup, so the two forms are one road: a binary file only
// begins with the 22-byte sentinel. After a save the new file is the drawing's file, and
// the drawing's form is that of the save.
#include "dwg12/r12_drawing.h"
#include "dxf/dxf_stream.h"
#include "dxf/r12_dxf_header.h"
#include "dwg12/r12_dxf_layout.h"
#include "dxf/r12_dxf_write.h"
#include "io/drawing_file.h"
#include "io/file_replacement.h"

#include <memory>
#include <string>

// ---- Names of table records ------------------------------------------------------------------

const char *R12DxfWriteContext::RecordName(int t, int index) const {
    const CR12TableRecord *record = drawing.Table(t).At(index);
    // Every record class of the ten tables keeps its name the same way.
    return record ? static_cast<const CR12LayoutRecord *>(record)->Name() : nullptr;
}

const char *R12DxfWriteContext::Layer(int index) const {
    return RecordName(kR12Layers, index);
}
const char *R12DxfWriteContext::Ltype(int index) const {
    return RecordName(kR12Ltypes, index);
}
const char *R12DxfWriteContext::Style(int index) const {
    return RecordName(kR12Styles, index);
}
const char *R12DxfWriteContext::Dimstyle(int index) const {
    return RecordName(kR12Dimstyles, index);
}
const char *R12DxfWriteContext::Ucs(int index) const {
    return RecordName(kR12Ucs, index);
}
const char *R12DxfWriteContext::Appid(int index) const {
    return RecordName(kR12Appids, index);
}
const char *R12DxfWriteContext::Block(int index) const {
    return RecordName(kR12Blocks, index);
}

// ---- Sections ----------------------------------------------------------------------------------

int WriteSectionBreak(CDxfStream &stream, const char *name, int last) {
    if (!stream.WriteText(0, "ENDSEC"))
        return 0;
    if (last)
        return stream.WriteText(0, name);
    return stream.WriteText(0, "SECTION") && stream.WriteText(2, name);
}

namespace {

// A name for the nameless block `index` of `table` on the strict road: "UNNAMED" and its
// index, lengthened by "_" while another block holds it.
std::string NameForNamelessBlock(CR12TableList &table, int index) {
    std::string name = "UNNAMED" + std::to_string(index);
    for (int tries = 0; tries < table.Count() && table.FindByName(name.c_str()) >= 0; ++tries)
        name += '_';
    return name;
}

// The kind of the entities that close a list: the block end, and the end sentinel of the
// main list.
constexpr int16_t kListEnd = CDB_ENDBLK;

class CR12DxfWriter {
public:
    CR12DxfWriter(CR12Drawing &drawing, CDrawingFile &output, CDxfStream &stream)
        : drawing_(drawing), output_(output), context_(stream, drawing) {}

    // The whole file, from its start. 1, or 0 when a write fails.
    int WriteFile() {
        CDxfStream &s = context_.stream;
        if (output_.GetPosition() != 0 || !output_.SeekForWrite(0))
            return 0;
        if (s.OutputBinary() && !s.WriteBinarySentinel())
            return 0;
        if (!s.WriteText(0, "SECTION") || !s.WriteText(2, "HEADER") ||
            !WriteR12DxfHeader(s, drawing_.Header().vars, context_, context_.strict))
            return 0;
        if (!WriteSectionBreak(s, "TABLES", 0) || !WriteTables())
            return 0;
        const uint8_t in_section = output_.in_entity_section;
        int written = WriteSectionBreak(s, "BLOCKS", 0) && WriteBlocks() &&
                      WriteSectionBreak(s, "ENTITIES", 0) && WriteEntities();
        output_.in_entity_section = in_section;
        return written && WriteSectionBreak(s, "EOF", 1) && output_.Flush();
    }

private:
    int WriteTables() {
        // The tables in their order in the section.
        static constexpr int kOrder[] = {kR12Vports, kR12Ltypes, kR12Layers, kR12Styles,
                                         kR12Views,  kR12Ucs,    kR12Appids, kR12Dimstyles};
        for (int t : kOrder)
            if (!WriteTable(t))
                return 0;
        return 1;
    }

    // 0 "TABLE", 2 name, 70 the number of records (deleted ones included), the records,
    // 0 "ENDTAB".
    int WriteTable(int t) {
        CDxfStream &s = context_.stream;
        const R12DxfLayout *layout = R12DxfTableLayout(t);
        CR12TableList &list = drawing_.Table(t);
        if (list.Count() > CDxfStream::kMaxTableCount)
            return drawing_.RefuseFormLimit(CDxfStream::kTableCountLimit);
        if (!layout || !s.WriteText(0, "TABLE") || !s.WriteText(2, layout->name) ||
            !s.WriteInt16(70, static_cast<int16_t>(list.Count())))
            return 0;
        for (int i = 0; i < list.Count(); ++i) {
            const CR12TableRecord *record = list.At(i);
            if (!record)
                continue;
            if (!record->WriteDXF(context_))
                return 0;
            drawing_.CountWritten();
        }
        return s.WriteText(0, "ENDTAB");
    }

    // Each block that is not deleted: its start, filled from the block's start record and
    // its table record, then its list, closed by its block end.
    int WriteBlocks() {
        output_.in_entity_section = 0;
        CBlockList &blocks = drawing_.Blocks();
        CR12TableList &table = drawing_.Table(kR12Blocks);
        for (int i = 0; i < blocks.Count(); ++i) {
            const CModelBlock *block = blocks.At(i);
            if (!block || !block->record)
                continue;
            const CDB_STARTBLOCK_ENTITY_type &start = *block->record;
            // The table record gives name and flags; a block whose table name is empty
            // keeps the start's own name, which may be none.
            const CR12TableRecord *entry = table.At(i);
            const char *table_name = entry ? context_.Block(i) : nullptr;
            const char *name = table_name && *table_name ? table_name : start.name;
            // Strict readers refuse a block without a name: the strict road gives it one.
            std::string made;
            if (context_.strict && (!name || !*name)) {
                made = NameForNamelessBlock(table, i);
                name = made.c_str();
            }
            const int16_t flags = entry ? int16_t(entry->Flags()) : int16_t(start.flags);
            if ((flags & 0x80) || (start.flags & 0x80))
                continue;
            if (!WriteBlockStartDxf(context_, start, name, flags))
                return 0;
            drawing_.CountWritten();
            if (!WriteList(block->entities.get(), true))
                return 0;
        }
        return 1;
    }

    int WriteEntities() {
        output_.in_entity_section = 1;
        return WriteList(&drawing_.Entities(), false);
    }

    // The entities of a list without its kind 13 objects: the main list's end sentinel is
    // no entity of the file, and the edit functions may have added entities behind it. A
    // block's list is closed by its (last) block end, or by a plain one when it has none.
    int WriteList(const CEntityList *list, bool closed_by_end) {
        CR12Entity *end = nullptr;
        for (int i = 0; list && i < list->Count(); ++i) {
            CR12Entity *entity = R12EntityAt(*list, i);
            if (!entity)
                continue;
            if (entity->Code() == kListEnd) {
                end = entity;
                continue;
            }
            if (!entity->WriteDXF(context_))
                return 0;
            drawing_.CountWritten();
        }
        if (!closed_by_end)
            return 1;
        CR12EndBlock plain(&drawing_);
        if (!(end ? end : &plain)->WriteDXF(context_))
            return 0;
        drawing_.CountWritten();
        return 1;
    }

    CR12Drawing &drawing_;
    CDrawingFile &output_;
    R12DxfWriteContext context_;
};

} // namespace

short CR12Drawing::SaveAsDXF(const char *name, int binary) {
    if (!name) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    // The name may be the drawing's own file name, which changes below.
    const std::string target(name);
    if (!TriggerLoading())
        return CDB_FAIL;

    file_kind = binary ? kBinaryDxf : kTextDxf;
    // Everything is in memory: the input is closed and nothing more is read from it.
    if (file)
        file->Close();
    DetachDxfReader(binary);

    if (writing_dxf) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return CDB_FAIL;
    }
    // The new file object carries the drawing's layout (its version) over; it is written
    // beside the target and replaces it only once complete.
    CFileReplacement replacement(target.c_str());
    auto output = file ? std::make_unique<CDrawingFile>(*file) : std::make_unique<CDrawingFile>();
    if (!replacement.Open(*output)) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    file_name = target;

    CDxfStream stream;
    stream.AttachOutput(output.get(), binary ? 1 : 0);
    StartCountingWritten();
    writing_dxf = true;
    const int written = CR12DxfWriter(*this, *output, stream).WriteFile();
    writing_dxf = false;
    if (!written || !replacement.Commit(*output)) {
        // Nothing of the new file stays; the old file is as it was.
        output->Close();
        if (stream.FormLimit())
            RefuseFormLimit(stream.FormLimit());
        return CDB_FAIL;
    }

    file = std::move(output);
    file_name = target;
    return 0;
}
