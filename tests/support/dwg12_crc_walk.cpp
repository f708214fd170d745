// The CRC walk over a release 12 DWG; see dwg12_crc_walk.h.
#include "support/dwg12_crc_walk.h"

#include "support/bitwise_crc.h"

#include <cstring>
#include <set>
#include <sstream>

namespace velko_test {

namespace {

constexpr size_t kHeaderBlock = 0x6BF; // 1727 bytes
constexpr size_t kHeaderCrcAt = 0x6BD;
constexpr size_t kTailRecord = 154;
constexpr size_t kTailCrcAt = 136;
constexpr size_t kTrailerInTail = 4;
constexpr size_t kDescriptorBase = 28;
constexpr size_t kGap = 32;
constexpr size_t kFrameHead = 8;
constexpr uint8_t kBlockStartCode = 12;
constexpr int kBlockTable = 0;
constexpr size_t kBlockOffsetInRecord = 35;

uint16_t U16(const std::vector<uint8_t> &f, size_t at) {
    return static_cast<uint16_t>(f[at] | f[at + 1] << 8);
}

uint32_t U32(const std::vector<uint8_t> &f, size_t at) {
    return static_cast<uint32_t>(f[at]) | static_cast<uint32_t>(f[at + 1]) << 8 |
           static_cast<uint32_t>(f[at + 2]) << 16 | static_cast<uint32_t>(f[at + 3]) << 24;
}

std::string HexWord(uint32_t v) {
    std::ostringstream s;
    s << "0x" << std::hex << std::uppercase << v;
    return s.str();
}

class Walker {
public:
    Walker(const std::vector<uint8_t> &file, Dwg12CrcReport *report) : f_(file), report_(report) {}

    void Run() {
        if (f_.size() < kHeaderBlock + kTailRecord) {
            Problem("the file has " + std::to_string(f_.size()) +
                    " bytes: too short for a header block and a tail record");
            return;
        }
        report_->readable = true;
        ReadTrailer();
        CheckCrc("the header block", 0, kHeaderCrcAt);
        report_->header_checked = true;
        const size_t tail = f_.size() - kTailRecord;
        CheckCrc("the tail record", tail, kTailCrcAt);
        report_->tail_checked = true;
        CheckTail(tail);
        CheckHeaderCopies();
        CheckSentinel();

        const Dwg12TrailerPositions &l = report_->layout;
        report_->entity_frames =
            Frames("entity section", l.entities_start, l.entities_end, nullptr);
        Gap("after the entity section", l.entities_end);
        for (int t = 0; t < 10; ++t)
            Table(t);
        const uint32_t blocks_size = U32(f_, 0x20) & 0xFFFFFFu;
        const uint64_t blocks_end = uint64_t(l.blocks_start) + blocks_size;
        if (blocks_end + kGap != l.extra_start)
            Problem("the block section of " + std::to_string(blocks_size) + " bytes from " +
                    std::to_string(l.blocks_start) + " and its gap do not end at extra_start " +
                    std::to_string(l.extra_start));
        std::set<size_t> block_starts;
        report_->block_frames = Frames("block section", l.blocks_start, blocks_end, &block_starts);
        Gap("after the block section", blocks_end);
        BlockOffsets(block_starts);
    }

private:
    void Problem(const std::string &what) { report_->problems.push_back(what); }

    bool Inside(uint64_t at, uint64_t size) const { return at + size <= f_.size(); }

    // The CRC of the `covered` bytes at `at`, stored behind them.
    void CheckCrc(const std::string &what, size_t at, size_t covered) {
        if (!Inside(at, covered + 2)) {
            Problem(what + " at " + std::to_string(at) + " runs past the end of the file");
            return;
        }
        const uint16_t want = BitwiseDwgCrc(f_.data() + at, covered);
        const uint16_t stored = StoredCrc(f_.data() + at + covered);
        if (want != stored)
            Problem(what + " at " + std::to_string(at) + ": CRC " + HexWord(stored) + " stored, " +
                    HexWord(want) + " computed over " + std::to_string(covered) + " bytes");
    }

    void ReadTrailer() {
        const size_t trailer = f_.size() - kTailRecord + kTrailerInTail;
        Dwg12TrailerPositions &l = report_->layout;
        l.entities_start = U32(f_, trailer);
        l.entities_end = U32(f_, trailer + 4);
        l.blocks_start = U32(f_, trailer + 8);
        l.extra_start = U32(f_, trailer + 12);
        for (int t = 0; t < 10; ++t) {
            const size_t d = trailer + kDescriptorBase + 10 * static_cast<size_t>(t);
            l.tables[t].id = U16(f_, d);
            l.tables[t].record_size = U16(f_, d + 2);
            l.tables[t].count = static_cast<int16_t>(U16(f_, d + 4));
            l.tables[t].position = U32(f_, d + 6);
        }
        for (size_t i = 16; i < 26; ++i) {
            if (f_[trailer + i] != 0)
                Problem("trailer byte " + std::to_string(i) + " is not zero");
        }
        if (U16(f_, trailer + 26) != 10)
            Problem("trailer bytes 26 and 27 do not hold 10");
    }

    void CheckTail(size_t tail) {
        if (U16(f_, tail) != 0x10 || U16(f_, tail + 2) != 0x8A)
            Problem("the tail record does not begin with 0x10, 0x8A");
        if (U32(f_, tail + 132) != tail - 16)
            Problem("the tail record's own position less 16 is " +
                    std::to_string(U32(f_, tail + 132)) + ", not " + std::to_string(tail - 16));
    }

    // The header's copies of the section positions and the two top-byte marks.
    void CheckHeaderCopies() {
        const Dwg12TrailerPositions &l = report_->layout;
        const struct {
            size_t at;
            uint32_t want;
            const char *what;
        } copies[] = {{0x14, l.entities_start, "entities_start"},
                      {0x18, l.entities_end, "entities_end"},
                      {0x1C, l.blocks_start, "blocks_start"},
                      {0x24, l.extra_start, "extra_start"}};
        for (const auto &c : copies) {
            if (U32(f_, c.at) != c.want)
                Problem(std::string("the header's copy of ") + c.what + " at " +
                        HexWord(static_cast<uint32_t>(c.at)) + " is " +
                        std::to_string(U32(f_, c.at)) + ", the trailer has " +
                        std::to_string(c.want));
        }
        if (f_[0x23] != 0x40)
            Problem("the block section size at 0x20 lacks 0x40 in its top byte");
        if (U32(f_, 0x28) != 0x80000000u)
            Problem("the word at 0x28 is not 0 with 0x80 in its top byte");
    }

    // The 16 fixed bytes behind the header block, where the entity section begins.
    void CheckSentinel() {
        static const uint8_t kSentinel[16] = {0xC4, 0x6E, 0x68, 0x54, 0xF8, 0x6E, 0x33, 0x30,
                                              0x63, 0x3E, 0xC1, 0x85, 0x2A, 0xDC, 0x94, 0x01};
        if (std::memcmp(f_.data() + kHeaderBlock, kSentinel, sizeof kSentinel) != 0)
            Problem("the 16 bytes at 1727 are not the sentinel");
        if (report_->layout.entities_start != kHeaderBlock + sizeof kSentinel)
            Problem("the entity section begins at " +
                    std::to_string(report_->layout.entities_start) + ", not behind the sentinel");
    }

    // Frames from `from` to `to`, one after the other; each one's CRC. Their starts go to
    // `starts` when it is given. The number of frames.
    int Frames(const std::string &section, uint64_t from, uint64_t to, std::set<size_t> *starts) {
        if (from > to || !Inside(to, 0)) {
            Problem("the " + section + " from " + std::to_string(from) + " to " +
                    std::to_string(to) + " does not lie in the file");
            return 0;
        }
        int frames = 0;
        uint64_t at = from;
        while (at < to) {
            if (at + kFrameHead + 2 > to) {
                Problem("the " + section + " ends inside a frame head at " + std::to_string(at));
                return frames;
            }
            const int16_t length = static_cast<int16_t>(U16(f_, static_cast<size_t>(at) + 2));
            if (length < static_cast<int16_t>(kFrameHead + 2) || at + uint64_t(length) > to) {
                Problem("the " + section + " has a frame of length " + std::to_string(length) +
                        " at " + std::to_string(at) + " (section end " + std::to_string(to) + ")");
                return frames;
            }
            if (starts)
                starts->insert(static_cast<size_t>(at));
            CheckCrc("the " + section + " frame " + std::to_string(frames) + " (code " +
                         std::to_string(f_[static_cast<size_t>(at)]) + ")",
                     static_cast<size_t>(at), static_cast<size_t>(length) - 2);
            at += static_cast<uint64_t>(length);
            ++frames;
        }
        return frames;
    }

    void Gap(const std::string &what, uint64_t at) {
        if (!Inside(at, kGap)) {
            Problem("the 32 zero bytes " + what + " at " + std::to_string(at) +
                    " run past the end of the file");
            return;
        }
        for (size_t i = 0; i < kGap; ++i) {
            if (f_[static_cast<size_t>(at) + i] != 0) {
                Problem("the 32 bytes " + what + " at " + std::to_string(at) + " are not all zero");
                return;
            }
        }
    }

    void Table(int t) {
        const Dwg12TrailerPositions::Table &d = report_->layout.tables[t];
        const std::string name = "table " + std::to_string(t);
        if (d.id != t)
            Problem(name + ": the descriptor's id is " + std::to_string(d.id));
        if (d.count < 0 || (d.count > 0 && d.record_size < 3)) {
            Problem(name + ": " + std::to_string(d.count) + " records of " +
                    std::to_string(d.record_size) + " bytes");
            return;
        }
        const uint64_t size = uint64_t(d.record_size) * uint64_t(d.count);
        if (!Inside(d.position, size)) {
            Problem(name + ": " + std::to_string(d.count) + " records from " +
                    std::to_string(d.position) + " run past the end of the file");
            return;
        }
        for (int i = 0; i < d.count; ++i) {
            CheckCrc(name + " record " + std::to_string(i),
                     d.position + static_cast<size_t>(i) * d.record_size, d.record_size - 2u);
            ++report_->table_records;
        }
        Gap("after " + name, d.position + size);
    }

    // Each block table record that is not deleted points at a block start frame: the
    // offset at byte 35, 24 bits from blocks_start, with 0x40 in its top byte.
    void BlockOffsets(const std::set<size_t> &starts) {
        const Dwg12TrailerPositions::Table &d = report_->layout.tables[kBlockTable];
        if (d.count <= 0 || d.record_size < kBlockOffsetInRecord + 4 ||
            !Inside(d.position, uint64_t(d.record_size) * uint64_t(d.count)))
            return;
        for (int i = 0; i < d.count; ++i) {
            const size_t record = d.position + static_cast<size_t>(i) * d.record_size;
            if (f_[record] & 0x80)
                continue;
            const uint32_t word = U32(f_, record + kBlockOffsetInRecord);
            const size_t at = report_->layout.blocks_start + (word & 0xFFFFFFu);
            const std::string name = "block table record " + std::to_string(i);
            if ((word >> 24) != 0x40)
                Problem(name + ": the entity offset lacks 0x40 in its top byte");
            if (!starts.count(at) || f_[at] != kBlockStartCode)
                Problem(name + ": the entity offset leads to " + std::to_string(at) +
                        ", which is no block start frame");
        }
    }

    const std::vector<uint8_t> &f_;
    Dwg12CrcReport *report_;
};

} // namespace

std::string Dwg12CrcReport::Describe(size_t limit) const {
    std::string text;
    for (size_t i = 0; i < problems.size() && i < limit; ++i)
        text += "  " + problems[i] + "\n";
    if (problems.size() > limit)
        text += "  ... and " + std::to_string(problems.size() - limit) + " more\n";
    return text;
}

Dwg12CrcReport WalkDwg12Crcs(const std::vector<uint8_t> &file) {
    Dwg12CrcReport report;
    Walker(file, &report).Run();
    return report;
}

} // namespace velko_test
