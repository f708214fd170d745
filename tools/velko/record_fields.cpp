// The printing of record fields for velko dump.
#include "record_fields.h"

#include <cstdio>

namespace {

// One element of a list as JSON and as text.
struct Printed {
    std::string json, text;
};

Printed Numbers(const double *values, int count) {
    Printed out;
    for (int i = 0; i < count; ++i) {
        const std::string value = FormatNumber(values[i]);
        out.json += (i ? ", " : "") + value;
        out.text += (i ? ", " : "") + value;
    }
    return {"[" + out.json + "]", out.text};
}

// A list of `count` elements, each printed by `one`: "[e1, e2]" and "e1, e2".
template <typename Element, typename PrintOne>
void AddList(Report &report, const char *key, const Element *values, int16_t count, PrintOne one) {
    std::string json = "[", text;
    for (int i = 0; values && i < count; ++i) {
        const Printed printed = one(ReadAt<Element>(values + i));
        json += (i ? ", " : "") + printed.json;
        text += (i ? ", " : "") + printed.text;
    }
    report.Add(key, json + "]", text.empty() ? "(none)" : text);
}

void AddList(Report &report, const Field &field, const unsigned char *part) {
    const int16_t count = ReadAt<int16_t>(part + field.count_offset);
    const void *values = ReadAt<const void *>(part + field.offset);
    switch (field.print) {
    case Print::kShorts:
        AddList(report, field.key, static_cast<const int16_t *>(values), count, [](int16_t v) {
            return Printed{std::to_string(v), std::to_string(v)};
        });
        break;
    case Print::kNumbers:
        AddList(report, field.key, static_cast<const double *>(values), count, [](double v) {
            return Printed{FormatNumber(v), FormatNumber(v)};
        });
        break;
    case Print::kPoints3:
        AddList(report, field.key, static_cast<const CDB_POINT3 *>(values), count,
                [](CDB_POINT3 p) {
                    const double xyz[3] = {p.x, p.y, p.z};
                    const Printed printed = Numbers(xyz, 3);
                    return Printed{printed.json, "(" + printed.text + ")"};
                });
        break;
    case Print::kWeightedPoints:
        AddList(report, field.key, static_cast<const CDB_SPLINE_CONTROL_POINT *>(values), count,
                [](CDB_SPLINE_CONTROL_POINT p) {
                    const double xyzw[4] = {p.x, p.y, p.z, p.weight};
                    const Printed printed = Numbers(xyzw, 4);
                    return Printed{printed.json, "(" + printed.text + ")"};
                });
        break;
    default:
        break;
    }
}

} // namespace

void AddPoint3(Report &r, const char *key, CDB_POINT3 p) {
    double xyz[3] = {p.x, p.y, p.z};
    r.AddPoint(key, xyz, 3);
}

void AddPoint2(Report &r, const char *key, CDB_POINT2 p) {
    double xy[2] = {p.x, p.y};
    r.AddPoint(key, xy, 2);
}

std::string Hex(const uint8_t *bytes, size_t n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        s += digits[bytes[i] >> 4];
        s += digits[bytes[i] & 15];
    }
    return s;
}

void AddField(Report &report, const Field &field, const unsigned char *part) {
    const unsigned char *at = part + field.offset;
    switch (field.print) {
    case Print::kShort:
        report.AddInt(field.key, ReadAt<int16_t>(at));
        break;
    case Print::kByte:
        report.AddInt(field.key, ReadAt<uint8_t>(at));
        break;
    case Print::kLong:
        report.AddInt(field.key, ReadAt<int32_t>(at));
        break;
    case Print::kNumber:
        report.AddNumber(field.key, ReadAt<double>(at));
        break;
    case Print::kText:
        report.AddText(field.key, ReadAt<const char *>(at));
        break;
    case Print::kChars:
        // A fixed field that need not end in a zero.
        report.AddText(field.key,
                       std::string(reinterpret_cast<const char *>(at), field.size).c_str());
        break;
    case Print::kPoint2:
        AddPoint2(report, field.key, ReadAt<CDB_POINT2>(at));
        break;
    case Print::kPoint3:
        AddPoint3(report, field.key, ReadAt<CDB_POINT3>(at));
        break;
    case Print::kShorts:
    case Print::kNumbers:
    case Print::kPoints3:
    case Print::kWeightedPoints:
        AddList(report, field, part);
        break;
    }
}

void AddKindFields(Report &report, const KindFields &kind, const CDB_ENTITY &record) {
    const unsigned char *part = reinterpret_cast<const unsigned char *>(&record) + kind.part_offset;
    for (size_t i = 0; i < kind.count; ++i)
        AddField(report, kind.fields[i], part);
}
