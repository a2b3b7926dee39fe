// Numbers as text for people. Threads: any.
#pragma once

#include "tags/Words.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

/// "312 B", "4.1 kB", "18.2 MB": powers of 1000, three digits at most.
std::string humanBytes(uint64_t bytes);

/// "40 ms", "1.204 s", "2 min 05 s", "3 h 20 min".
std::string humanTime(int64_t milliseconds);

/// "7 s", "2 min 05 s", "3 h 20 min".
std::string humanSeconds(int64_t seconds);

/// "3, 7..9, 12" for ranges with both ends included; after `most` ranges "and 5 more".
std::string rangesText(const std::vector<std::pair<int64_t, int64_t>>& ranges, size_t most = 8);

/// Joins sorted numbers to ranges.
std::vector<std::pair<int64_t, int64_t>> rangesOf(const std::vector<int64_t>& sorted);

/// "8 ns" of a value in words and its unit; either may be "".
std::string withUnit(const std::string& value, const std::string& unit);

using tyktags::counted;

}  // namespace tyksim
