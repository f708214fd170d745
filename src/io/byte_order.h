// Fixed-size values in a byte order: the encoding of integers and IEEE doubles in the
// little-endian order of the drawing files (and the big-endian order of TrueType fonts),
// and the one bounds-checked way to reach a value at a fixed offset of a block of bytes.
//
// Decode and Encode take a pointer the caller has checked; ReadValueAt and WriteValueAt
// check the offset against the block's size themselves and leave everything untouched when
// the value does not lie wholly inside the block. Nothing here allocates or calls through
// a virtual function; all of it inlines.
#ifndef VELKO_IO_BYTE_ORDER_H
#define VELKO_IO_BYTE_ORDER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace byte_order_detail {

// The unsigned integer of a value's size, through which every value travels.
template <size_t Size> struct Bits;
template <> struct Bits<1> { using Type = uint8_t; };
template <> struct Bits<2> { using Type = uint16_t; };
template <> struct Bits<4> { using Type = uint32_t; };
template <> struct Bits<8> { using Type = uint64_t; };

template <typename T> using BitsOf = typename Bits<sizeof(T)>::Type;

template <typename T> constexpr bool kEncodable = std::is_arithmetic<T>::value;

constexpr bool HostIsLittleEndian() {
#if defined(__BYTE_ORDER__) && defined(__ORDER_LITTLE_ENDIAN__)
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
#else
    return false;
#endif
}

template <typename T> inline T FromBits(BitsOf<T> bits) {
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <typename T> inline BitsOf<T> ToBits(T value) {
    BitsOf<T> bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

} // namespace byte_order_detail

// Least significant byte first: the order of every DWG and binary DXF value.
struct LittleEndian {
    template <typename T> static T Decode(const uint8_t *p) {
        static_assert(byte_order_detail::kEncodable<T>, "a number is decoded");
        using Bits = byte_order_detail::BitsOf<T>;
        Bits bits = 0;
        if constexpr (byte_order_detail::HostIsLittleEndian()) {
            std::memcpy(&bits, p, sizeof bits);
        } else {
            for (size_t i = sizeof bits; i-- > 0;)
                bits = static_cast<Bits>(static_cast<uint64_t>(bits) << 8 | p[i]);
        }
        return byte_order_detail::FromBits<T>(bits);
    }
    template <typename T> static void Encode(uint8_t *p, T value) {
        static_assert(byte_order_detail::kEncodable<T>, "a number is encoded");
        const auto bits = byte_order_detail::ToBits(value);
        if constexpr (byte_order_detail::HostIsLittleEndian()) {
            std::memcpy(p, &bits, sizeof bits);
        } else {
            for (size_t i = 0; i < sizeof bits; ++i)
                p[i] = static_cast<uint8_t>(static_cast<uint64_t>(bits) >> (8 * i));
        }
    }
};

// Most significant byte first: the order of TrueType tables.
struct BigEndian {
    template <typename T> static T Decode(const uint8_t *p) {
        static_assert(byte_order_detail::kEncodable<T>, "a number is decoded");
        using Bits = byte_order_detail::BitsOf<T>;
        Bits bits = 0;
        for (size_t i = 0; i < sizeof bits; ++i)
            bits = static_cast<Bits>(static_cast<uint64_t>(bits) << 8 | p[i]);
        return byte_order_detail::FromBits<T>(bits);
    }
    template <typename T> static void Encode(uint8_t *p, T value) {
        static_assert(byte_order_detail::kEncodable<T>, "a number is encoded");
        const auto bits = byte_order_detail::ToBits(value);
        for (size_t i = 0; i < sizeof bits; ++i)
            p[i] = static_cast<uint8_t>(static_cast<uint64_t>(bits) >> (8 * (sizeof bits - 1 - i)));
    }
};

// True when `count` bytes from `offset` lie inside a block of `size` bytes.
inline bool SpanFits(size_t size, size_t offset, size_t count) {
    return offset <= size && count <= size - offset;
}

// The value at `offset` of the block `block[0 .. size)`, little-endian unless another
// order is named (ReadValueAt<BigEndian>(...)). False, with `value` untouched, when it does
// not lie wholly inside the block.
template <typename Order = LittleEndian, typename T>
inline bool ReadValueAt(const uint8_t *block, size_t size, size_t offset, T &value) {
    if (!SpanFits(size, offset, sizeof(T)))
        return false;
    value = Order::template Decode<T>(block + offset);
    return true;
}

// Stores `value` at `offset` of the block `block[0 .. size)`. False, with the block
// untouched, when it does not lie wholly inside the block.
template <typename Order = LittleEndian, typename T>
inline bool WriteValueAt(uint8_t *block, size_t size, size_t offset, T value) {
    if (!SpanFits(size, offset, sizeof(T)))
        return false;
    Order::Encode(block + offset, value);
    return true;
}

#endif
