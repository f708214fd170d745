// The walk through the objects of a release 13 DWG: the file's order or a plan.
#include "dwg13/r13_object_walk.h"

#include "io/drawing_file.h"

#include <utility>

namespace {

// Bit 15 of an object's first 16 bits marks the long size form, which the reader passes over.
constexpr uint8_t kLongSizeBit = 0x80;

} // namespace

void CR13ObjectWalk::FollowPlan(std::vector<int32_t> offsets) {
    plan = std::move(offsets);
    next_in_plan = 0;
    following_plan = true;
}

int64_t CR13ObjectWalk::Mark() const {
    return following_plan ? static_cast<int64_t>(next_in_plan) : file.GetPosition();
}

void CR13ObjectWalk::Return(int64_t mark) {
    if (!following_plan) {
        file.SetPosition(static_cast<int32_t>(mark), 0);
        return;
    }
    next_in_plan = mark < 0 ? 0 : static_cast<size_t>(mark);
    if (next_in_plan > plan.size())
        next_in_plan = plan.size();
}

std::unique_ptr<uint8_t[]> CR13ObjectWalk::Next() {
    if (!following_plan) {
        last_offset = file.GetPosition();
        return file.ReadObject();
    }
    file.read_failed = false;
    while (next_in_plan < plan.size()) {
        last_offset = plan[next_in_plan++];
        uint8_t size[2] = {};
        if (last_offset < 0 || !file.SetPosition(last_offset, 0) || !file.Read(size, 2) ||
            file.GetPosition() != last_offset + 2)
            continue;
        if (size[1] & kLongSizeBit)
            continue;
        file.SetPosition(last_offset, 0);
        return file.ReadObject();
    }
    return nullptr;
}

bool CR13ObjectWalk::ReadFailed() const {
    return file.read_failed;
}

bool CR13ObjectWalk::Before(int32_t end) const {
    return following_plan ? next_in_plan < plan.size() : file.GetPosition() < end;
}
