// The groups of the release 13 kinds that fill arrays or grow texts: the knots and points of
// SPLINE, the vertices of LEADER, the vertices, lines and parameters of MLINE, the joined text
// of MTEXT, the modeler lines of REGION, 3DSOLID and BODY, and the data of an OLE frame.
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity.h"
#include "dxf/dxf_numbers.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_entity_read.h"
#include "io/record_field.h"
#include "records/handle_text.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using V = R13DxfValue;

// The fewest bytes of the file that one group takes: a code line and a value line of one
// character each. An array cannot have more items than the rest of the file has groups.
constexpr int32_t kLeastGroupBytes = 4;
// An MLINE line needs its two count groups, 74 and 75.
constexpr int32_t kLeastLineBytes = 2 * kLeastGroupBytes;
// The first block of a joined text.
constexpr size_t kFirstTextBlock = 256;
// A byte of OLE data takes at least one byte of the file.
constexpr int32_t kLeastDataBytes = 1;

// The count of an array's group, held to the i16 of the record and to what the file can
// still hold; 0 for a count below 1.
int16_t TakeCount(R13DxfBudget &budget, const char *value, int32_t bytes_each) {
    const int32_t wanted = DxfTextToInt(value);
    return static_cast<int16_t>(budget.Take(wanted < INT16_MAX ? wanted : INT16_MAX, bytes_each));
}

// The coordinate (0 x, 1 y, 2 z, 3 the weight) that a component offset of an item names.
int Component(uint16_t offset) {
    return offset / static_cast<int>(sizeof(double));
}

// A zeroed block of `count` items of `size` bytes, null for a count below 1.
void *NewItems(int32_t count, size_t size) {
    return count > 0 ? std::calloc(static_cast<size_t>(count), size) : nullptr;
}

// Stores `value` into coordinate `offset` of item `index` of `items` when the index is below
// `count`, and moves the counter on.
template <typename Item>
void FillItem(Item *items, int32_t count, int32_t &counter, uint16_t offset, double value) {
    if (!items || counter >= count)
        return;
    StoreField<double>(&items[counter], offset, value);
    ++counter;
}

} // namespace

void R13DxfEntityRead::TakeArrayValue(const R13DxfGroup &g, const char *value) {
    switch (g.value) {
    case V::kSplineKnotCount:
    case V::kSplineControlCount:
    case V::kSplineFitCount:
    case V::kSplineKnot:
    case V::kSplineControl:
    case V::kSplineWeight:
    case V::kSplineFit:
        TakeSpline(g, value);
        break;
    case V::kLeaderCount:
    case V::kLeaderVertex:
        TakeLeader(g, value);
        break;
    case V::kMlineVertexCount:
    case V::kMlineLineCount:
    case V::kMlineVertexStart:
    case V::kMlineVertexPoint:
        TakeMline(g, value);
        break;
    case V::kMlineSegmentCount:
    case V::kMlineSegment:
    case V::kMlineFillCount:
    case V::kMlineFill:
        TakeMlineLine(g, value);
        break;
    case V::kJoinedText:
        AppendText(g.offset, value, false);
        break;
    case V::kModelerLine:
        // View mode passes the modeler's lines over.
        if (!drawing_.ViewFlag())
            AppendText(g.offset, value, true);
        break;
    case V::kOleSize:
        if (!drawing_.ViewFlag() && !record_->ole.data) {
            const int32_t size = budget_.Take(DxfTextToInt(value), kLeastDataBytes);
            record_->ole.data = static_cast<uint8_t *>(NewItems(size, 1));
            record_->ole.data_size = record_->ole.data ? size : 0;
        }
        break;
    case V::kOleChunk:
        if (!drawing_.ViewFlag())
            TakeOleChunk(value);
        break;
    default:
        break;
    }
}

// ---- SPLINE -------------------------------------------------------------------------------

void R13DxfEntityRead::TakeSpline(const R13DxfGroup &g, const char *value) {
    CDB_SPLINE_type &s = record_->spline;
    switch (g.value) {
    case V::kSplineKnotCount:
        if (!s.knots) {
            s.knot_count = TakeCount(budget_, value, kLeastGroupBytes);
            s.knots = static_cast<double *>(NewItems(s.knot_count, sizeof(double)));
            if (!s.knots)
                s.knot_count = 0;
        }
        break;
    case V::kSplineControlCount:
        if (!s.control_points) {
            s.control_point_count = TakeCount(budget_, value, kLeastGroupBytes);
            s.control_points = static_cast<CDB_SPLINE_CONTROL_POINT *>(
                NewItems(s.control_point_count, sizeof(CDB_SPLINE_CONTROL_POINT)));
            if (!s.control_points)
                s.control_point_count = 0;
            // A point without a weight of its own weighs 1.
            for (int i = 0; i < s.control_point_count; ++i)
                s.control_points[i].weight = 1.0;
        }
        break;
    case V::kSplineFitCount:
        if (!s.fit_points) {
            s.fit_point_count = TakeCount(budget_, value, kLeastGroupBytes);
            s.fit_points =
                static_cast<CDB_POINT3 *>(NewItems(s.fit_point_count, sizeof(CDB_POINT3)));
            if (!s.fit_points)
                s.fit_point_count = 0;
        }
        break;
    case V::kSplineKnot:
        if (s.knots && knot_at_ < s.knot_count)
            s.knots[knot_at_++] = stream_.Real(value);
        break;
    case V::kSplineControl:
        FillItem(s.control_points, s.control_point_count, control_at_[Component(g.offset)],
                 g.offset, stream_.Real(value));
        break;
    case V::kSplineWeight:
        // A weight only for a rational spline (flag bit 4); otherwise the group is dropped.
        if (s.flags & 4)
            FillItem(s.control_points, s.control_point_count, control_at_[3], g.offset,
                     stream_.Real(value));
        break;
    default: // kSplineFit
        FillItem(s.fit_points, s.fit_point_count, fit_at_[Component(g.offset)], g.offset,
                 stream_.Real(value));
        break;
    }
}

// ---- LEADER -------------------------------------------------------------------------------

void R13DxfEntityRead::TakeLeader(const R13DxfGroup &g, const char *value) {
    CDB_LEADER_type &l = record_->leader;
    if (g.value == V::kLeaderCount) {
        if (!l.vertices) {
            l.vertex_count = TakeCount(budget_, value, kLeastGroupBytes);
            l.vertices = static_cast<CDB_POINT3 *>(NewItems(l.vertex_count, sizeof(CDB_POINT3)));
            if (!l.vertices)
                l.vertex_count = 0;
        }
        return;
    }
    FillItem(l.vertices, l.vertex_count, vertex_at_[Component(g.offset)], g.offset,
             stream_.Real(value));
}

// ---- MLINE --------------------------------------------------------------------------------

void R13DxfEntityRead::TakeMline(const R13DxfGroup &g, const char *value) {
    CDB_MLINE_type &m = record_->mline;
    switch (g.value) {
    case V::kMlineVertexCount:
        if (!m.vertices) {
            m.vertex_count = TakeCount(budget_, value, kLeastGroupBytes);
            m.vertices =
                static_cast<CDB_MLINE_VERTEX *>(NewItems(m.vertex_count, sizeof(CDB_MLINE_VERTEX)));
            if (!m.vertices)
                m.vertex_count = 0;
        }
        break;
    case V::kMlineLineCount: {
        // The count of lines of every vertex: it stays once a vertex has its lines.
        bool lines_made = false;
        for (int v = 0; m.vertices && v < m.vertex_count; ++v)
            lines_made = lines_made || m.vertices[v].lines;
        if (!lines_made) {
            const int32_t count = DxfTextToInt(value);
            m.line_count = static_cast<int16_t>(count > 0 && count <= INT16_MAX ? count : 0);
        }
        break;
    }
    case V::kMlineVertexStart:
        // The next vertex begins; its lines begin again.
        ++mline_vertex_;
        mline_line_ = -1;
        [[fallthrough]];
    default: // kMlineVertexPoint
        if (m.vertices && mline_vertex_ >= 0 && mline_vertex_ < m.vertex_count)
            StoreField<double>(&m.vertices[mline_vertex_], g.offset, stream_.Real(value));
        break;
    }
}

CDB_MLINE_LINE *R13DxfEntityRead::CurrentLines() {
    CDB_MLINE_type &m = record_->mline;
    if (!m.vertices || mline_vertex_ < 0 || mline_vertex_ >= m.vertex_count || m.line_count < 1)
        return nullptr;
    CDB_MLINE_VERTEX &vertex = m.vertices[mline_vertex_];
    if (!vertex.lines && budget_.TakeAll(m.line_count, kLeastLineBytes))
        vertex.lines =
            static_cast<CDB_MLINE_LINE *>(NewItems(m.line_count, sizeof(CDB_MLINE_LINE)));
    return vertex.lines;
}

void R13DxfEntityRead::TakeMlineLine(const R13DxfGroup &g, const char *value) {
    // 74 starts the next line of the vertex; 75 stays with the line that 74 started.
    if (g.value == V::kMlineSegmentCount)
        ++mline_line_;
    else if (g.value == V::kMlineFillCount && mline_line_ < 0)
        mline_line_ = 0;
    CDB_MLINE_LINE *lines = CurrentLines();
    if (!lines || mline_line_ < 0 || mline_line_ >= record_->mline.line_count)
        return;
    CDB_MLINE_LINE &line = lines[mline_line_];
    switch (g.value) {
    case V::kMlineSegmentCount:
        if (!line.segment_parameters) {
            line.segment_parameter_count = TakeCount(budget_, value, kLeastGroupBytes);
            line.segment_parameters =
                static_cast<double *>(NewItems(line.segment_parameter_count, sizeof(double)));
            if (!line.segment_parameters)
                line.segment_parameter_count = 0;
            segment_at_ = 0;
        }
        break;
    case V::kMlineSegment:
        if (line.segment_parameters && segment_at_ < line.segment_parameter_count)
            line.segment_parameters[segment_at_++] = stream_.Real(value);
        break;
    case V::kMlineFillCount:
        if (!line.fill_parameters) {
            line.fill_parameter_count = TakeCount(budget_, value, kLeastGroupBytes);
            line.fill_parameters =
                static_cast<double *>(NewItems(line.fill_parameter_count, sizeof(double)));
            if (!line.fill_parameters)
                line.fill_parameter_count = 0;
            fill_at_ = 0;
        }
        break;
    default: // kMlineFill
        if (line.fill_parameters && fill_at_ < line.fill_parameter_count)
            line.fill_parameters[fill_at_++] = stream_.Real(value);
        break;
    }
}

// ---- Texts and data -----------------------------------------------------------------------

void R13DxfEntityRead::AppendText(uint16_t offset, const char *value, bool line_end) {
    // The text grows by doubling its block, so that a modeler body of many lines is not
    // copied again for each of them; the block is the record's and is freed as one.
    char *text = LoadField<char *>(record_, offset);
    if (!text)
        text_length_ = text_capacity_ = 0;
    const size_t added = std::strlen(value);
    const size_t end = line_end ? 2 : 0;
    const size_t needed = text_length_ + added + end + 1;
    if (needed > text_capacity_) {
        size_t capacity = text_capacity_ ? text_capacity_ : kFirstTextBlock;
        while (capacity < needed)
            capacity *= 2;
        auto *grown = static_cast<char *>(std::realloc(text, capacity));
        if (!grown)
            return;
        text = grown;
        text_capacity_ = capacity;
        StoreField<char *>(record_, offset, text);
    }
    std::memcpy(text + text_length_, value, added);
    text_length_ += added;
    if (line_end) {
        text[text_length_++] = '\r';
        text[text_length_++] = '\n';
    }
    text[text_length_] = '\0';
}

void R13DxfEntityRead::TakeOleChunk(const char *value) {
    CDB_OLE_type &ole = record_->ole;
    if (!ole.data)
        return;
    const int32_t room = ole.data_size - ole_at_;
    if (stream_.InputForm() == CDxfStream::kBinary) {
        // The chunk: its length byte, then what of it arrived (a zero byte cuts it short).
        const size_t arrived = std::strlen(value);
        if (arrived == 0)
            return;
        size_t n = static_cast<uint8_t>(value[0]);
        if (n > arrived - 1)
            n = arrived - 1;
        if (int64_t(n) > room)
            n = static_cast<size_t>(room);
        std::memcpy(ole.data + ole_at_, value + 1, n);
        ole_at_ += static_cast<int32_t>(n);
        return;
    }
    // Hexadecimal text, two digits a byte, up to the first other character.
    for (size_t i = 0; ole_at_ < ole.data_size; i += 2) {
        const int high = HexDigitValue(value[i]);
        const int low = high < 0 ? -1 : HexDigitValue(value[i + 1]);
        if (low < 0)
            break;
        ole.data[ole_at_++] = static_cast<uint8_t>(high * 16 + low);
    }
}
