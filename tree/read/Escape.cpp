#include "tree/read/Escape.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace tyktree {

namespace {

/// One step through a text: a character, or a byte that is not part of one.
struct Step {
    size_t bytes = 1;
    uint32_t character = 0;
    bool wellFormed = false;
};

Step stepAt(std::string_view text, size_t at) {
    const auto byte = [text](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t first = byte(at);
    Step step;
    step.character = first;
    if (first < 0x80) {
        step.wellFormed = true;
        return step;
    }
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() - at < length) return step;
    uint32_t character = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0U) != 0x80U) return step;
        character = (character << 6U) | (byte(at + i) & 0x3FU);
    }
    const bool overlong =
        (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (overlong || surrogate || character > 0x10FFFF) return step;
    return {length, character, true};
}

/// Characters that must be escaped: controls, and those that change a line's direction or break it.
bool isHarmful(uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) ||
           (character >= 0x200E && character <= 0x200F) ||
           (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069) || character == 0xFEFF;
}

std::string spelledOut(const Step& step) {
    char digits[16];
    if (!step.wellFormed || step.bytes == 1) {
        if (step.character == '\n') return "\\n";
        if (step.character == '\t') return "\\t";
        static_cast<void>(std::snprintf(digits, sizeof(digits), "\\x%02X", step.character));
    } else {
        static_cast<void>(std::snprintf(digits, sizeof(digits), "\\u{%04X}", step.character));
    }
    return digits;
}

}  // namespace

std::string escaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const Step step = stepAt(text, at);
        if (step.wellFormed && !isHarmful(step.character)) {
            result.append(text.substr(at, step.bytes));
        } else {
            result += spelledOut(step);
        }
        at += step.bytes;
    }
    return result;
}

bool isUtf8(std::string_view text) {
    for (size_t at = 0; at < text.size();) {
        const Step step = stepAt(text, at);
        if (!step.wellFormed) return false;
        at += step.bytes;
    }
    return true;
}

std::string toUtf8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const Step step = stepAt(text, at);
        if (step.wellFormed) {
            result.append(text.substr(at, step.bytes));
        } else {
            result += "\xEF\xBF\xBD";
        }
        at += step.bytes;
    }
    return result;
}

}  // namespace tyktree
