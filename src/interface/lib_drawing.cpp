// The façade: one object per open drawing.
#include "dwg12/r12_drawing.h"
#include "dwg13/r13_drawing.h"
#include "interface/open_sniff.h"
#include "io/drawing_file.h"

#include <cstring>
#include <memory>

CLibDrawing::CLibDrawing(int flag)
    : view_flag(flag), layer_flags(0), space_flags(0), delete_list(), drawing(nullptr) {}

CLibDrawing::~CLibDrawing() {
    delete drawing;
    drawing = nullptr;
    for (int i = 0; i < 256 && delete_list[i]; ++i) {
        delete delete_list[i];
        delete_list[i] = nullptr;
    }
}

void CLibDrawing::EntityCall(void *) {}
void CLibDrawing::BlockCall(void *) {}
void CLibDrawing::UpdateAllTables() {}

int CLibDrawing::OpenDrawing(const char *name, const char *search_path) {
    if (OpenDWGFile(name, CDB_OPEN_READ, search_path))
        return 1;
    return OpenDXFFile(name, CDB_OPEN_READ, search_path);
}

int CLibDrawing::OpenDWGFile(const char *name, CDB_OPEN_MODE mode, const char *search_path) {
    OpenSniff sniff = SniffDrawing(name, OpenAttempt::kDwg);
    if (!sniff.judged) {
        // A file that cannot be opened or read leaves the drawing there is.
        SetError(sniff.refusal);
        return 0;
    }
    delete drawing;
    drawing = nullptr;
    int opened = 0;
    if (sniff.kind == SniffedDrawing::kDwg12) {
        auto *r12 = new CR12Drawing(this, view_flag);
        drawing = r12;
        // The sniff's file serves the drawing when it asks for the sniff's own mode.
        if (mode == CDB_OPEN_READ) {
            opened = r12->OpenDWGFrom(std::move(sniff.file), name);
        } else {
            sniff.file.reset();
            opened = r12->OpenDWG(name, mode);
        }
    } else if (sniff.kind == SniffedDrawing::kDwg13) {
        auto *r13 = new CR13Drawing(this, view_flag);
        drawing = r13;
        sniff.file.reset();
        opened = r13->OpenDWG(name, mode);
    } else {
        SetError(sniff.refusal);
        return 0;
    }
    if (!opened) {
        error = drawing->GetError();
        delete drawing;
        drawing = nullptr;
        return 0;
    }
    SetError(0);
    drawing->SetSearchPath(search_path);
    return 1;
}

int CLibDrawing::OpenDXFFile(const char *name, CDB_OPEN_MODE, const char *search_path) {
    delete drawing;
    drawing = nullptr;
    OpenSniff sniff = SniffDrawing(name, OpenAttempt::kDxf);
    // Release 13 is tried first; what it reports on failure is not kept.
    if (sniff.kind == SniffedDrawing::kDxf13) {
        auto *r13 = new CR13Drawing(this, view_flag);
        if (r13->OpenDXFFrom(sniff.file, name, sniff.binary))
            drawing = r13;
        else
            delete r13;
    }
    if (!drawing && (sniff.kind == SniffedDrawing::kDxf12 || sniff.also_dxf12)) {
        auto *r12 = new CR12Drawing(this, view_flag);
        const int kind = sniff.binary ? CR12Drawing::kBinaryDxf : CR12Drawing::kTextDxf;
        if (!r12->OpenDXFFrom(std::move(sniff.file), name, kind)) {
            error = r12->GetError();
            delete r12;
            return 0;
        }
        drawing = r12;
    }
    if (!drawing) {
        error = sniff.refusal;
        return 0;
    }
    drawing->SetSearchPath(search_path);
    return 1;
}

int CLibDrawing::LoadDWG() {
    return drawing->LoadDWG();
}
int CLibDrawing::LoadDXF() {
    return drawing->LoadDXF();
}
int CLibDrawing::TriggerLoading() {
    return drawing->TriggerLoading();
}
int CLibDrawing::PrepareForView() {
    return drawing->PrepareForView();
}
int CLibDrawing::IsAnyPaperSpace() {
    return drawing->IsAnyPaperSpace();
}
int CLibDrawing::GetFirstViewport(CDB_ENTITY *record) {
    return drawing->GetFirstViewport(record);
}
int CLibDrawing::GetNextViewport(CDB_ENTITY *record) {
    return drawing->GetNextViewport(record);
}
void CLibDrawing::LoadEntities() {
    drawing->LoadEntities();
}
CDB_STARTBLOCK_ENTITY_type *CLibDrawing::LoadBlock(int index) {
    return drawing->LoadBlock(index);
}
int CLibDrawing::CloseDWGFile() {
    return drawing->CloseDWGFile();
}

short CLibDrawing::GetError() {
    return drawing ? drawing->GetError() : error;
}
void CLibDrawing::SetError(short code) {
    error = code;
}

void CLibDrawing::AddToDeleteList(CBaseDrawing *child) {
    // The list holds 256 drawings; a further one is destroyed at once rather than lost.
    for (int i = 0; i < 256; ++i) {
        if (!delete_list[i]) {
            delete_list[i] = child;
            return;
        }
    }
    delete child;
}

int CLibDrawing::DeleteListFull() const {
    return delete_list[255] != nullptr;
}

CShapeTable *CLibDrawing::GetShapeTablePtr() {
    return drawing ? drawing->ShapeTable() : nullptr;
}
int CLibDrawing::ViewFlag() {
    return view_flag;
}
