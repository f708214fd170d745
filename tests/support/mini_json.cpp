// A small JSON reader for the tests; see mini_json.h.
#include "support/mini_json.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace velko_test {
namespace json {

namespace {

const Value &NullValue() {
    static const Value null_value;
    return null_value;
}

const std::string &EmptyString() {
    static const std::string empty;
    return empty;
}

// Nesting deeper than this is refused rather than recursed into.
constexpr int kMaxDepth = 512;

class Parser {
public:
    explicit Parser(const std::string &text) : text_(text) {}

    bool ParseDocument(Value *out) {
        SkipSpace();
        if (!ParseValue(out, 0))
            return false;
        SkipSpace();
        if (pos_ != text_.size())
            return Fail("unexpected characters after the value");
        return true;
    }

    const std::string &error() const { return error_; }

private:
    bool Fail(const std::string &what) {
        if (error_.empty()) {
            size_t line = 1, column = 1;
            for (size_t i = 0; i < pos_ && i < text_.size(); ++i) {
                if (text_[i] == '\n') {
                    ++line;
                    column = 1;
                } else {
                    ++column;
                }
            }
            std::ostringstream message;
            message << what << " at line " << line << ", column " << column;
            error_ = message.str();
        }
        return false;
    }

    bool AtEnd() const { return pos_ >= text_.size(); }
    char Peek() const { return AtEnd() ? '\0' : text_[pos_]; }

    void SkipSpace() {
        while (!AtEnd()) {
            char c = text_[pos_];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
                break;
            ++pos_;
        }
    }

    bool Expect(const char *word) {
        for (const char *p = word; *p; ++p, ++pos_) {
            if (AtEnd() || text_[pos_] != *p)
                return Fail(std::string("expected '") + word + "'");
        }
        return true;
    }

    bool ParseValue(Value *out, int depth) {
        if (depth > kMaxDepth)
            return Fail("nesting too deep");
        switch (Peek()) {
        case '{':
            return ParseObject(out, depth);
        case '[':
            return ParseArray(out, depth);
        case '"': {
            std::string s;
            if (!ParseString(&s))
                return false;
            *out = Value::MakeString(std::move(s));
            return true;
        }
        case 't':
            if (!Expect("true"))
                return false;
            *out = Value::MakeBool(true);
            return true;
        case 'f':
            if (!Expect("false"))
                return false;
            *out = Value::MakeBool(false);
            return true;
        case 'n':
            if (!Expect("null"))
                return false;
            *out = Value();
            return true;
        default:
            if (Peek() == '-' || (Peek() >= '0' && Peek() <= '9'))
                return ParseNumber(out);
            return AtEnd() ? Fail("unexpected end of text") : Fail("unexpected character");
        }
    }

    bool ParseObject(Value *out, int depth) {
        ++pos_; // '{'
        std::vector<Value::Member> members;
        SkipSpace();
        if (Peek() == '}') {
            ++pos_;
            *out = Value::MakeObject(std::move(members));
            return true;
        }
        for (;;) {
            SkipSpace();
            if (Peek() != '"')
                return Fail("expected a member name");
            std::string key;
            if (!ParseString(&key))
                return false;
            SkipSpace();
            if (Peek() != ':')
                return Fail("expected ':'");
            ++pos_;
            SkipSpace();
            Value v;
            if (!ParseValue(&v, depth + 1))
                return false;
            members.emplace_back(std::move(key), std::move(v));
            SkipSpace();
            if (Peek() == ',') {
                ++pos_;
                continue;
            }
            if (Peek() == '}') {
                ++pos_;
                break;
            }
            return Fail("expected ',' or '}'");
        }
        *out = Value::MakeObject(std::move(members));
        return true;
    }

    bool ParseArray(Value *out, int depth) {
        ++pos_; // '['
        std::vector<Value> items;
        SkipSpace();
        if (Peek() == ']') {
            ++pos_;
            *out = Value::MakeArray(std::move(items));
            return true;
        }
        for (;;) {
            SkipSpace();
            Value v;
            if (!ParseValue(&v, depth + 1))
                return false;
            items.push_back(std::move(v));
            SkipSpace();
            if (Peek() == ',') {
                ++pos_;
                continue;
            }
            if (Peek() == ']') {
                ++pos_;
                break;
            }
            return Fail("expected ',' or ']'");
        }
        *out = Value::MakeArray(std::move(items));
        return true;
    }

    bool ParseHex4(unsigned *code) {
        unsigned v = 0;
        for (int i = 0; i < 4; ++i, ++pos_) {
            if (AtEnd())
                return Fail("unexpected end of text in a \\u escape");
            char c = text_[pos_];
            v <<= 4;
            if (c >= '0' && c <= '9')
                v |= static_cast<unsigned>(c - '0');
            else if (c >= 'a' && c <= 'f')
                v |= static_cast<unsigned>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                v |= static_cast<unsigned>(c - 'A' + 10);
            else
                return Fail("bad hexadecimal digit in a \\u escape");
        }
        *code = v;
        return true;
    }

    static void AppendUtf8(std::string *s, unsigned cp) {
        if (cp < 0x80) {
            s->push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            s->push_back(static_cast<char>(0xC0 | (cp >> 6)));
            s->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            s->push_back(static_cast<char>(0xE0 | (cp >> 12)));
            s->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            s->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            s->push_back(static_cast<char>(0xF0 | (cp >> 18)));
            s->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            s->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            s->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }

    bool ParseString(std::string *out) {
        ++pos_; // opening quote
        std::string s;
        for (;;) {
            if (AtEnd())
                return Fail("unterminated string");
            char c = text_[pos_++];
            if (c == '"')
                break;
            if (static_cast<unsigned char>(c) < 0x20)
                return Fail("control character in a string");
            if (c != '\\') {
                s.push_back(c);
                continue;
            }
            if (AtEnd())
                return Fail("unterminated escape");
            char e = text_[pos_++];
            switch (e) {
            case '"':
            case '\\':
            case '/':
                s.push_back(e);
                break;
            case 'b':
                s.push_back('\b');
                break;
            case 'f':
                s.push_back('\f');
                break;
            case 'n':
                s.push_back('\n');
                break;
            case 'r':
                s.push_back('\r');
                break;
            case 't':
                s.push_back('\t');
                break;
            case 'u': {
                unsigned cp = 0;
                if (!ParseHex4(&cp))
                    return false;
                if (cp >= 0xD800 && cp <= 0xDBFF) {
                    // A high surrogate must be followed by a low one.
                    if (text_.compare(pos_, 2, "\\u") != 0)
                        return Fail("lone high surrogate");
                    pos_ += 2;
                    unsigned low = 0;
                    if (!ParseHex4(&low))
                        return false;
                    if (low < 0xDC00 || low > 0xDFFF)
                        return Fail("bad low surrogate");
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
                    return Fail("lone low surrogate");
                }
                AppendUtf8(&s, cp);
                break;
            }
            default:
                return Fail("unknown escape");
            }
        }
        *out = std::move(s);
        return true;
    }

    bool ParseNumber(Value *out) {
        size_t start = pos_;
        if (Peek() == '-')
            ++pos_;
        if (Peek() == '0') {
            ++pos_;
        } else if (Peek() >= '1' && Peek() <= '9') {
            while (Peek() >= '0' && Peek() <= '9')
                ++pos_;
        } else {
            return Fail("bad number");
        }
        if (Peek() == '.') {
            ++pos_;
            if (!(Peek() >= '0' && Peek() <= '9'))
                return Fail("bad number: digits expected after '.'");
            while (Peek() >= '0' && Peek() <= '9')
                ++pos_;
        }
        if (Peek() == 'e' || Peek() == 'E') {
            ++pos_;
            if (Peek() == '+' || Peek() == '-')
                ++pos_;
            if (!(Peek() >= '0' && Peek() <= '9'))
                return Fail("bad number: digits expected in the exponent");
            while (Peek() >= '0' && Peek() <= '9')
                ++pos_;
        }
        // The grammar above is that of JSON; strtod only converts it. Numbers
        // out of range become infinities, as strtod gives them.
        std::string literal = text_.substr(start, pos_ - start);
        char *end = nullptr;
        double v = std::strtod(literal.c_str(), &end);
        if (end != literal.c_str() + literal.size())
            return Fail("bad number");
        *out = Value::MakeNumber(v);
        return true;
    }

    const std::string &text_;
    size_t pos_ = 0;
    std::string error_;
};

} // namespace

Value Value::MakeBool(bool b) {
    Value v;
    v.kind_ = Kind::Bool;
    v.bool_ = b;
    return v;
}

Value Value::MakeNumber(double n) {
    Value v;
    v.kind_ = Kind::Number;
    v.number_ = n;
    return v;
}

Value Value::MakeString(std::string s) {
    Value v;
    v.kind_ = Kind::String;
    v.string_ = std::move(s);
    return v;
}

Value Value::MakeArray(std::vector<Value> items) {
    Value v;
    v.kind_ = Kind::Array;
    v.items_ = std::move(items);
    return v;
}

Value Value::MakeObject(std::vector<Member> members) {
    Value v;
    v.kind_ = Kind::Object;
    v.members_ = std::move(members);
    return v;
}

const std::string &Value::as_string() const {
    return is_string() ? string_ : EmptyString();
}

size_t Value::size() const {
    if (is_array())
        return items_.size();
    if (is_object())
        return members_.size();
    return 0;
}

const Value *Value::find(const std::string &key) const {
    if (!is_object())
        return nullptr;
    for (const Member &m : members_) {
        if (m.first == key)
            return &m.second;
    }
    return nullptr;
}

const Value &Value::operator[](const std::string &key) const {
    const Value *v = find(key);
    return v ? *v : NullValue();
}

const Value &Value::at(size_t index) const {
    if (is_array() && index < items_.size())
        return items_[index];
    return NullValue();
}

Value Parse(const std::string &text, std::string *error) {
    Parser parser(text);
    Value result;
    if (!parser.ParseDocument(&result)) {
        if (error)
            *error = parser.error();
        return Value();
    }
    if (error)
        error->clear();
    return result;
}

Value ParseFile(const std::string &path, std::string *error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error)
            *error = "cannot open " + path;
        return Value();
    }
    std::ostringstream content;
    content << in.rdbuf();
    if (in.bad()) {
        if (error)
            *error = "cannot read " + path;
        return Value();
    }
    std::string parse_error;
    Value v = Parse(content.str(), &parse_error);
    if (error)
        *error = parse_error.empty() ? std::string() : path + ": " + parse_error;
    return v;
}

} // namespace json
} // namespace velko_test
