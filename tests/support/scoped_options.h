// The process-wide read or write options set for the life of an object, and the options in
// force before put back when it goes: a test that reads or writes on another road leaves
// the next test on the road it found.
#pragma once

#include "velkow32.h"

#include <cstdint>

namespace velko_test {

class ScopedReadOptions {
public:
    explicit ScopedReadOptions(int32_t options) : kept_(CDBSetReadOptions(options)) {}
    ~ScopedReadOptions() { CDBSetReadOptions(kept_); }
    ScopedReadOptions(const ScopedReadOptions &) = delete;
    ScopedReadOptions &operator=(const ScopedReadOptions &) = delete;

private:
    int32_t kept_;
};

class ScopedWriteOptions {
public:
    explicit ScopedWriteOptions(int32_t options) : kept_(CDBSetWriteOptions(options)) {}
    ~ScopedWriteOptions() { CDBSetWriteOptions(kept_); }
    ScopedWriteOptions(const ScopedWriteOptions &) = delete;
    ScopedWriteOptions &operator=(const ScopedWriteOptions &) = delete;

private:
    int32_t kept_;
};

} // namespace velko_test
