#include "io/file_replacement.h"

#include "io/drawing_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// Links followed before a chain of them is taken for a loop.
constexpr int kMaxLinks = 40;

std::string FolderOf(const std::string &path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return std::string();
    return path.substr(0, slash + 1);
}

// The file a chain of symbolic links ends at; `path` itself when it is none. A link that
// points nowhere gives the path it points at, so that the save creates that file.
std::string FollowLinks(std::string path) {
    for (int i = 0; i < kMaxLinks; ++i) {
        struct stat st;
        if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
            return path;
        std::vector<char> text(size_t(st.st_size > 0 ? st.st_size : 255) + 1);
        const ssize_t n = ::readlink(path.c_str(), text.data(), text.size() - 1);
        if (n <= 0)
            return path;
        const std::string link(text.data(), size_t(n));
        path = link[0] == '/' ? link : FolderOf(path) + link;
    }
    return path;
}

// The permission bits a new file gets in this process.
mode_t NewFileMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

CFileReplacement::CFileReplacement(const char *target)
    : target_(FollowLinks(ResolveDrawingPath(target))) {}

CFileReplacement::~CFileReplacement() {
    Abandon();
}

int CFileReplacement::Open(CDrawingFile &file) {
    if (target_.empty() || !temporary_.empty() || file.IsOpen())
        return 0;
    // A file that may not be written keeps its content, as writing into it would.
    struct stat st;
    if (::stat(target_.c_str(), &st) == 0 &&
        (!S_ISREG(st.st_mode) || ::access(target_.c_str(), W_OK) != 0))
        return 0;
    // A hidden name in the same folder, so that the rename stays on one file system.
    const std::string folder = FolderOf(target_);
    std::string name = folder + "." + target_.substr(folder.size()) + ".XXXXXX";
    const int descriptor = ::mkstemp(&name[0]);
    if (descriptor < 0)
        return 0;
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    temporary_ = name;
    committed_ = false;
    if (!file.Adopt(descriptor, temporary_)) {
        ::close(descriptor);
        Abandon();
        return 0;
    }
    return 1;
}

int CFileReplacement::Commit(CDrawingFile &file) {
    if (temporary_.empty() || committed_ || !file.IsOpen())
        return 0;
    struct stat old;
    const bool replacing = ::stat(target_.c_str(), &old) == 0;
    const mode_t mode = replacing ? (old.st_mode & 07777) : NewFileMode();
    // The owner too, where the process may give it (it may not, as a rule, and that is no
    // failure); before the bits, since a change of owner may clear some of them.
    if (replacing && (old.st_uid != ::geteuid() || old.st_gid != ::getegid())) {
        const int given = ::fchown(file.Descriptor(), old.st_uid, old.st_gid);
        (void)given;
    }
    bool done = file.Sync() && ::fchmod(file.Descriptor(), mode) == 0;
    done = done && std::rename(temporary_.c_str(), target_.c_str()) == 0;
    if (!done) {
        Abandon();
        return 0;
    }
    committed_ = true;
    temporary_.clear();
    file.Rename(target_);
    // The rename itself is made lasting by syncing the folder that holds it.
    const std::string folder = FolderOf(target_);
    const int dir = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC);
    if (dir >= 0) {
        const int synced = ::fsync(dir);
        (void)synced;
        ::close(dir);
    }
    return 1;
}

void CFileReplacement::Abandon() {
    if (!temporary_.empty() && !committed_)
        ::unlink(temporary_.c_str());
    temporary_.clear();
}
