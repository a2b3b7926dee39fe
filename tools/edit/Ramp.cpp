#include "tools/edit/Ramp.h"

#include "tags/FieldCodec.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace tyksim {

namespace {

constexpr uint64_t kSignBit = uint64_t{1} << 63;

template <typename Integer>
bool parse(std::string_view text, Integer& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

bool parseFinite(const std::string& text, double& number) {
    char* end = nullptr;
    number = std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size() && std::isfinite(number);
}

/// Maps an integer to an unsigned number and keeps the order.
bool parseInteger(std::string_view text, Ramp::Kind kind, uint64_t& number) {
    if (kind == Ramp::Kind::kUnsigned) return parse(text, number);
    int64_t integer = 0;
    if (!parse(text, integer)) return false;
    number = static_cast<uint64_t>(integer) ^ kSignBit;
    return true;
}

/// `whole` * part / parts, halves rounded up, without overflow for parts below 2^31.
uint64_t share(uint64_t whole, uint64_t part, uint64_t parts) {
    const uint64_t rest = whole % parts;
    return whole / parts * part + (2 * rest * part + parts) / (2 * parts);
}

}  // namespace

std::optional<Ramp> Ramp::make(std::string_view first, std::string_view last, Kind kind) {
    Ramp ramp;
    ramp.kind_ = kind;
    ramp.first_ = first;
    ramp.last_ = last;
    const bool good = kind == Kind::kReal ? parseFinite(ramp.first_, ramp.realFirst_) &&
                                                parseFinite(ramp.last_, ramp.realLast_)
                                          : parseInteger(first, kind, ramp.integerFirst_) &&
                                                parseInteger(last, kind, ramp.integerLast_);
    if (!good) return std::nullopt;
    return ramp;
}

std::string Ramp::at(FrameTurn turn) const {
    if (turn.count <= 1 || turn.index == 0) return first_;
    if (turn.index + 1 >= turn.count) return last_;
    return kind_ == Kind::kReal ? tyktags::toText(tyktags::Value(realAt(turn))) : integerAt(turn);
}

/// Counts from the smaller end, so that a ramp and its reverse have the same values.
std::string Ramp::integerAt(FrameTurn turn) const {
    const bool rises = integerFirst_ <= integerLast_;
    const uint64_t least = std::min(integerFirst_, integerLast_);
    const uint64_t most = std::max(integerFirst_, integerLast_);
    const uint64_t steps = turn.count - 1;
    const uint64_t step = rises ? turn.index : steps - turn.index;
    const uint64_t number = least + share(most - least, step, steps);
    if (kind_ == Kind::kUnsigned) return fmt::to_string(number);
    return fmt::to_string(static_cast<int64_t>(number ^ kSignBit));
}

double Ramp::realAt(FrameTurn turn) const {
    const double part = static_cast<double>(turn.index) / static_cast<double>(turn.count - 1);
    // The distance between two numbers of the same sign is finite; a weighted mean of any two
    // numbers is finite too.
    const bool sameSign = std::signbit(realFirst_) == std::signbit(realLast_);
    const double value = sameSign ? realFirst_ + (realLast_ - realFirst_) * part
                                  : realFirst_ * (1 - part) + realLast_ * part;
    return std::clamp(value, std::min(realFirst_, realLast_), std::max(realFirst_, realLast_));
}

}  // namespace tyksim
