// Little-endian numbers in byte sequences. Threads: any.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace tyksim {

/// The bits of a number; those of a float fill the low 32.
template <typename Value>
uint64_t numberBits(Value value) {
    static_assert(std::is_arithmetic_v<Value> && !std::is_same_v<Value, double>, "stored as it is");
    if constexpr (std::is_same_v<Value, float>) {
        uint32_t pattern = 0;
        std::memcpy(&pattern, &value, sizeof(pattern));
        return pattern;
    } else {
        return static_cast<uint64_t>(value);
    }
}

/// Stores the low `size` bytes of `bits` at `offset`, where `bytes` must have room for them.
inline void storeBits(std::vector<uint8_t>& bytes, size_t offset, size_t size, uint64_t bits) {
    for (size_t i = 0; i < size; ++i) bytes[offset + i] = static_cast<uint8_t>(bits >> (8 * i));
}

/// The numbers in sequence, each in its own width.
template <typename... Values>
std::vector<uint8_t> packed(Values... values) {
    std::vector<uint8_t> bytes((sizeof(Values) + ... + 0));
    size_t at = 0;
    (..., (storeBits(bytes, at, sizeof(Values), numberBits(values)), at += sizeof(Values)));
    return bytes;
}

}  // namespace tyksim
