#include "tools/edit/Ramp.h"

#include "tags/Digits.h"
#include "tags/FieldCodec.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

constexpr uint64_t kSignBit = uint64_t{1} << 63;

bool parseFinite(const std::string& text, double& number) {
    char* end = nullptr;
    number = std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size() && std::isfinite(number);
}

/// Parses an integer and maps it to an unsigned number, which keeps the order.
std::optional<uint64_t> rankOf(std::string_view text, Ramp::Kind kind) {
    if (kind == Ramp::Kind::kUnsigned) return tyktags::parseDigits<uint64_t>(text);
    const auto integer = tyktags::parseDigits<int64_t>(text);
    if (!integer) return std::nullopt;
    return static_cast<uint64_t>(*integer) ^ kSignBit;
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
    if (kind == Kind::kReal) {
        const bool finite =
            parseFinite(ramp.first_, ramp.realFirst_) && parseFinite(ramp.last_, ramp.realLast_);
        return finite ? std::optional<Ramp>(std::move(ramp)) : std::nullopt;
    }
    const std::optional<uint64_t> firstRank = rankOf(first, kind);
    const std::optional<uint64_t> lastRank = rankOf(last, kind);
    if (!firstRank || !lastRank) return std::nullopt;
    ramp.integerFirst_ = *firstRank;
    ramp.integerLast_ = *lastRank;
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
