// Numbers in equal steps from a first to a last one. A value; several threads may read it at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tyksim {

/// The position of a frame among the selected ones, over which a ramp runs.
struct FrameTurn {
    size_t index = 0;
    size_t count = 1;  ///< less than 2^31
};

/// A ramp over the selected frames, with exactly the given ends. Integers are exact over all 64
/// bits, with halves rounded up; values between finite floats are finite.
class Ramp {
public:
    enum class Kind { kSigned, kUnsigned, kReal };

    /// Returns none if an end is not a finite number of that kind.
    static std::optional<Ramp> make(std::string_view first, std::string_view last, Kind kind);

    /// The value of a frame, in decimal.
    std::string at(FrameTurn turn) const;

private:
    std::string integerAt(FrameTurn turn) const;
    double realAt(FrameTurn turn) const;

    Kind kind_ = Kind::kReal;
    std::string first_;
    std::string last_;
    double realFirst_ = 0;
    double realLast_ = 0;
    uint64_t integerFirst_ = 0;  ///< for signed numbers the distance from the least one
    uint64_t integerLast_ = 0;
};

}  // namespace tyksim
