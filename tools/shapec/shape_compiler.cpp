#include "shape_compiler.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace velko_shapec {

namespace {

const size_t kMaxDataLength = 32767; // data lengths are i16 in every form
const size_t kMaxShapeCount = 32767; // so are the counts

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::string Trim(const std::string &s) {
    size_t b = 0, e = s.size();
    while (b < e && IsSpace(s[b]))
        ++b;
    while (e > b && IsSpace(s[e - 1]))
        --e;
    return s.substr(b, e - b);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// A number of the shape text: optional sign, then hexadecimal when it starts with 0 and has
// more digits (or "0x"), decimal otherwise. False on anything else or on a value beyond
// 0x7FFFFF, more than any field can hold.
bool ParseNumber(const std::string &token, long *value) {
    size_t i = 0;
    bool negative = false;
    if (i < token.size() && (token[i] == '-' || token[i] == '+')) {
        negative = token[i] == '-';
        ++i;
    }
    if (i >= token.size())
        return false;
    bool hex = false;
    if (token[i] == '0' && i + 1 < token.size()) {
        hex = true;
        if (token[i + 1] == 'x' || token[i + 1] == 'X') {
            i += 2;
            if (i >= token.size())
                return false;
        }
    }
    long v = 0;
    for (; i < token.size(); ++i) {
        int d = HexDigit(token[i]);
        if (d < 0 || (!hex && d > 9))
            return false;
        v = v * (hex ? 16 : 10) + d;
        if (v > 0x7FFFFF)
            return false;
    }
    *value = negative ? -v : v;
    return true;
}

std::string Describe(const ShapeDef &def) {
    std::string s = "shape " + std::to_string(def.number);
    if (!def.name.empty())
        s += " (" + def.name + ")";
    return s;
}

bool Fail(std::string *error, int line, const std::string &message) {
    if (error)
        *error = "line " + std::to_string(line) + ": " + message;
    return false;
}

// The checks on a finished definition.
bool Finish(const ShapeDef &def, long declared, int depth, std::string *error) {
    if (depth != 0)
        return Fail(error, def.line, Describe(def) + ": unbalanced parentheses");
    if (def.bytes.size() != static_cast<size_t>(declared))
        return Fail(error, def.line,
                    Describe(def) + " declares " + std::to_string(declared) + " bytes but lists " +
                        std::to_string(def.bytes.size()));
    if (def.bytes.back() != 0)
        return Fail(error, def.line, Describe(def) + ": the byte list must end with 0");
    if (def.name.size() + 1 + def.bytes.size() > kMaxDataLength)
        return Fail(error, def.line, Describe(def) + ": name and bytes exceed 32767 bytes");
    return true;
}

void Put16(std::vector<uint8_t> &out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v & 0xFF));
    out.push_back(static_cast<uint8_t>((v >> 8) & 0xFF));
}

void Set16(std::vector<uint8_t> &out, size_t at, uint32_t v) {
    out[at] = static_cast<uint8_t>(v & 0xFF);
    out[at + 1] = static_cast<uint8_t>((v >> 8) & 0xFF);
}

} // namespace

std::vector<uint8_t> ShapeData(const ShapeDef &def) {
    std::vector<uint8_t> data(def.name.begin(), def.name.end());
    data.push_back(0);
    data.insert(data.end(), def.bytes.begin(), def.bytes.end());
    return data;
}

namespace {

// A header line "*number,bytes,name" into a new definition and its declared byte count.
bool ParseHeader(const std::string &line, int line_number, ShapeDef *def, long *declared,
                 std::string *error) {
    def->line = line_number;
    size_t c1 = line.find(',');
    size_t c2 = c1 == std::string::npos ? c1 : line.find(',', c1 + 1);
    if (c1 == std::string::npos)
        return Fail(error, line_number, "a shape header is *number,bytes,name");
    std::string number = Trim(line.substr(1, c1 - 1));
    std::string count = Trim(line.substr(c1 + 1, c2 == std::string::npos ? c2 : c2 - c1 - 1));
    if (c2 != std::string::npos)
        def->name = Trim(line.substr(c2 + 1));
    long value = 0;
    if (number.empty() || number[0] == '-' || number[0] == '+' || !ParseNumber(number, &value) ||
        value > 0xFFFF)
        return Fail(error, line_number, "bad shape number '" + number + "'");
    def->number = static_cast<uint16_t>(value);
    if (count.empty() || count[0] == '-' || count[0] == '+' || !ParseNumber(count, declared) ||
        *declared < 1 || *declared > static_cast<long>(kMaxDataLength))
        return Fail(error, line_number, "bad byte count '" + count + "'");
    return true;
}

// One line of a definition's byte list, appended to `def`; `depth` counts the open
// parentheses across lines.
bool ParseBytes(const std::string &line, int line_number, ShapeDef &def, int &depth,
                std::string *error) {
    bool have_value = false; // a value since the last comma, on this line
    size_t i = 0;
    while (i < line.size()) {
        char c = line[i];
        if (IsSpace(c)) {
            ++i;
        } else if (c == '(') {
            ++depth;
            ++i;
        } else if (c == ')') {
            if (--depth < 0)
                return Fail(error, line_number, "')' without '('");
            ++i;
        } else if (c == ',') {
            if (!have_value)
                return Fail(error, line_number, "empty byte in the list");
            have_value = false;
            ++i;
        } else {
            size_t j = i;
            while (j < line.size() && line[j] != ',' && line[j] != '(' && line[j] != ')' &&
                   !IsSpace(line[j]))
                ++j;
            std::string token = line.substr(i, j - i);
            i = j;
            if (have_value)
                return Fail(error, line_number, "missing ',' before '" + token + "'");
            long value = 0;
            if (!ParseNumber(token, &value))
                return Fail(error, line_number, "'" + token + "' is not a number");
            if (value < -128 || value > 255)
                return Fail(error, line_number, "'" + token + "' does not fit in a byte");
            if (def.bytes.size() >= kMaxDataLength)
                return Fail(error, line_number, Describe(def) + ": too many bytes");
            def.bytes.push_back(static_cast<uint8_t>(value & 0xFF));
            have_value = true;
        }
    }
    return true;
}

} // namespace

bool ParseShapes(const std::string &text, std::vector<ShapeDef> *defs, std::string *error) {
    defs->clear();
    std::set<uint16_t> numbers;
    bool open = false; // a definition is being read
    long declared = 0;
    int depth = 0;
    int line_number = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        ++line_number;
        size_t comment = line.find(';');
        if (comment != std::string::npos)
            line.erase(comment);
        line = Trim(line);
        if (line.empty())
            continue;

        if (line[0] == '*') {
            if (open && !Finish(defs->back(), declared, depth, error))
                return false;
            ShapeDef def;
            if (!ParseHeader(line, line_number, &def, &declared, error))
                return false;
            if (!numbers.insert(def.number).second)
                return Fail(error, line_number, Describe(def) + " is defined twice");
            defs->push_back(def);
            open = true;
            depth = 0;
            continue;
        }

        if (!open)
            return Fail(error, line_number, "bytes before the first shape header");
        if (!ParseBytes(line, line_number, defs->back(), depth, error))
            return false;
    }
    if (open && !Finish(defs->back(), declared, depth, error))
        return false;
    if (defs->empty()) {
        if (error)
            *error = "no shape definitions";
        return false;
    }
    return true;
}

bool ParseRanges(const std::string &text, std::vector<EscapeRange> *ranges, std::string *error) {
    ranges->clear();
    size_t start = 0;
    while (true) {
        size_t end = text.find(',', start);
        std::string item = Trim(text.substr(start, end == std::string::npos ? end : end - start));
        size_t dash = item.find('-', 1);
        std::string low = Trim(item.substr(0, dash));
        std::string high = dash == std::string::npos ? low : Trim(item.substr(dash + 1));
        long lo = 0, hi = 0;
        if (low.empty() || high.empty() || low[0] == '-' || high[0] == '-' ||
            !ParseNumber(low, &lo) || !ParseNumber(high, &hi) || lo > 255 || hi > 255 || lo > hi) {
            if (error)
                *error = "bad escape range '" + item + "' (LOW-HIGH, bytes, LOW <= HIGH)";
            return false;
        }
        ranges->push_back({static_cast<uint8_t>(lo), static_cast<uint8_t>(hi)});
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    if (ranges->size() > kMaxShapeCount) {
        if (error)
            *error = "too many escape ranges";
        return false;
    }
    return true;
}

const char *HeaderText(Form form) {
    switch (form) {
    case Form::kShapes10:
        return "AutoCAD-86 shapes 1.0";
    case Form::kShapes11:
        return "AutoCAD-86 shapes 1.1";
    case Form::kUnifont:
        return "AutoCAD-86 unifont 1.0";
    case Form::kBigFont:
        return "AutoCAD-86 bigfont 1.0";
    }
    return "";
}

size_t CountOffset(Form form) {
    switch (form) {
    case Form::kShapes10:
    case Form::kShapes11:
        return 0x1C;
    case Form::kUnifont:
        return 0x19;
    case Form::kBigFont:
        return 0x1B;
    }
    return 0;
}

std::vector<uint8_t> CompileShx(const std::vector<ShapeDef> &defs, Form form,
                                const Options &options, std::string *error) {
    auto fail = [error](const std::string &message) {
        if (error)
            *error = message;
        return std::vector<uint8_t>();
    };
    if (defs.size() > kMaxShapeCount)
        return fail("more than 32767 shapes");
    std::set<uint16_t> numbers;
    for (const ShapeDef &def : defs) {
        if (!numbers.insert(def.number).second)
            return fail(Describe(def) + " is defined twice");
        if (def.name.size() + 1 + def.bytes.size() > kMaxDataLength)
            return fail(Describe(def) + ": name and bytes exceed 32767 bytes");
    }
    if (form == Form::kBigFont && options.ranges.size() > kMaxShapeCount)
        return fail("too many escape ranges");

    std::vector<const ShapeDef *> order;
    for (const ShapeDef &def : defs)
        order.push_back(&def);
    if (!options.keep_order)
        std::stable_sort(order.begin(), order.end(), [](const ShapeDef *a, const ShapeDef *b) {
            return a->number < b->number;
        });

    const char *text = HeaderText(form);
    std::vector<uint8_t> out(text, text + std::strlen(text));
    out.push_back('\r');
    out.push_back('\n');
    out.push_back(0x1A);
    out.resize(CountOffset(form), 0);
    Put16(out, static_cast<uint32_t>(order.size()));

    switch (form) {
    case Form::kShapes10:
    case Form::kShapes11:
        for (const ShapeDef *def : order) {
            Put16(out, def->number);
            Put16(out, static_cast<uint32_t>(def->name.size() + 1 + def->bytes.size()));
        }
        for (const ShapeDef *def : order) {
            std::vector<uint8_t> data = ShapeData(*def);
            out.insert(out.end(), data.begin(), data.end());
        }
        break;
    case Form::kUnifont:
        for (const ShapeDef *def : order) {
            std::vector<uint8_t> data = ShapeData(*def);
            Put16(out, def->number);
            Put16(out, static_cast<uint32_t>(data.size()));
            out.insert(out.end(), data.begin(), data.end());
        }
        break;
    case Form::kBigFont: {
        Put16(out, static_cast<uint32_t>(options.ranges.size()));
        for (const EscapeRange &r : options.ranges) {
            out.push_back(r.low);
            out.push_back(r.high);
        }
        size_t directory = out.size();
        out.resize(directory + 8 * order.size(), 0);
        for (size_t i = 0; i < order.size(); ++i) {
            std::vector<uint8_t> data = ShapeData(*order[i]);
            size_t row = directory + 8 * i;
            uint32_t offset = static_cast<uint32_t>(out.size());
            Set16(out, row, order[i]->number);
            Set16(out, row + 2, static_cast<uint32_t>(data.size()));
            Set16(out, row + 4, offset & 0xFFFF);
            Set16(out, row + 6, offset >> 16);
            out.insert(out.end(), data.begin(), data.end());
        }
        break;
    }
    }
    return out;
}

} // namespace velko_shapec
