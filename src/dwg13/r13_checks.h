// The checks (CRCs) of a release 13 DWG, as real files carry them. Every one is the DWG
// CRC of io/crc16.h (start 0xC0C1):
//  - an object's, over its size word and its data, in its last two bytes, low byte first;
//  - an object map section's, over its size word and its pairs, behind them, high byte
//    first (the closing section 00 02 thus ends in 01 D0);
//  - the file head's, over the head up to its section records' end, behind them, low byte
//    first;
//  - a section's that real files frame (16-byte begin mark, 32-bit data size, the data, the
//    check, 16-byte end mark, as the header variables), over its size and data, low byte
//    first.
// The original writer of this library puts FF FF where the object and the map section
// checks stand and leaves the head's check as the source had it; on the interoperable road
// (CDB_WRITE_REAL_CRCS) the writer computes them with these functions.
#ifndef VELKO_R13_CHECKS_H
#define VELKO_R13_CHECKS_H

#include <cstddef>
#include <cstdint>

// The fixed check of the original writer.
constexpr uint16_t kR13FixedCheck = 0xFFFF;

// Puts the check of the object of `size` bytes (size word, data, check) into its last two
// bytes: the computed one when `real`, otherwise FF FF. Objects under 4 bytes stay as
// they are.
void R13SealObject(uint8_t *object, size_t size, bool real);

// The check of a map section whose size word and pairs are the `size` bytes at `section`.
uint16_t R13MapSectionCheck(const uint8_t *section, size_t size);

// The begin mark of the header variables section in real files.
extern const uint8_t kR13HeaderBeginMark[16];

// Makes the framed section of `size` bytes that opens with `begin_mark` agree with its
// length: its data size is the length less the frame, and its check is put anew. A section
// that does not open with the mark (as the header that this library encodes itself, which
// has no frame) or is too short for the frame stays as it is.
void R13SealFramedSection(uint8_t *section, size_t size, const uint8_t *begin_mark);

// Where the file head's check stands (the end of its section records), or 0 when the head
// of `size` bytes is too short to hold its records and check.
size_t R13HeadCheckAt(const uint8_t *head, size_t size);
// The check of the head: over its bytes in front of R13HeadCheckAt.
uint16_t R13HeadCheck(const uint8_t *head, size_t check_at);

#endif
