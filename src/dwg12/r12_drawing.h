// A drawing of release 12: DWG "AC1009" (and, through the DXF reader, DXF "AC1009").
#ifndef VELKO_R12_DRAWING_H
#define VELKO_R12_DRAWING_H

#include "dwg12/r12_header.h"
#include "dwg12/r12_tables.h"
#include "interface/base_drawing.h"

#include <memory>
#include <string>

class CR12Drawing : public CBaseDrawing {
public:
    enum FileKind { kNone = -1, kDwg = 0, kTextDxf = 1, kBinaryDxf = 2 };

    CR12Drawing(CLibDrawing *owner, int view_flag);
    ~CR12Drawing() override;

    int OpenDWG(const char *name, CDB_OPEN_MODE mode);
    int OpenDXF(const char *name, CDB_OPEN_MODE mode);
    int FileKind() const { return file_kind; }
    CDrawingFile *File() { return file.get(); }
    CR12Header &Header() { return header; }
    CR12TableList &Table(int t) { return *tables[t]; }

    int CloseDWGFile() override;
    int LoadDWG() override;
    int LoadDXF() override;
    int TriggerLoading() override;
    void LoadEntities() override;
    CDB_HEADER_type *GetAllVars() override;
    char *GetFileName() override;
    const std::string &GetAcadVersion() override;
    short GetVariableValue(const char *name, CDB_VAR_VALUE_type *value) override;
    short GetEED(CDB_ENTITY *entity, CDB_EED_type *cursor) override;
    short GetFirstAppid(CDB_EED_type *cursor) override;
    short GetNextAppid(CDB_EED_type *cursor) override;
    short GetFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) override;
    short GetNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) override;

    int GetLayerTableCount() override { return Table(kR12Layers).Count(); }
    CDB_LAYER_TBL_type *GetLayerTable(int index) override;
    int GetLtypeTableCount() override { return Table(kR12Ltypes).Count(); }
    CDB_LTYPE_TBL_type *GetLtypeTable(int index) override;
    int GetVportTableCount() override { return Table(kR12Vports).Count(); }
    CDB_VPORT_TBL_type *GetVportTable(int index) override;
    int GetStyleTableCount() override { return Table(kR12Styles).Count(); }
    CDB_STYLE_TBL_type *GetStyleTable(int index) override;
    int GetBlockTableCount() override { return Table(kR12Blocks).Count(); }
    CDB_BLOCK_TBL *GetBlockTable(int index) override;
    int GetUcsTableCount() override { return Table(kR12Ucs).Count(); }
    CDB_UCS_TBL_type *GetUcsTable(int index) override;
    int GetAppidTableCount() override { return Table(kR12Appids).Count(); }
    CDB_APPID_TBL_type *GetAppidTable(int index) override;
    int GetDimstyleTableCount() override { return Table(kR12Dimstyles).Count(); }
    CDB_DIMSTYLE_TBL_type *GetDimstyleTable(int index) override;
    int GetViewTableCount() override { return Table(kR12Views).Count(); }
    CDB_VIEW_TBL_type *GetViewTable(int index) override;

    // Moves the file's read position back to the start: 1, or 0 with -406 / -403.
    int Rewind();

private:
    // Reads the ten tables in the order the file's layout asks for: 1, or 0 on failure.
    int LoadTables();
    // Reads and decodes the header block, leaving the read position where it was.
    int LoadHeader();
    void *TableRecord(int t, int index);

    std::unique_ptr<CDrawingFile> file;
    std::string file_name;
    int file_kind = kNone;
    int header_loaded = 0;
    int tables_loaded = 0;
    int entities_loaded = 0;
    int blocks_loaded = 0;
    CR12Header header;
    std::unique_ptr<CR12TableList> tables[10];
    short current_block = -1;
    int16_t entity_counter = 0;
    int16_t block_counter = 0;
    std::string acad_version;

public:
    // Called with the two progress counters after each entity that is added; no exported
    // function sets it, it is there for a derived class.
    void (*progress_callback)(int16_t entities, int16_t blocks) = nullptr;
};

#endif
