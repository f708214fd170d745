// What a drawing without a DWG source needs before it is written as a DWG: handles for the
// objects that have none, control objects that list their tables' records, entities with
// the mode bits and owners by which a DWG places them, and block records that bound their
// blocks. A DWG read by the library holds all of this already; a DXF holds none of it.
//
// A drawing read from DXF carries the file's handles (group 5) on its entities, blocks and
// table records; the control objects of the tables and block records that the reader made
// itself (a block without a record, a space's record) have none. Those take fresh handles
// from the handle seed, which is first raised above every handle in use, so that a fresh
// handle never collides with one the drawing holds.
//
// What callers may rely on: after R13GiveMissingHandles every table control, table record, block
// record, BLOCK, ENDBLK and entity of the drawing has a non-zero handle distinct from all others it
// did not share before, and the seed stands above all of them.
#ifndef VELKO_R13_SAVE_HANDLES_H
#define VELKO_R13_SAVE_HANDLES_H

class CR13Drawing;

void R13GiveMissingHandles(CR13Drawing &drawing);

// Rebuilds the references of every control object from its table: one per record (code
// 2), the line type control's BYLAYER and BYBLOCK behind them, the block control's spaces
// (code 3) apart; `entry_count` follows.
void R13FillControlEntries(CR13Drawing &drawing);

// Gives every entity the mode bits by which a DWG reader places it: model space's (the main
// list's entities of space 0 and model space's BLOCK and ENDBLK) are in model space, paper
// space's are in paper space, a block's are owned by the block's record, which their owner
// reference names. A DXF carries none of this: its entities are placed by the section
// they stand in.
void R13PlaceEntities(CR13Drawing &drawing);

// Gives every block record the references by which a DWG reader bounds its block: the
// first entity, the BLOCK, the last entity before the ENDBLK, the ENDBLK. A space's
// entities are those of the main list in that space; its BLOCK reference is lowered to its
// first entity's handle should that be lower, as the reader drops the entities in front of
// it.
void R13LinkBlockRecords(CR13Drawing &drawing);

// Gives every layer the flag byte a DWG holds, made from its public flags: 0x40 as 0x80,
// frozen (1) as 0x08, locked (4) as 0x01. A DXF has no such byte (its reader copies the
// flags into it); a layer that is off keeps saying so by its negative colour.
void R13SetLayerFlagBytes(CR13Drawing &drawing);

#endif
