// A release 12 drawing opened from hand-made bytes, for the entity and block tests: the
// bytes go to a temporary file, a CR12Drawing opens it and reads its tables and header.
#pragma once

#include "dwg12/r12_drawing.h"
#include "dwg12/r12_frame_bytes.h"
#include "io/drawing_file.h"
#include "interface/test_files.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace velko_test {

// A copy of a field: the public records are packed, and a test must not bind a reference
// to one of their fields.
template <typename T> T Field(T value) {
    return value;
}

class LoadedR12 {
public:
    // `lib` is the façade that receives the records in view mode (may be null).
    LoadedR12(const std::string &name, const Bytes &bytes, int view_flag = 0,
              CLibDrawing *lib = nullptr)
        : file_(name, bytes), drawing_(std::make_unique<CR12Drawing>(lib, view_flag)) {
        opened_ = drawing_->OpenDWG(file_.c_str(), CDB_OPEN_READ) && drawing_->LoadDWG();
    }

    bool opened() const { return opened_; }
    CR12Drawing &drawing() { return *drawing_; }
    CR12Drawing *operator->() { return drawing_.get(); }

    // The record of main-section entity `i` (null past the end).
    CDB_ENTITY *Entity(int i) {
        CModelEntity *e = drawing_->Entities().At(i);
        return e ? e->GetData() : nullptr;
    }
    int Count() { return drawing_->Entities().Count(); }

private:
    TempFile file_;
    std::unique_ptr<CR12Drawing> drawing_;
    bool opened_ = false;
};

// A drawing with the usual tables whose entity section is `section` (and block section
// and extra area as given). Build() has run; `builder` keeps the layout.
inline Bytes BuildDrawing(Dwg12FileBuilder &builder, const Bytes &section,
                          const Bytes &blocks = Bytes(), const Bytes &extra = Bytes()) {
    builder.AddMinimalTables();
    builder.SetEntities(section);
    builder.SetBlocks(blocks);
    builder.SetExtra(extra);
    return builder.Build();
}

// The name of the running test, to keep temporary files apart.
inline std::string CurrentTestName() {
    const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
    return info ? std::string(info->test_suite_name()) + "_" + info->name() : "r12";
}

} // namespace velko_test
