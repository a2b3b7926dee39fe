// Compares two files byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// Part of a file that the comparison ignores.
struct ByteRange {
    uint64_t offset;
    uint64_t bytes;
    uint8_t bits = 0xff;  ///< the ignored bits of each byte
};

/// Clears the ignored bits of `bytes` bytes of a file, from its byte `offset` on.
void blank(std::vector<uint8_t>& piece, uint64_t offset, size_t bytes, const ByteRange& range);

struct FileDifference {
    uint64_t bytesA = 0;  ///< lengths
    uint64_t bytesB = 0;
    std::optional<uint64_t> first;  ///< offset of the first byte that differs or only one file has
    uint64_t different = 0;         ///< bytes that differ or only one file has
    std::string problem;            ///< path and reason if a file cannot be read; else ""

    bool same() const { return problem.empty() && different == 0; }
};

/// Compares files a piece at a time. One thread at a time uses an object.
class FileComparer {
public:
    /// Bytes in `ignored` count as equal if both files have them.
    FileDifference compare(const std::string& pathA, const std::string& pathB,
                           const std::vector<ByteRange>& ignored = {});

private:
    std::vector<uint8_t> a_;
    std::vector<uint8_t> b_;
};

}  // namespace tyksim
