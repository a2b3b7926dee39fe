// Integers in texts. These functions take digits alone, with a minus sign before them if the type
// is signed; parseInteger() of FieldCodec.h also takes whole decimals such as "4e3". They do not
// depend on the locale. Threads: any. Errors: none.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace tyktags {

/// Removes the integer that `text` begins with, up to its last digit, and returns it. None if
/// `text` begins with something else or the integer is out of the type's range; `text` is unchanged
/// then.
template <typename Integer>
std::optional<Integer> takeDigits(std::string_view& text, int base = 10) {
    Integer number{};
    const auto [stop, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<size_t>(stop - text.data()));
    return number;
}

/// Parses all of `text` as an integer. None for any other text, "" among them, and for an integer
/// out of the type's range.
template <typename Integer>
std::optional<Integer> parseDigits(std::string_view text, int base = 10) {
    const std::optional<Integer> number = takeDigits<Integer>(text, base);
    return text.empty() ? number : std::nullopt;
}

}  // namespace tyktags
