// The walk through the objects of a release 13 DWG that the loader takes.
//
// By default the walk is the file's own order: front to back from the file's read position,
// one object after the other, exactly as CDrawingFile::ReadObject delivers them. For a file
// whose writer laid its objects out in another order, the walk can follow a plan instead: a
// list of object offsets in the order in which the loader wants the objects (see
// r13_object_plan.h). The loader's readers (the blocks, the tables, the objects behind the
// tables, the update pass) go through this one seam and never learn which of the two they
// walk.
//
// What callers may rely on: a mark taken by Mark and given to Return puts the walk back on
// the same object; Next never reads outside the file and gives null at the end; in a plan,
// an object of the long size form is passed over, as the file order passes over it.
#ifndef VELKO_R13_OBJECT_WALK_H
#define VELKO_R13_OBJECT_WALK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class CDrawingFile;

class CR13ObjectWalk {
public:
    explicit CR13ObjectWalk(CDrawingFile &file) : file(file) {}

    // From now on the objects come from `offsets`, in their order.
    void FollowPlan(std::vector<int32_t> offsets);
    bool FollowsPlan() const { return following_plan; }

    // The walk's place, for Return.
    int64_t Mark() const;
    void Return(int64_t mark);
    // The next object, as CDrawingFile::ReadObject gives it; null at the end or when a read
    // failed (ReadFailed tells which).
    std::unique_ptr<uint8_t[]> Next();
    bool ReadFailed() const;
    // The file offset at which the walk stood for the object that Next gave last.
    int32_t LastOffset() const { return last_offset; }
    // Whether objects may still come before the file offset `end`: in the file's order,
    // while the read position is below it; in a plan, while the plan has objects.
    bool Before(int32_t end) const;

private:
    CDrawingFile &file;
    bool following_plan = false;
    std::vector<int32_t> plan;
    size_t next_in_plan = 0;
    int32_t last_offset = 0;
};

#endif
