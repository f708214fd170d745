#include "json_writer.h"

#include <charconv>
#include <cmath>

std::string FormatNumber(double value) {
    if (std::isnan(value) || std::isinf(value))
        return "null";
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string JsonString(const char *text) {
    std::string out = "\"";
    for (const char *p = text ? text : ""; *p; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (c < 0x20 || c >= 0x7F) {
                // Drawings carry text in their own code page: bytes outside ASCII are
                // given as code points of the same number, so that the output stays valid.
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

void Report::Add(const std::string &key, const std::string &json_value, const std::string &text) {
    items_.push_back({key, json_value, text, nullptr});
}

void Report::AddNumber(const std::string &key, double value) {
    std::string text = FormatNumber(value);
    Add(key, text, text);
}

void Report::AddInt(const std::string &key, long value) {
    std::string text = std::to_string(value);
    Add(key, text, text);
}

void Report::AddText(const std::string &key, const char *value) {
    Add(key, value ? JsonString(value) : "null", value ? value : "(none)");
}

void Report::AddPoint(const std::string &key, const double *xyz, int count) {
    std::string json = "[", text;
    for (int i = 0; i < count; ++i) {
        json += (i ? ", " : "") + FormatNumber(xyz[i]);
        text += (i ? ", " : "") + FormatNumber(xyz[i]);
    }
    Add(key, json + "]", text);
}

void Report::AddObject(const std::string &key, const Report &inner) {
    items_.push_back({key, "", "", &inner});
}

std::string Report::Json() const {
    std::string out = "{";
    for (size_t i = 0; i < items_.size(); ++i) {
        out += (i ? ", " : "") + JsonString(items_[i].key.c_str()) + ": ";
        out += items_[i].inner ? items_[i].inner->Json() : items_[i].json;
    }
    return out + "}";
}

void Report::PrintText(std::FILE *out, const std::string &indent) const {
    for (const Item &item : items_) {
        if (item.inner) {
            std::fprintf(out, "%s%s:\n", indent.c_str(), item.key.c_str());
            item.inner->PrintText(out, indent + "  ");
        } else {
            std::fprintf(out, "%s%-12s %s\n", indent.c_str(), (item.key + ":").c_str(),
                         item.text.c_str());
        }
    }
}
