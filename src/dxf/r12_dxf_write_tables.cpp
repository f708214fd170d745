// Release 12 table records writing their DXF groups, by the same layout (r12_dxf_layout.h)
// that the reader goes by. Every group of a record is written, whatever its value.
#include "dwg12/r12_drawing.h"
#include "dwg12/r12_tables.h"
#include "dxf/dxf_stream.h"
#include "dwg12/r12_dxf_layout.h"
#include "dxf/r12_dxf_write.h"
#include "io/record_field.h"

#include <cstddef>
#include <cstring>

namespace {

using V = R12DxfValue;

// The dash lengths of a line type, one group 49 each; a count without lengths writes
// zeros, so that the count and the groups agree.
int WriteDashes(CDxfStream &s, int16_t code, const CDB_LTYPE_TBL_type &ltype) {
    const int16_t count = ltype.dash_count;
    const double *dashes = ltype.dashes;
    for (int16_t i = 0; i < count; ++i)
        if (!s.WriteReal(code, dashes ? dashes[i] : 0.0))
            return 0;
    return 1;
}

// A point that the reader takes by position: its coordinates under the code, code + 10
// and, for three of them, code + 20.
int WritePositionalPoint(CDxfStream &s, int16_t code, const uint8_t *body, size_t offset,
                         int coordinates) {
    for (int i = 0; i < coordinates; ++i)
        if (!s.WriteReal(static_cast<int16_t>(code + 10 * i),
                         LoadField<double>(body, offset + 8 * size_t(i))))
            return 0;
    return 1;
}

} // namespace

int CR12LayoutRecord::WriteDXF(R12DxfWriteContext &context) const {
    const R12DxfLayout *layout = R12DxfTableLayout(table);
    // The block table and the viewport entity headers have no records in a DXF file.
    if (!layout)
        return 1;
    CDxfStream &s = context.stream;
    const uint8_t *record = body;
    if (!s.WriteText(0, layout->name))
        return 0;
    for (size_t i = 0; i < layout->count; ++i) {
        const R12DxfGroup &g = layout->groups[i];
        int written = 1;
        switch (g.value) {
        case V::kName:
            written = s.WriteName(g.code, NameField());
            break;
        case V::kFlags:
            written = s.WriteInt16(g.code, Flags());
            break;
        case V::kReal:
            written = s.WriteReal(g.code, LoadField<double>(record, g.offset));
            break;
        case V::kInt16:
            written = s.WriteInt16(g.code, LoadField<int16_t>(record, g.offset));
            break;
        case V::kByte:
            written = s.WriteInt16(g.code, record[g.offset]);
            break;
        case V::kTextKept:
            written = s.WriteText(g.code, LoadField<char *>(record, g.offset));
            break;
        case V::kLtypeName:
            written = s.WriteName(g.code, context.Ltype(LoadField<int16_t>(record, g.offset)));
            break;
        case V::kAppendText:
            // The style's big font: the reader appends it to the font file's text, the
            // record keeps it in a field of its own.
            if (table == kR12Styles)
                written = s.WriteText(
                    g.code, LoadField<char *>(record, offsetof(CDB_STYLE_TBL_type, bigfont_file)));
            break;
        case V::kDash:
            if (table == kR12Ltypes)
                written =
                    WriteDashes(s, g.code, *reinterpret_cast<const CDB_LTYPE_TBL_type *>(record));
            break;
        case V::kPoint2Next:
            written = WritePositionalPoint(s, g.code, record, g.offset, 2);
            break;
        case V::kPoint3Next:
            written = WritePositionalPoint(s, g.code, record, g.offset, 3);
            break;
        default:
            break;
        }
        if (!written)
            return 0;
    }
    return 1;
}
