// A small writer of JSON and plain text reports for the command-line tool.
#ifndef VELKO_JSON_WRITER_H
#define VELKO_JSON_WRITER_H

#include <cstdio>
#include <string>
#include <vector>

// Shortest text that reads back as the same double.
std::string FormatNumber(double value);
// A JSON string literal, quotes included.
std::string JsonString(const char *text);

// Collects "key": value pairs of one object, in order, and prints it either as JSON or
// as aligned "key: value" lines.
class Report {
public:
    void Add(const std::string &key, const std::string &json_value, const std::string &text);
    void AddNumber(const std::string &key, double value);
    void AddInt(const std::string &key, long value);
    void AddText(const std::string &key, const char *value);
    void AddPoint(const std::string &key, const double *xyz, int count);
    void AddObject(const std::string &key, const Report &inner);
    std::string Json() const;
    void PrintText(std::FILE *out, const std::string &indent = "") const;

private:
    struct Item {
        std::string key, json, text;
        const Report *inner = nullptr;
    };
    std::vector<Item> items_;
};

#endif
