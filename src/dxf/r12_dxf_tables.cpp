// Release 12 table records read from a DXF file, by the groups of r12_dxf_layout.h.
#include "dwg12/r12_tables.h"
#include "dxf/dxf_long_names.h"
#include "dxf/dxf_numbers.h"
#include "dxf/dxf_stream.h"
#include "dwg12/r12_dxf_layout.h"
#include "io/record_field.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// A new heap copy of `text` with at most `limit` characters.
char *CopyText(const char *text, size_t limit) {
    size_t n = std::strlen(text);
    if (n > limit)
        n = limit;
    char *copy = static_cast<char *>(std::malloc(n + 1));
    if (copy) {
        std::memcpy(copy, text, n);
        copy[n] = 0;
    }
    return copy;
}

} // namespace

int CR12LayoutRecord::ReadDXF(R12DxfRecordContext &context, char *name) {
    const R12DxfLayout *layout = R12DxfTableLayout(TableNumber());
    if (!layout || !name || std::strcmp(name, layout->name) != 0)
        return 0;
    Clear();
    CDxfStream &stream = context.stream;
    uint8_t *body = BodyBytes();
    std::vector<double> dashes;
    const bool long_names = (stream.ReadOptions() & CDB_READ_LONG_NAMES) != 0;
    bool took_long_names = false;

    int16_t code = 0;
    for (;;) {
        stream.ReadGroup(&code, name);
        if (stream.AtEnd())
            return -1;
        if (code == 0)
            break;
        const R12DxfGroup *group = layout->Find(code);
        if (group) {
            switch (group->value) {
            case R12DxfValue::kName:
                // Every reader keeps a name in 32 bytes: 31 characters and the terminator;
                // an empty name is none, as in a DWG. The tolerant road keeps a longer
                // name whole.
                std::free(NameField());
                took_long_names |= long_names && IsLongTableName(name);
                SetNameField(*name ? CopyText(name, long_names ? CDxfStream::kValueSize
                                                               : kR12NameBufferSize - 1)
                                   : nullptr);
                break;
            case R12DxfValue::kFlags:
                SetFlagsField(static_cast<uint8_t>(DxfTextToInt(name)));
                break;
            case R12DxfValue::kReal:
                StoreField<double>(body, group->offset, stream.Real(name));
                break;
            case R12DxfValue::kInt16:
                StoreField<int16_t>(body, group->offset, static_cast<int16_t>(DxfTextToInt(name)));
                break;
            case R12DxfValue::kByte:
                body[group->offset] = static_cast<uint8_t>(DxfTextToInt(name));
                break;
            case R12DxfValue::kTextKept:
                std::free(LoadField<char *>(body, group->offset));
                StoreField<char *>(body, group->offset, CopyText(name, CDxfStream::kValueSize));
                break;
            case R12DxfValue::kAppendText: {
                char *old = LoadField<char *>(body, group->offset);
                StoreField<char *>(body, group->offset, JoinTexts(old, name));
                std::free(old);
                break;
            }
            case R12DxfValue::kLtypeName:
                // A layer cannot be read without a line type table to look in.
                if (!context.ltypes)
                    return -1;
                StoreField<int16_t>(body, group->offset,
                                    static_cast<int16_t>(FindTableNameNoCase(
                                        *context.ltypes, name, long_names, &took_long_names)));
                break;
            case R12DxfValue::kDash:
                // A dash count is 16 bits: more lengths than that are not kept.
                if (dashes.size() < 32767)
                    dashes.push_back(stream.Real(name));
                break;
            case R12DxfValue::kPoint2Next:
            case R12DxfValue::kPoint3Next: {
                // The groups behind the first coordinate are taken by position.
                const int coordinates = group->value == R12DxfValue::kPoint2Next ? 2 : 3;
                StoreField<double>(body, group->offset, stream.Real(name));
                for (int i = 1; i < coordinates; ++i) {
                    stream.ReadGroup(&code, name);
                    if (stream.AtEnd())
                        return -1;
                    StoreField<double>(body, group->offset + 8 * size_t(i), stream.Real(name));
                }
                break;
            }
            default:
                break;
            }
        }
    }

    if (TableNumber() == kR12Ltypes) {
        // The dash lengths in order of arrival, as many as the record's count announces.
        auto &ltype = *reinterpret_cast<CDB_LTYPE_TBL_type *>(body);
        const int16_t count = ltype.dash_count;
        if (count > 0) {
            auto *lengths = static_cast<double *>(std::calloc(size_t(count), sizeof(double)));
            if (lengths)
                for (size_t i = 0; i < dashes.size() && i < size_t(count); ++i)
                    lengths[i] = dashes[i];
            ltype.dashes = lengths;
        }
    }
    if (took_long_names)
        stream.NoteTolerantRead(CDB_READ_LONG_NAMES);
    AfterReadDxf();
    return 1;
}
