// The blocks of a release 13 drawing: the block start entity and the block as the drawing's
// block list holds it, with its header object, its start and its chain of entities.
#ifndef VELKO_R13_BLOCK_H
#define VELKO_R13_BLOCK_H

#include "dwg13/r13_entity.h"
#include "model/block_list.h"

#include <memory>
#include <string>

class CR13BlockRecord;

// The BLOCK object (type 4, public kind 12): its name, a copy of it in name_2, the two
// flags that the block header gives, and the copy of the block's ENDBLK.
class CR13BlockStart : public CR13Entity {
public:
    explicit CR13BlockStart(CR13Drawing *drawing);
    ~CR13BlockStart() override;

    int32_t in_model_flag = 0;
    int32_t is_xref_block = 0;
    // The block's end (ENDBLK) as the file gave it, owned.
    std::unique_ptr<CR13Entity> end_block;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

// One block of the drawing: what the first pass reads for a block header and the
// entities up to its ENDBLK. The CModelBlock record is the public block start record.
struct CR13Block : public CModelBlock {
    CR13Block();
    ~CR13Block() override;

    // Fills the public record from the header: name, base point, xref path; the start
    // entity takes the header's in-model and xref flags and its elevation. The header's
    // flag byte stays the block table record's (in release 13 files it mostly has bit 0x80
    // set, which the walk would take for a deleted block).
    void FillRecord();

    // The block header. The block table owns the headers of its blocks; the block owns
    // the header of a space, which the table does not take (`owned_header`).
    CR13BlockRecord *header = nullptr;
    std::unique_ptr<CR13BlockRecord> owned_header;
    std::unique_ptr<CR13BlockStart> start;
    // The handle of the block start, and of the last entity before the ENDBLK.
    std::string first_handle;
    std::string last_handle;
};

#endif
