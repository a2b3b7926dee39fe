#include "tools/diff/FileDifference.h"

#include "tree/read/Escape.h"
#include "tree/read/RegularFile.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

namespace tyksim {

namespace {

constexpr size_t kPieceBytes = size_t{128} * 1024;

FileDifference unreadable(const tyktags::Problem& problem) {
    FileDifference result;
    result.problem =
        fmt::format("{}: cannot be read: {}", tyktree::escaped(problem.path), problem.reason);
    return result;
}

}  // namespace

void blank(std::vector<uint8_t>& piece, uint64_t offset, size_t bytes, const ByteRange& range) {
    const uint64_t from = std::max(range.offset, offset);
    const uint64_t to = std::min(range.offset + range.bytes, offset + bytes);
    for (uint64_t at = from; at < to; ++at) {
        piece[static_cast<size_t>(at - offset)] &= static_cast<uint8_t>(~range.bits);
    }
}

FileDifference FileComparer::compare(const std::string& pathA, const std::string& pathB,
                                     const std::vector<ByteRange>& ignored) {
    tyktree::RegularFile fileA(pathA);
    if (!fileA.status().ok()) return unreadable(fileA.status().problem());
    tyktree::RegularFile fileB(pathB);
    if (!fileB.status().ok()) return unreadable(fileB.status().problem());
    a_.resize(kPieceBytes);
    b_.resize(kPieceBytes);
    FileDifference result;
    result.bytesA = fileA.size();
    result.bytesB = fileB.size();
    uint64_t offset = 0;
    for (;;) {
        const size_t gotA = fileA.read(a_.data(), kPieceBytes);
        if (!fileA.status().ok()) return unreadable(fileA.status().problem());
        const size_t gotB = fileB.read(b_.data(), kPieceBytes);
        if (!fileB.status().ok()) return unreadable(fileB.status().problem());
        const size_t both = std::min(gotA, gotB);
        for (const ByteRange& range : ignored) {
            blank(a_, offset, both, range);
            blank(b_, offset, both, range);
        }
        if (std::memcmp(a_.data(), b_.data(), both) != 0) {
            for (size_t i = 0; i < both; ++i) {
                if (a_[i] == b_[i]) continue;
                if (!result.first) result.first = offset + i;
                ++result.different;
            }
        }
        offset += both;
        if (both < kPieceBytes) break;
    }
    const uint64_t shorter = std::min(result.bytesA, result.bytesB);
    const uint64_t more = std::max(result.bytesA, result.bytesB) - shorter;
    if (more > 0 && !result.first) result.first = shorter;
    result.different += more;
    return result;
}

}  // namespace tyksim
