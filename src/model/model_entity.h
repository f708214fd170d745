// The release-neutral entity: one object per entity of a drawing, of any release. It owns
// its record (a CDB_ENTITY of the union's full size, of malloc); what the record points
// at (handle, extended data, texts) is the derived class's to copy and to free, since only
// the kind knows which of the union's pointers it uses.
//
// The lists, the walk and the edits of src/model work on this class alone; a release's
// entity classes derive from it and add their file forms.
#ifndef VELKO_MODEL_ENTITY_H
#define VELKO_MODEL_ENTITY_H

#include "velkow32.h"

#include <cstdint>

struct CViewportLink;

class CModelEntity {
public:
    // A record of kind `code` with the defaults every entity starts from: no line type
    // (-1), colour by layer (-1), extrusion 0, 0, 1.
    explicit CModelEntity(int16_t code);
    // Frees the record's own block; the derived class has freed what it points at.
    virtual ~CModelEntity();
    CModelEntity(const CModelEntity &) = delete;
    CModelEntity &operator=(const CModelEntity &) = delete;

    // Copies the record out to the caller. In list mode the texts are the caller's own
    // copies (malloc).
    virtual void GetRecord(CDB_ENTITY *out) = 0;
    // Takes a public record in (the edit functions): the object keeps copies of its own
    // of everything the record points at. The caller's record is not touched.
    virtual void SetRecord(const CDB_ENTITY *in) = 0;
    // The record, with references that need the drawing's tables resolved first: what
    // view mode hands to the application.
    virtual CDB_ENTITY *GetResolvedRecord() { return record; }
    // The entity's place in its drawing's chain of viewports, null for other kinds.
    virtual CViewportLink *ViewportLink() { return nullptr; }

    CDB_ENTITY *GetData() const { return record; }
    int16_t Code() const { return code; }
    void SetCode(int16_t kind) { code = kind; }

protected:
    int16_t code;
    CDB_ENTITY *record;
};

#endif
