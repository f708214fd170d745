// The small XML reader of the tests.
#include "support/mini_xml.h"

#include <cstdlib>

namespace velko_test {
namespace xml {

std::string Element::Attr(const std::string &key) const {
    auto found = attributes.find(key);
    return found == attributes.end() ? std::string() : found->second;
}

std::vector<const Element *> Element::Children(const std::string &name) const {
    std::vector<const Element *> out;
    for (const auto &child : children)
        if (name.empty() || child->name == name)
            out.push_back(child.get());
    return out;
}

std::vector<const Element *> Element::Descendants(const std::string &name) const {
    std::vector<const Element *> out;
    for (const auto &child : children) {
        if (child->name == name)
            out.push_back(child.get());
        for (const Element *below : child->Descendants(name))
            out.push_back(below);
    }
    return out;
}

namespace {

bool NameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool NameChar(char c) {
    return NameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool Space(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

void AppendUtf8(unsigned long code, std::string *out) {
    if (code < 0x80) {
        out->push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out->push_back(static_cast<char>(0xC0 | (code >> 6)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        out->push_back(static_cast<char>(0xE0 | (code >> 12)));
        out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        out->push_back(static_cast<char>(0xF0 | (code >> 18)));
        out->push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

// Whether `text` is valid UTF-8 without characters XML forbids (controls other than
// tab, line feed and carriage return).
bool ValidText(const std::string &text, std::string *why) {
    size_t i = 0;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') {
                *why = "control character at byte " + std::to_string(i);
                return false;
            }
            ++i;
            continue;
        }
        size_t extra = c >= 0xF0 && c < 0xF5 ? 3 : c >= 0xE0 ? 2 : c >= 0xC2 && c < 0xE0 ? 1 : 0;
        if (extra == 0 || c >= 0xF5 || i + extra >= text.size()) {
            *why = "invalid UTF-8 at byte " + std::to_string(i);
            return false;
        }
        for (size_t k = 1; k <= extra; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) {
                *why = "invalid UTF-8 at byte " + std::to_string(i);
                return false;
            }
        }
        i += extra + 1;
    }
    return true;
}

class Parser {
public:
    explicit Parser(const std::string &text) : s_(text) {}

    Document Run() {
        Document doc;
        if (!ValidText(s_, &error_)) {
            doc.error = error_;
            return doc;
        }
        if (s_.compare(0, 5, "<?xml") == 0 && !SkipPi())
            return Fail(&doc);
        while (Misc()) {
        }
        if (!error_.empty())
            return Fail(&doc);
        if (pos_ >= s_.size() || s_[pos_] != '<') {
            error_ = "no root element";
            return Fail(&doc);
        }
        doc.root = ElementAt(0);
        if (!doc.root)
            return Fail(&doc);
        while (Misc()) {
        }
        if (!error_.empty())
            return Fail(&doc);
        if (pos_ != s_.size()) {
            error_ = "content after the root element at byte " + std::to_string(pos_);
            return Fail(&doc);
        }
        return doc;
    }

private:
    Document Fail(Document *doc) {
        doc->root.reset();
        doc->error = error_.empty() ? "malformed" : error_;
        return std::move(*doc);
    }

    bool Error(const std::string &what) {
        if (error_.empty())
            error_ = what + " at byte " + std::to_string(pos_);
        return false;
    }

    void SkipSpace() {
        while (pos_ < s_.size() && Space(s_[pos_]))
            ++pos_;
    }

    bool Starts(const char *lit) const {
        return s_.compare(pos_, std::char_traits<char>::length(lit), lit) == 0;
    }

    // Comments, processing instructions, a DOCTYPE and white space outside the root.
    bool Misc() {
        SkipSpace();
        if (Starts("<!--"))
            return SkipComment();
        if (Starts("<?"))
            return SkipPi();
        if (Starts("<!DOCTYPE")) {
            size_t end = s_.find('>', pos_);
            if (end == std::string::npos || s_.find('[', pos_) < end)
                return Error("unsupported DOCTYPE");
            pos_ = end + 1;
            return true;
        }
        return false;
    }

    bool SkipComment() {
        size_t end = s_.find("--", pos_ + 4);
        if (end == std::string::npos || end + 2 >= s_.size() || s_[end + 2] != '>')
            return Error("bad comment");
        pos_ = end + 3;
        return true;
    }

    bool SkipPi() {
        size_t end = s_.find("?>", pos_ + 2);
        if (end == std::string::npos)
            return Error("unterminated processing instruction");
        pos_ = end + 2;
        return true;
    }

    bool Name(std::string *out) {
        if (pos_ >= s_.size() || !NameStart(s_[pos_]))
            return Error("bad name");
        size_t start = pos_;
        while (pos_ < s_.size() && NameChar(s_[pos_]))
            ++pos_;
        *out = s_.substr(start, pos_ - start);
        return true;
    }

    // Resolves one reference starting at '&'; appends its character.
    bool Reference(std::string *out) {
        size_t end = s_.find(';', pos_);
        if (end == std::string::npos || end - pos_ > 12)
            return Error("bare '&'");
        std::string ref = s_.substr(pos_ + 1, end - pos_ - 1);
        pos_ = end + 1;
        if (ref == "amp")
            *out += '&';
        else if (ref == "lt")
            *out += '<';
        else if (ref == "gt")
            *out += '>';
        else if (ref == "quot")
            *out += '"';
        else if (ref == "apos")
            *out += '\'';
        else if (ref.size() > 1 && ref[0] == '#') {
            bool hex = ref[1] == 'x';
            std::string digits = ref.substr(hex ? 2 : 1);
            if (digits.empty() || digits.find_first_not_of(hex ? "0123456789abcdefABCDEF"
                                                               : "0123456789") != std::string::npos)
                return Error("bad character reference");
            unsigned long code = std::strtoul(digits.c_str(), nullptr, hex ? 16 : 10);
            if (code == 0 || code > 0x10FFFF ||
                (code < 0x20 && code != 9 && code != 10 && code != 13))
                return Error("bad character reference");
            AppendUtf8(code, out);
        } else {
            return Error("unknown entity &" + ref + ";");
        }
        return true;
    }

    std::unique_ptr<Element> ElementAt(int depth) {
        if (depth > 256) {
            Error("elements nested too deep");
            return nullptr;
        }
        auto element = std::make_unique<Element>();
        ++pos_; // '<'
        if (!Name(&element->name))
            return nullptr;
        for (;;) {
            size_t before = pos_;
            SkipSpace();
            if (pos_ >= s_.size()) {
                Error("unterminated start tag");
                return nullptr;
            }
            if (Starts("/>")) {
                pos_ += 2;
                return element;
            }
            if (s_[pos_] == '>') {
                ++pos_;
                break;
            }
            if (pos_ == before) {
                Error("attributes need white space between them");
                return nullptr;
            }
            std::string key, value;
            if (!Name(&key))
                return nullptr;
            SkipSpace();
            if (pos_ >= s_.size() || s_[pos_] != '=') {
                Error("attribute without '='");
                return nullptr;
            }
            ++pos_;
            SkipSpace();
            if (pos_ >= s_.size() || (s_[pos_] != '"' && s_[pos_] != '\'')) {
                Error("unquoted attribute");
                return nullptr;
            }
            char quote = s_[pos_++];
            while (pos_ < s_.size() && s_[pos_] != quote) {
                if (s_[pos_] == '<') {
                    Error("'<' in an attribute value");
                    return nullptr;
                }
                if (s_[pos_] == '&') {
                    if (!Reference(&value))
                        return nullptr;
                    continue;
                }
                value += s_[pos_++];
            }
            if (pos_ >= s_.size()) {
                Error("unterminated attribute value");
                return nullptr;
            }
            ++pos_;
            if (element->attributes.count(key)) {
                Error("attribute " + key + " twice");
                return nullptr;
            }
            element->attributes[key] = value;
        }
        // Content up to the matching end tag.
        for (;;) {
            if (pos_ >= s_.size()) {
                Error("element " + element->name + " not closed");
                return nullptr;
            }
            char c = s_[pos_];
            if (c == '&') {
                if (!Reference(&element->text))
                    return nullptr;
            } else if (c != '<') {
                if (c == '>' && pos_ >= 2 && s_.compare(pos_ - 2, 2, "]]") == 0) {
                    Error("']]>' in text");
                    return nullptr;
                }
                element->text += c;
                ++pos_;
            } else if (Starts("</")) {
                pos_ += 2;
                std::string name;
                if (!Name(&name))
                    return nullptr;
                SkipSpace();
                if (name != element->name || pos_ >= s_.size() || s_[pos_] != '>') {
                    Error("end tag " + name + " does not match " + element->name);
                    return nullptr;
                }
                ++pos_;
                return element;
            } else if (Starts("<!--")) {
                if (!SkipComment())
                    return nullptr;
            } else if (Starts("<![CDATA[")) {
                size_t end = s_.find("]]>", pos_);
                if (end == std::string::npos) {
                    Error("unterminated CDATA");
                    return nullptr;
                }
                element->text += s_.substr(pos_ + 9, end - pos_ - 9);
                pos_ = end + 3;
            } else if (Starts("<?")) {
                if (!SkipPi())
                    return nullptr;
            } else {
                auto child = ElementAt(depth + 1);
                if (!child)
                    return nullptr;
                element->children.push_back(std::move(child));
            }
        }
    }

    const std::string &s_;
    size_t pos_ = 0;
    std::string error_;
};

} // namespace

Document Parse(const std::string &text) {
    return Parser(text).Run();
}

} // namespace xml
} // namespace velko_test
