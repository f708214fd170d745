// The entry libFuzzer calls: the target named by VELKO_FUZZ_TARGET when this file is
// compiled (one fuzzer binary per target).
#include "fuzz_targets.h"

#include <cstring>

#ifndef VELKO_FUZZ_TARGET
#error "VELKO_FUZZ_TARGET names the target of this fuzzer"
#endif

namespace {

FuzzTargetFunction TheTarget() {
    for (size_t i = 0; i < kFuzzTargetCount; ++i)
        if (std::strcmp(kFuzzTargets[i].name, VELKO_FUZZ_TARGET) == 0)
            return kFuzzTargets[i].run;
    return nullptr;
}

const FuzzTargetFunction g_target = TheTarget();

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    FuzzSetUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return g_target ? g_target(data, size) : 0;
}
