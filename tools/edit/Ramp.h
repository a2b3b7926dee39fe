// Numbers in even steps from a first to a last one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tyksim {

/// Which of the selected frames a value is for: a ramp goes from the first to the last.
struct FrameTurn {
    size_t index = 0;
    size_t count = 1;  ///< less than 2^31
};

/// A ramp over the selected frames, both ends included as they are given. Integers are exact over
/// all 64 bits, halves rounded up; what lies between finite floats is finite.
class Ramp {
public:
    enum class Kind { kSigned, kUnsigned, kReal };

    /// None where an end is no finite number of that kind.
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
    uint64_t integerFirst_ = 0;  ///< of signed numbers the distance from the least
    uint64_t integerLast_ = 0;
};

}  // namespace tyksim
