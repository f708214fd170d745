// A small JSON reader for the tests: objects, arrays, strings, numbers,
// true, false and null. Enough to read the corpus manifest; no writer.
//
//   std::string error;
//   velko_test::json::Value doc = velko_test::json::Parse(text, &error);
//   if (!error.empty()) ...
//   for (const auto &file : doc["files"].items()) ... file["path"].as_string()
//
// Looking up a missing key or index yields a shared null value, so chains of
// lookups never throw; use has() or find() to tell "missing" from "null".
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace velko_test {
namespace json {

class Value {
public:
    enum class Kind { Null, Bool, Number, String, Array, Object };
    using Member = std::pair<std::string, Value>;

    Value() = default;
    static Value MakeBool(bool b);
    static Value MakeNumber(double n);
    static Value MakeString(std::string s);
    static Value MakeArray(std::vector<Value> items);
    static Value MakeObject(std::vector<Member> members);

    Kind kind() const { return kind_; }
    bool is_null() const { return kind_ == Kind::Null; }
    bool is_bool() const { return kind_ == Kind::Bool; }
    bool is_number() const { return kind_ == Kind::Number; }
    bool is_string() const { return kind_ == Kind::String; }
    bool is_array() const { return kind_ == Kind::Array; }
    bool is_object() const { return kind_ == Kind::Object; }

    // The value, or `fallback` when the kind differs.
    bool as_bool(bool fallback = false) const { return is_bool() ? bool_ : fallback; }
    double as_number(double fallback = 0.0) const { return is_number() ? number_ : fallback; }
    const std::string &as_string() const; // "" unless a string

    // Arrays: the elements. Objects: nothing (see members()).
    const std::vector<Value> &items() const { return items_; }
    // Objects: the members, in the order of the text.
    const std::vector<Member> &members() const { return members_; }
    // Elements of an array or members of an object; 0 otherwise.
    size_t size() const;

    // Object member by key: null pointer when absent or not an object.
    const Value *find(const std::string &key) const;
    bool has(const std::string &key) const { return find(key) != nullptr; }
    // Object member by key, or a null value.
    const Value &operator[](const std::string &key) const;
    const Value &operator[](const char *key) const { return (*this)[std::string(key)]; }
    // Array element by index, or a null value.
    const Value &at(size_t index) const;

private:
    Kind kind_ = Kind::Null;
    bool bool_ = false;
    double number_ = 0.0;
    std::string string_;
    std::vector<Value> items_;
    std::vector<Member> members_;
};

// Parses a whole document. On a syntax error the result is null and `error`
// (when given) tells what and where; on success `error` is cleared.
Value Parse(const std::string &text, std::string *error = nullptr);

// Reads and parses a file; a read failure is reported through `error` too.
Value ParseFile(const std::string &path, std::string *error = nullptr);

} // namespace json
} // namespace velko_test
