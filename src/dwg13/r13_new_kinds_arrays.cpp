// The release 13 kinds whose records point at arrays: SPLINE, MLINE and LEADER.
#include "dwg13/r13_new_kinds.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/eed_cursor.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

#define LAYOUT(list)                                                                               \
    R13Layout {                                                                                    \
        list, std::size(list)                                                                      \
    }
#define F(kind, member) R13_FIELD(kind, CDB_ENTITY, member)

// The fewest bits a value of each form takes in the stream: a BD of zero, a 3BD of zeros.
constexpr int64_t kLeastDouble = 2;
constexpr int64_t kLeastPoint = 3 * kLeastDouble;
constexpr int64_t kLeastShort = 2;

// Whether `count` items of at least `least` bits each can stand in what is left.
bool Fits(const CBitStream &stream, int64_t count, int64_t least) {
    return count >= 0 && count * least <= R13BitsLeft(stream);
}

// A zeroed block of `count` items of `size` bytes (malloc), null for a count of 0.
void *NewArray(int64_t count, size_t size) {
    return count > 0 ? std::calloc(static_cast<size_t>(count), size) : nullptr;
}

// A copy of `count` items of `size` bytes, null when there is nothing to copy.
void *CopyArray(const void *from, int64_t count, size_t size) {
    if (!from || count < 1)
        return nullptr;
    void *copy = std::malloc(static_cast<size_t>(count) * size);
    if (copy)
        std::memcpy(copy, from, static_cast<size_t>(count) * size);
    return copy;
}

uint32_t PointBits(const CDB_POINT3 &p) {
    return R13DoubleBits(p.x) + R13DoubleBits(p.y) + R13DoubleBits(p.z);
}

void ReadPoint(CBitStream &stream, CDB_POINT3 &point) {
    point.x = stream.ReadBitDouble();
    point.y = stream.ReadBitDouble();
    point.z = stream.ReadBitDouble();
}

void WritePoint(CBitWriter &writer, const CDB_POINT3 &point) {
    writer.WritePoint3(point.x, point.y, point.z);
}

// ---- Layouts ------------------------------------------------------------------------------

constexpr R13Field kFitFields[] = {
    F(kBD, spline.fit_tolerance),
    F(k3BD, spline.start_tangent),
    F(k3BD, spline.end_tangent),
    F(kBS, spline.fit_point_count),
};
// The spline's selectors in front of its two small numbers, and the flags in front of the
// tolerances of scenario 1.
constexpr int kSelectorBits = 5;
constexpr int kControlFlagBits = 3;

constexpr R13Field kControlFields[] = {
    F(kBD, spline.knot_tolerance),
    F(kBD, spline.control_tolerance),
    F(kBS, spline.knot_count),
    F(kBS, spline.control_point_count),
};

constexpr R13Field kMlineFields[] = {
    F(kBD, mline.scale),        F(kRC, mline.justification),
    F(k3BD, mline.base_point),  F(k3BD, extrusion),
    F(kBS, mline.flags),        R13_BITS(8, CDB_ENTITY, mline.line_count),
    F(kBS, mline.vertex_count),
};
constexpr R13Field kMlineHandles[] = {R13_HARD_REF(CDB_ENTITY, mline.style_handle)};

constexpr R13Field kLeaderCounts[] = {
    R13_DROP_BITS(1),
    F(kBS, leader.annotation_type),
    F(kBS, leader.path_type),
    F(kBS, leader.vertex_count),
};
constexpr R13Field kLeaderFrame[] = {
    F(k3BD, leader.end_point_projection),
    F(k3BD, leader.normal),
    F(k3BD, leader.x_direction),
    F(k3BD, leader.offset_to_block),
    F(kBD, leader.box_height),
    F(kBD, leader.text_height),
    F(kBD, leader.text_width),
};
// Behind the hook line bit, which is stored inverted.
constexpr R13Field kLeaderArrow[] = {
    F(kB, leader.arrow_head), F(kBS, leader.arrow_type), F(kBD, leader.arrow_size),
    R13_DROP_BITS(2),         F(kBS, leader.color),      F(kBS, leader.field_b),
    R13_DROP_BITS(2),
};
constexpr R13Field kLeaderHandles[] = {F(kRC, leader.field_c),
                                       R13_HARD_REF(CDB_ENTITY, leader.dimstyle_handle)};

// The handle texts of the extended data become indices of the drawing's tables, without
// the bases.
class TableResolver : public EedHandleResolver {
public:
    explicit TableResolver(CR13Drawing &owner) : drawing(owner) {}
    int16_t ApplicationIndex(const char *handle) const override {
        return static_cast<int16_t>(drawing.IndexOfHandle(TableBase::kAppids, handle));
    }
    int16_t LayerIndex(const char *handle) const override {
        return static_cast<int16_t>(drawing.IndexOfHandle(TableBase::kLayers, handle));
    }

private:
    CR13Drawing &drawing;
};

constexpr short kNoMoreValues = -6;

} // namespace

// ---- SPLINE -------------------------------------------------------------------------------

CR13Spline::CR13Spline(CR13Drawing *owner) : CR13Entity(owner, CDB_SPLINE) {
    file_type = 36;
}

CR13Spline::~CR13Spline() {
    if (!HandedOver())
        FreeArrays();
}

void CR13Spline::FreeArrays() {
    if (!record)
        return;
    CDB_SPLINE_type &s = record->spline;
    if (s.knot_count > 0)
        std::free(s.knots);
    if (s.control_point_count > 0)
        std::free(s.control_points);
    if (s.fit_point_count > 0)
        std::free(s.fit_points);
    s.knots = nullptr;
    s.control_points = nullptr;
    s.fit_points = nullptr;
    s.knot_count = s.control_point_count = s.fit_point_count = 0;
}

void CR13Spline::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record || in == record)
        return;
    FreeArrays();
    CR13Entity::SetRecord(in);
    const CDB_SPLINE_type &from = in->spline;
    CDB_SPLINE_type &s = record->spline;
    s.knots = static_cast<double *>(CopyArray(from.knots, from.knot_count, sizeof(double)));
    s.control_points = static_cast<CDB_SPLINE_CONTROL_POINT *>(
        CopyArray(from.control_points, from.control_point_count, sizeof(CDB_SPLINE_CONTROL_POINT)));
    s.fit_points = static_cast<CDB_POINT3 *>(
        CopyArray(from.fit_points, from.fit_point_count, sizeof(CDB_POINT3)));
}

int CR13Spline::ReadBody(CBitStream &stream) {
    FreeArrays();
    // Two small numbers, each behind a selector of 5 bits that is kept for the writer.
    scenario_selector = static_cast<uint8_t>(stream.ReadBits(kSelectorBits));
    scenario = static_cast<int16_t>(stream.ReadBits(5));
    degree_selector = static_cast<uint8_t>(stream.ReadBits(kSelectorBits));
    record->spline.degree = static_cast<int16_t>(stream.ReadBits(5));
    if (scenario == 2)
        return ReadFitPoints(stream);
    if (scenario == 1)
        return ReadControlPoints(stream);
    return 0;
}

int CR13Spline::ReadFitPoints(CBitStream &stream) {
    ReadR13Fields(stream, LAYOUT(kFitFields), record);
    CDB_SPLINE_type &s = record->spline;
    if (!Fits(stream, s.fit_point_count, kLeastPoint)) {
        s.fit_point_count = 0;
        return 0;
    }
    auto *points = static_cast<CDB_POINT3 *>(NewArray(s.fit_point_count, sizeof(CDB_POINT3)));
    if (s.fit_point_count > 0 && !points)
        return 0;
    s.fit_points = points;
    for (int i = 0; i < s.fit_point_count; ++i)
        ReadPoint(stream, points[i]);
    return 1;
}

int CR13Spline::ReadControlPoints(CBitStream &stream) {
    control_flags = static_cast<uint8_t>(stream.ReadBits(kControlFlagBits));
    ReadR13Fields(stream, LAYOUT(kControlFields), record);
    weighted = static_cast<int16_t>(stream.ReadBit());
    CDB_SPLINE_type &s = record->spline;
    const int64_t per_point = kLeastPoint + (weighted ? kLeastDouble : 0);
    const bool fit =
        s.knot_count >= 0 && s.control_point_count >= 0 &&
        Fits(stream,
             int64_t(s.knot_count) * kLeastDouble + int64_t(s.control_point_count) * per_point, 1);
    if (!fit) {
        s.knot_count = s.control_point_count = 0;
        return 0;
    }
    auto *knots = static_cast<double *>(NewArray(s.knot_count, sizeof(double)));
    auto *points = static_cast<CDB_SPLINE_CONTROL_POINT *>(
        NewArray(s.control_point_count, sizeof(CDB_SPLINE_CONTROL_POINT)));
    s.knots = knots;
    s.control_points = points;
    if ((s.knot_count > 0 && !knots) || (s.control_point_count > 0 && !points))
        return 0;
    for (int i = 0; i < s.knot_count; ++i)
        knots[i] = stream.ReadBitDouble();
    for (int i = 0; i < s.control_point_count; ++i) {
        points[i].x = stream.ReadBitDouble();
        points[i].y = stream.ReadBitDouble();
        points[i].z = stream.ReadBitDouble();
        points[i].weight = weighted ? stream.ReadBitDouble() : 1.0;
    }
    return 1;
}

int16_t CR13Spline::ScenarioToWrite() const {
    if (scenario != 0)
        return scenario; // as read, or as a test set it
    const CDB_SPLINE_type &s = record->spline;
    return s.fit_point_count > 0 && s.knot_count == 0 ? 2 : 1;
}

void CR13Spline::WriteBody(CBitWriter &writer) const {
    const int16_t form = ScenarioToWrite();
    const CDB_SPLINE_type &s = record->spline;
    writer.WriteBits(scenario_selector, kSelectorBits);
    writer.WriteBits(static_cast<uint32_t>(form), 5);
    writer.WriteBits(degree_selector, kSelectorBits);
    writer.WriteBits(static_cast<uint32_t>(s.degree), 5);
    if (form == 2) {
        WriteR13Fields(writer, LAYOUT(kFitFields), record);
        for (int i = 0; s.fit_points && i < s.fit_point_count; ++i)
            WritePoint(writer, s.fit_points[i]);
        return;
    }
    writer.WriteBits(control_flags, kControlFlagBits);
    WriteR13Fields(writer, LAYOUT(kControlFields), record);
    writer.WriteBit(weighted != 0);
    for (int i = 0; s.knots && i < s.knot_count; ++i)
        writer.WriteBitDouble(s.knots[i]);
    for (int i = 0; s.control_points && i < s.control_point_count; ++i) {
        const CDB_SPLINE_CONTROL_POINT &p = s.control_points[i];
        writer.WritePoint3(p.x, p.y, p.z);
        if (weighted)
            writer.WriteBitDouble(p.weight);
    }
}

uint32_t CR13Spline::KindBits() const {
    const CDB_SPLINE_type &s = record->spline;
    if (ScenarioToWrite() == 2) {
        uint32_t bits = R13LayoutBits(LAYOUT(kFitFields), record);
        for (int i = 0; s.fit_points && i < s.fit_point_count; ++i)
            bits += PointBits(s.fit_points[i]);
        return bits;
    }
    uint32_t bits = R13LayoutBits(LAYOUT(kControlFields), record);
    for (int i = 0; s.knots && i < s.knot_count; ++i)
        bits += R13DoubleBits(s.knots[i]);
    for (int i = 0; s.control_points && i < s.control_point_count; ++i) {
        const CDB_SPLINE_CONTROL_POINT &p = s.control_points[i];
        bits += R13DoubleBits(p.x) + R13DoubleBits(p.y) + R13DoubleBits(p.z);
        if (weighted)
            bits += R13DoubleBits(p.weight);
    }
    return bits;
}

// ---- MLINE --------------------------------------------------------------------------------

CR13Mline::CR13Mline(CR13Drawing *owner) : CR13Entity(owner, CDB_MLINE) {
    file_type = 47;
}

CR13Mline::~CR13Mline() {
    if (!HandedOver())
        FreeArrays();
}

void CR13Mline::FreeArrays() {
    if (!record)
        return;
    CDB_MLINE_type &m = record->mline;
    for (int v = 0; m.vertices && v < m.vertex_count; ++v) {
        CDB_MLINE_LINE *lines = m.vertices[v].lines;
        for (int l = 0; lines && l < m.line_count; ++l) {
            if (lines[l].segment_parameter_count > 0)
                std::free(lines[l].segment_parameters);
            if (lines[l].fill_parameter_count > 0)
                std::free(lines[l].fill_parameters);
        }
        std::free(lines);
    }
    std::free(m.vertices);
    m.vertices = nullptr;
    m.vertex_count = 0;
}

void CR13Mline::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record || in == record)
        return;
    FreeArrays();
    CR13Entity::SetRecord(in);
}

int CR13Mline::ReadBody(CBitStream &stream) {
    FreeArrays();
    ReadR13Fields(stream, LAYOUT(kMlineFields), record);
    CDB_MLINE_type &m = record->mline;
    if (m.line_count < 1 || m.vertex_count < 1)
        return 0;
    return ReadVertices(stream);
}

int CR13Mline::ReadVertices(CBitStream &stream) {
    CDB_MLINE_type &m = record->mline;
    const int64_t per_vertex = 3 * kLeastPoint + int64_t(m.line_count) * 2 * kLeastShort;
    const int16_t count = m.vertex_count;
    m.vertex_count = 0; // nothing to free until the block is there
    if (!Fits(stream, count, per_vertex))
        return 0;
    m.vertices = static_cast<CDB_MLINE_VERTEX *>(NewArray(count, sizeof(CDB_MLINE_VERTEX)));
    if (!m.vertices)
        return 0;
    m.vertex_count = count;
    for (int v = 0; v < count; ++v) {
        CDB_MLINE_VERTEX &vertex = m.vertices[v];
        ReadPoint(stream, vertex.location);
        ReadPoint(stream, vertex.direction);
        ReadPoint(stream, vertex.miter_direction);
        auto *lines = static_cast<CDB_MLINE_LINE *>(NewArray(m.line_count, sizeof(CDB_MLINE_LINE)));
        vertex.lines = lines;
        if (!lines)
            return 0;
        for (int l = 0; l < m.line_count; ++l) {
            int16_t n = 0;
            double *values = nullptr;
            const int segments = ReadParameters(stream, n, values);
            lines[l].segment_parameter_count = n;
            lines[l].segment_parameters = values;
            if (!segments)
                return 0;
            const int fills = ReadParameters(stream, n, values);
            lines[l].fill_parameter_count = n;
            lines[l].fill_parameters = values;
            if (!fills)
                return 0;
        }
    }
    return 1;
}

int CR13Mline::ReadParameters(CBitStream &stream, int16_t &count, double *&values) {
    const int16_t n = static_cast<int16_t>(stream.ReadBitShort());
    count = 0;
    values = nullptr;
    if (!Fits(stream, n, kLeastDouble))
        return 0;
    values = static_cast<double *>(NewArray(n, sizeof(double)));
    if (n > 0 && !values)
        return 0;
    count = n;
    for (int i = 0; i < n; ++i)
        values[i] = stream.ReadBitDouble();
    return 1;
}

void CR13Mline::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kMlineFields), record);
    const CDB_MLINE_type &m = record->mline;
    for (int v = 0; m.vertices && v < m.vertex_count; ++v) {
        const CDB_MLINE_VERTEX &vertex = m.vertices[v];
        WritePoint(writer, vertex.location);
        WritePoint(writer, vertex.direction);
        WritePoint(writer, vertex.miter_direction);
        for (int l = 0; vertex.lines && l < m.line_count; ++l) {
            const CDB_MLINE_LINE &line = vertex.lines[l];
            const int16_t segments = line.segment_parameters ? line.segment_parameter_count : 0;
            writer.WriteBitShort(segments > 0 ? segments : 0);
            for (int i = 0; i < segments; ++i)
                writer.WriteBitDouble(line.segment_parameters[i]);
            const int16_t fills = line.fill_parameters ? line.fill_parameter_count : 0;
            writer.WriteBitShort(fills > 0 ? fills : 0);
            for (int i = 0; i < fills; ++i)
                writer.WriteBitDouble(line.fill_parameters[i]);
        }
    }
}

void CR13Mline::ReadKindHandles(CBitStream &stream) {
    std::free(record->mline.style_handle);
    record->mline.style_handle = nullptr;
    ReadR13Fields(stream, LAYOUT(kMlineHandles), record);
}

void CR13Mline::WriteKindHandles(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kMlineHandles), record);
}

uint32_t CR13Mline::KindBits() const {
    uint32_t bits =
        R13LayoutBits(LAYOUT(kMlineFields), record) + R13LayoutBits(LAYOUT(kMlineHandles), record);
    const CDB_MLINE_type &m = record->mline;
    for (int v = 0; m.vertices && v < m.vertex_count; ++v) {
        const CDB_MLINE_VERTEX &vertex = m.vertices[v];
        bits += PointBits(vertex.location) + PointBits(vertex.direction) +
                PointBits(vertex.miter_direction);
        for (int l = 0; vertex.lines && l < m.line_count; ++l) {
            const CDB_MLINE_LINE &line = vertex.lines[l];
            for (int i = 0; line.segment_parameters && i < line.segment_parameter_count; ++i)
                bits += R13DoubleBits(line.segment_parameters[i]);
            for (int i = 0; line.fill_parameters && i < line.fill_parameter_count; ++i)
                bits += R13DoubleBits(line.fill_parameters[i]);
        }
    }
    return bits;
}

void CR13Mline::ResolveKind() {
    record->mline.style_index = static_cast<int16_t>(
        drawing->IndexOfHandle(TableBase::kMlineStyles, record->mline.style_handle) +
        drawing->Base(TableBase::kMlineStyles));
}

// ---- LEADER -------------------------------------------------------------------------------

CR13Leader::CR13Leader(CR13Drawing *owner) : CR13Entity(owner, CDB_LEADER) {
    file_type = 45;
}

CR13Leader::~CR13Leader() {
    if (!HandedOver())
        FreeArrays();
}

void CR13Leader::FreeArrays() {
    if (!record)
        return;
    if (record->leader.vertex_count > 0)
        std::free(record->leader.vertices);
    record->leader.vertices = nullptr;
    record->leader.vertex_count = 0;
}

void CR13Leader::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record || in == record)
        return;
    if (record->leader.vertices != in->leader.vertices)
        FreeArrays();
    CR13Entity::SetRecord(in);
}

int CR13Leader::ReadDWG(CBitStream &stream) {
    if (!record || ReadCommon(stream) != 1)
        return 0;
    if (!ReadBody(stream))
        return 0;
    // A leader without vertices ends here: no trailer, no handles of its own.
    if (record->leader.vertex_count >= 1) {
        ReadCommonHandles(stream);
        ReadKindHandles(stream);
    }
    record->entity_type = code;
    return 1;
}

int CR13Leader::ReadBody(CBitStream &stream) {
    FreeArrays();
    ReadR13Fields(stream, LAYOUT(kLeaderCounts), record);
    CDB_LEADER_type &l = record->leader;
    if (l.vertex_count < 1)
        return 1;
    const int16_t count = l.vertex_count;
    l.vertex_count = 0;
    if (!Fits(stream, count, kLeastPoint))
        return 0;
    l.vertices = static_cast<CDB_POINT3 *>(NewArray(count, sizeof(CDB_POINT3)));
    if (!l.vertices)
        return 0;
    l.vertex_count = count;
    for (int i = 0; i < count; ++i)
        ReadPoint(stream, l.vertices[i]);
    ReadR13Fields(stream, LAYOUT(kLeaderFrame), record);
    l.hookline_on_x = static_cast<int16_t>(stream.ReadBit() ? 0 : 1);
    ReadR13Fields(stream, LAYOUT(kLeaderArrow), record);
    return 1;
}

void CR13Leader::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kLeaderCounts), record);
    const CDB_LEADER_type &l = record->leader;
    if (l.vertex_count < 1)
        return;
    for (int i = 0; l.vertices && i < l.vertex_count; ++i)
        WritePoint(writer, l.vertices[i]);
    WriteR13Fields(writer, LAYOUT(kLeaderFrame), record);
    writer.WriteBit(l.hookline_on_x ? 0 : 1);
    WriteR13Fields(writer, LAYOUT(kLeaderArrow), record);
}

void CR13Leader::ReadKindHandles(CBitStream &stream) {
    std::free(record->leader.dimstyle_handle);
    record->leader.dimstyle_handle = nullptr;
    ReadR13Fields(stream, LAYOUT(kLeaderHandles), record);
}

void CR13Leader::WriteKindHandles(CBitWriter &writer) const {
    if (record->leader.vertex_count >= 1)
        WriteR13Fields(writer, LAYOUT(kLeaderHandles), record);
}

uint32_t CR13Leader::KindBits() const {
    const CDB_LEADER_type &l = record->leader;
    if (l.vertex_count < 1)
        return 0;
    uint32_t bits = R13LayoutBits(LAYOUT(kLeaderFrame), record) +
                    R13LayoutBits(LAYOUT(kLeaderArrow), record) +
                    R13LayoutBits(LAYOUT(kLeaderHandles), record);
    for (int i = 0; l.vertices && i < l.vertex_count; ++i)
        bits += PointBits(l.vertices[i]);
    return bits;
}

void CR13Leader::ResolveKind() {
    record->leader.dimstyle_index = static_cast<int16_t>(
        drawing->IndexOfHandle(TableBase::kDimstyles, record->leader.dimstyle_handle) +
        drawing->Base(TableBase::kDimstyles));
}

void CR13Leader::GetRecord(CDB_ENTITY *out) {
    if (out && record)
        FindAcadItem();
    CR13Entity::GetRecord(out);
}

void CR13Leader::FindAcadItem() {
    acad_item_position = -1;
    if (!drawing || !record->eed_data || record->eed_size == 0)
        return;
    TableResolver resolver(*drawing);
    CR13Table &appids = drawing->Table(R13Table::kAppids);
    CDB_EED_type cursor{};
    short error = 0;
    if (EedAttach(record, &cursor, error) != 0)
        return;
    // Each step moves on by at least a byte: the walk ends within the block's size.
    short app = EedFirstAppid(&cursor, &resolver);
    for (int steps = 0; app != kNoMoreValues && steps <= record->eed_size; ++steps) {
        const char *name = app >= 0 ? appids.NameAt(app) : nullptr;
        if (name && std::strcmp(name, "ACAD") == 0) {
            acad_item_position = cursor.position;
            return;
        }
        app = EedNextAppid(&cursor, &resolver);
    }
}
