#include "support/save_scene.h"

#include "dxf/r13_dxf_write_support.h"
#include "edit/edit_support.h"
#include "support/dwg12_builder.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <dirent.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velko_test {

namespace {

// The user and group of nobody, whom a child running as root becomes.
constexpr uid_t kNobody = 65534;

void RemoveTree(const std::string &path) {
    ::chmod(path.c_str(), 0700);
    if (DIR *d = ::opendir(path.c_str())) {
        while (dirent *e = ::readdir(d)) {
            const std::string name = e->d_name;
            if (name == "." || name == "..")
                continue;
            const std::string inner = path + "/" + name;
            struct stat st;
            if (::lstat(inner.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
                RemoveTree(inner);
            else
                ::unlink(inner.c_str());
        }
        ::closedir(d);
    }
    ::rmdir(path.c_str());
}

} // namespace

ScratchFolder::ScratchFolder(const std::string &name) {
    std::string pattern = ::testing::TempDir() + "velko_" + name + "_XXXXXX";
    if (::mkdtemp(&pattern[0]))
        path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
    if (!path_.empty())
        RemoveTree(path_);
}

std::vector<std::string> ScratchFolder::Entries() const {
    std::vector<std::string> names;
    if (DIR *d = ::opendir(path_.c_str())) {
        while (dirent *e = ::readdir(d)) {
            const std::string name = e->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        ::closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

const std::vector<SaveWriter> &AllSaveWriters() {
    static const std::vector<SaveWriter> kWriters = {
        {"R12Dwg", 12, true, 0, ".dwg"},        {"R12AsciiDxf", 12, false, 0, ".dxf"},
        {"R12BinaryDxf", 12, false, 1, ".dxf"}, {"R13Dwg", 13, true, 0, ".dwg"},
        {"R13AsciiDxf", 13, false, 0, ".dxf"},  {"R13BinaryDxf", 13, false, 1, ".dxf"},
    };
    return kWriters;
}

int16_t SaveWith(const SaveWriter &writer, int16_t h, const std::string &target) {
    return writer.dwg ? CDBSaveAsDWG(h, target.c_str())
                      : CDBSaveAsDXF(h, target.c_str(), writer.binary);
}

OpenSource::OpenSource(int release, const std::vector<uint8_t> &bytes, const char *suffix)
    : folder_("save_source") {
    if (!folder_.Made())
        return;
    // Readable by anyone, so that a child that gives up root still reads it.
    ::chmod(folder_.Path().c_str(), 0755);
    std::vector<uint8_t> content = bytes;
    if (content.empty()) {
        if (release == 12) {
            content = edit::FiveEntityDrawing();
        } else {
            const std::string text = SmallR13Dxf([](DxfText &) {}).Ascii();
            content.assign(text.begin(), text.end());
        }
    }
    const char *ending = suffix ? suffix : release == 12 ? ".dwg" : ".dxf";
    path_ = folder_.File(std::string("source") + ending);
    if (!WriteFile(path_, content))
        return;
    ::chmod(path_.c_str(), 0644);
    handle_ = CDBStartFileReading(path_.c_str(), nullptr);
}

OpenSource::~OpenSource() {
    if (handle_ >= 0)
        CDBEndOperation(handle_);
}

std::vector<uint8_t> SplineR13Dxf(int points) {
    const std::string text = SmallR13Dxf([points](DxfText &d) {
                                 d.G(0, "SPLINE").G(5, "70").G(100, "AcDbEntity").G(8, "0");
                                 d.G(100, "AcDbSpline").G(70, 8).G(71, 3).G(72, 0);
                                 d.G(73, points).G(74, 0);
                                 for (int i = 0; i < points; ++i)
                                     d.G(10, i + 0.5).G(20, i % 7 + 0.25).G(30, 0.125);
                             }).Ascii();
    return std::vector<uint8_t>(text.begin(), text.end());
}

ChildResult RunInChild(const ChildBounds &bounds, int16_t h, const std::function<int16_t()> &save) {
    ChildResult result;
    int pipe_ends[2];
    if (::pipe(pipe_ends) != 0) {
        result.failure = "no pipe";
        return result;
    }
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        result.failure = "no fork";
        return result;
    }
    if (child == 0) {
        ::close(pipe_ends[0]);
        if (bounds.unprivileged && ::geteuid() == 0) {
            if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
                ::_exit(3);
        }
        if (bounds.file_size_limit > 0) {
            // A write past the bound then fails with EFBIG instead of ending the process.
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit bound{rlim_t(bounds.file_size_limit), rlim_t(bounds.file_size_limit)};
            if (::setrlimit(RLIMIT_FSIZE, &bound) != 0)
                ::_exit(4);
        }
        int16_t answer[2] = {save(), CDBGetErrorNumber(h)};
        const bool told = ::write(pipe_ends[1], answer, sizeof answer) == ssize_t(sizeof answer);
        ::_exit(told ? 0 : 5);
    }
    ::close(pipe_ends[1]);
    int16_t answer[2] = {0, 0};
    const ssize_t got = ::read(pipe_ends[0], answer, sizeof answer);
    ::close(pipe_ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && got == ssize_t(sizeof answer)) {
        result.ended = true;
        result.saved = answer[0];
        result.code = answer[1];
    } else {
        result.failure = "the child ended with status " + std::to_string(status);
    }
    return result;
}

} // namespace velko_test
