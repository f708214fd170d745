#include "views/xref_paths.h"

#include <cctype>

std::string XrefPathAsStored(const std::string &stored) {
    std::string path = stored;
    if (path.empty())
        return path;
    bool has_dwg = path.size() >= 3;
    for (size_t i = 0; has_dwg && i < 3; ++i)
        has_dwg = std::tolower(static_cast<unsigned char>(path[path.size() - 3 + i])) == "dwg"[i];
    if (!has_dwg)
        path += ".dwg";
    return path;
}

std::string XrefPathBesideHost(const std::string &host_file, const std::string &reference) {
    const size_t host_cut = host_file.find_last_of("\\/");
    const std::string folder = host_cut == std::string::npos ? "." : host_file.substr(0, host_cut);
    const size_t cut = reference.find_last_of("\\/");
    return folder + "/" + (cut == std::string::npos ? reference : reference.substr(cut + 1));
}
