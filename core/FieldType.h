// The types of a value's fields, for the scene record and for tag tables.
#pragma once

#include <cstdint>

/// What the bytes of a field mean. Numbers are little-endian.
enum class FieldType { u8, i8, u16, i16, u32, i32, u64, i64, f32, f64, text };

/// Calls `visit` with the zero of the type's elements (char for text) and returns what it returns.
template <typename Visit>
constexpr auto visitType(FieldType type, Visit visit) {
    switch (type) {
        case FieldType::u8:
            return visit(uint8_t{});
        case FieldType::i8:
            return visit(int8_t{});
        case FieldType::u16:
            return visit(uint16_t{});
        case FieldType::i16:
            return visit(int16_t{});
        case FieldType::u32:
            return visit(uint32_t{});
        case FieldType::i32:
            return visit(int32_t{});
        case FieldType::u64:
            return visit(uint64_t{});
        case FieldType::i64:
            return visit(int64_t{});
        case FieldType::f32:
            return visit(float{});
        case FieldType::f64:
            return visit(double{});
        case FieldType::text:
            break;
    }
    return visit(char{});
}

/// Bytes of one element of the type.
constexpr uint32_t bytesOf(FieldType type) {
    return visitType(type, [](auto element) { return static_cast<uint32_t>(sizeof(element)); });
}
