// The layout of multi-line texts, leader arrows, multiline runs and tolerance boxes.
#include "render/annotation_geometry.h"

#include <cmath>
#include <cstring>

namespace render {
namespace {

// The codes that take a value up to the next ';'.
bool CodeTakesValue(char code) {
    return std::strchr("ACFHQTWpf", code) != nullptr;
}

// The codes that switch a style on or off and show nothing.
bool CodeIsSwitch(char code) {
    return std::strchr("LlOoKk", code) != nullptr;
}

// A stacked fraction "a^b", "a/b" or "a#b" shown as "a/b".
std::string StackedText(const std::string &value) {
    std::string shown = value;
    for (char &c : shown)
        if (c == '^' || c == '#')
            c = '/';
    return shown;
}

// Reads the code at text[*at] (just behind a backslash) into `paragraphs`; moves *at on.
void ReadCode(const std::string &text, size_t *at, std::vector<std::string> *paragraphs) {
    const char code = text[*at];
    std::string &line = paragraphs->back();
    ++*at;
    if (code == 'P') {
        paragraphs->emplace_back();
    } else if (code == '~') {
        line += ' ';
    } else if (CodeTakesValue(code) || code == 'S') {
        const size_t end = text.find(';', *at);
        const size_t stop = end == std::string::npos ? text.size() : end;
        if (code == 'S')
            line += StackedText(text.substr(*at, stop - *at));
        *at = end == std::string::npos ? stop : stop + 1;
    } else if (!CodeIsSwitch(code)) {
        line += code; // \\, \{, \} and anything else unknown: the character itself
    }
}

Vec3 Add(const Vec3 &a, const Vec3 &b, double scale) {
    return {a.x + b.x * scale, a.y + b.y * scale, a.z + b.z * scale};
}

// The text of one box without its font switches and braces.
std::string BoxText(const std::string &box) {
    std::vector<std::string> plain(1);
    for (size_t at = 0; at < box.size();) {
        const char c = box[at++];
        if (c == '\\' && at < box.size())
            ReadCode(box, &at, &plain);
        else if (c != '{' && c != '}')
            plain.back() += c;
    }
    std::string joined;
    for (const std::string &part : plain)
        joined += part;
    return joined;
}

std::vector<std::string> Split(const std::string &text, const std::string &separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t at = text.find(separator); at != std::string::npos;
         at = text.find(separator, start)) {
        parts.push_back(text.substr(start, at - start));
        start = at + separator.size();
    }
    parts.push_back(text.substr(start));
    return parts;
}

} // namespace

std::vector<std::string> MTextParagraphs(const std::string &text) {
    std::vector<std::string> paragraphs(1);
    for (size_t at = 0; at < text.size();) {
        const char c = text[at++];
        if (c == '\\' && at < text.size())
            ReadCode(text, &at, &paragraphs);
        else if (c != '{' && c != '}')
            paragraphs.back() += c;
    }
    return paragraphs;
}

std::vector<std::string> WrapParagraph(const std::string &paragraph, double width,
                                       const TextMeasure &measure) {
    if (!(width > 0) || !std::isfinite(width))
        return {paragraph};
    std::vector<std::string> lines;
    std::string line;
    for (const std::string &word : Split(paragraph, " ")) {
        const std::string longer = line.empty() ? word : line + " " + word;
        if (line.empty() || measure(longer) <= width) {
            line = longer;
            continue;
        }
        lines.push_back(line);
        line = word;
    }
    lines.push_back(line);
    return lines;
}

std::vector<Vec3> ArrowHead(const Vec3 &tip, const Vec3 &from, double size) {
    const double dx = from.x - tip.x, dy = from.y - tip.y, dz = from.z - tip.z;
    const double length = std::sqrt(dx * dx + dy * dy + dz * dz);
    if (!(length > 0) || !std::isfinite(length) || !(size > 0) || !std::isfinite(size))
        return {};
    const Vec3 along = {dx / length, dy / length, dz / length};
    // The side in the plan: the direction turned a quarter about z.
    const double plan = std::hypot(along.x, along.y);
    const Vec3 side = plan > 0 ? Vec3{-along.y / plan, along.x / plan, 0} : Vec3{1, 0, 0};
    const Vec3 base = Add(tip, along, size);
    return {tip, Add(base, side, size / 6), Add(base, side, -size / 6)};
}

std::vector<std::vector<Vec3>> MlineRuns(const CDB_MLINE_type &mline) {
    const int lines = mline.line_count, vertices = mline.vertex_count;
    if (!mline.vertices || lines < 1 || vertices < 1 || lines > kMaxMlineLines)
        return {};
    std::vector<std::vector<Vec3>> runs(static_cast<size_t>(lines));
    for (int v = 0; v < vertices; ++v) {
        const CDB_MLINE_VERTEX &vertex = mline.vertices[v];
        const Vec3 location = {vertex.location.x, vertex.location.y, vertex.location.z};
        const Vec3 miter = {vertex.miter_direction.x, vertex.miter_direction.y,
                            vertex.miter_direction.z};
        for (int l = 0; vertex.lines && l < lines; ++l) {
            const CDB_MLINE_LINE &line = vertex.lines[l];
            if (line.segment_parameter_count < 1 || !line.segment_parameters)
                continue;
            const double offset = line.segment_parameters[0];
            if (std::isfinite(offset))
                runs[static_cast<size_t>(l)].push_back(Add(location, miter, offset));
        }
    }
    return runs;
}

std::vector<std::vector<std::string>> ToleranceRows(const std::string &text) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string &part : Split(text, "^J")) {
        for (const std::string &row : Split(part, "\n")) {
            std::vector<std::string> boxes;
            for (const std::string &box : Split(row, "%%v"))
                boxes.push_back(BoxText(box));
            rows.push_back(boxes);
        }
    }
    return rows;
}

} // namespace render
