#include "support/dxf_entity_groups.h"

#include <cctype>
#include <cstdlib>

namespace velko_test {

const std::string *DxfEntityGroups::Find(int code, int n) const {
    for (const DxfGroup &g : groups) {
        if (g.code == code && n-- == 0)
            return &g.value;
    }
    return nullptr;
}

double DxfEntityGroups::Real(int code, double fallback, int n) const {
    const std::string *v = Find(code, n);
    return v ? std::strtod(v->c_str(), nullptr) : fallback;
}

int DxfEntityGroups::Int(int code, int fallback) const {
    const std::string *v = Find(code);
    return v ? static_cast<int>(std::strtol(v->c_str(), nullptr, 10)) : fallback;
}

std::string DxfEntityGroups::Text(int code) const {
    const std::string *v = Find(code);
    return v ? *v : std::string();
}

int DxfEntityGroups::Count(int code) const {
    int n = 0;
    for (const DxfGroup &g : groups)
        n += g.code == code;
    return n;
}

bool DxfEntityGroups::HasReactors() const {
    for (const DxfGroup &g : groups) {
        if (g.code == 102 && g.value == "{ACAD_REACTORS")
            return true;
    }
    return false;
}

std::vector<DxfGroup> ReadAsciiDxfGroups(const std::vector<uint8_t> &bytes) {
    std::vector<std::string> lines;
    std::string line;
    for (uint8_t c : bytes) {
        if (c == '\r')
            continue;
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else {
            line.push_back(static_cast<char>(c));
        }
    }
    std::vector<DxfGroup> groups;
    for (size_t i = 0; i + 1 < lines.size(); i += 2)
        groups.push_back(
            {static_cast<int>(std::strtol(lines[i].c_str(), nullptr, 10)), lines[i + 1]});
    return groups;
}

std::vector<DxfEntityGroups> CollectDxfEntities(const std::vector<DxfGroup> &groups) {
    std::vector<DxfEntityGroups> out;
    std::string section;
    bool in_entity = false;
    for (size_t i = 0; i < groups.size(); ++i) {
        const DxfGroup &g = groups[i];
        if (g.code == 0 && g.value == "SECTION" && i + 1 < groups.size()) {
            section = groups[i + 1].value;
            in_entity = false;
            continue;
        }
        if (section != "ENTITIES" && section != "BLOCKS")
            continue;
        if (g.code == 0) {
            in_entity = g.value != "ENDSEC";
            if (in_entity)
                out.push_back({section, g.value, std::string(), {}});
            continue;
        }
        if (!in_entity)
            continue;
        DxfEntityGroups &e = out.back();
        if (g.code == 5 && e.handle.empty()) {
            for (char c : g.value)
                e.handle.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
        }
        e.groups.push_back(g);
    }
    return out;
}

} // namespace velko_test
