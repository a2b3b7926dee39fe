#include "tree/read/FileBytes.h"

#include "tree/read/Checksum.h"
#include "tree/read/RegularFile.h"

#include <algorithm>

namespace tyktree {

namespace {

using tyktags::Result;

constexpr size_t kPieceBytes = size_t{128} * 1024;

/// Reads the beginning of the open file.
void readBeginning(RegularFile& file, uint64_t limit, std::vector<uint8_t>& out) {
    out.resize(static_cast<size_t>(std::min(file.size(), limit)));
    out.resize(file.read(out.data(), out.size()));
}

Result<uint64_t> sizeOf(const RegularFile& file) {
    if (!file.status().ok()) return file.status().problem();
    return file.size();
}

}  // namespace

Result<uint64_t> readFileBytes(const std::string& path, uint64_t limit, std::vector<uint8_t>& out) {
    RegularFile file(path);
    readBeginning(file, limit, out);
    return sizeOf(file);
}

Result<uint64_t> readSummedFile(const std::string& path, uint64_t limit, std::vector<uint8_t>& out,
                                uint32_t& sum) {
    RegularFile file(path);
    readBeginning(file, limit, out);
    sum = checksum(out.data(), out.size());
    if (file.size() <= out.size()) return sizeOf(file);
    std::vector<uint8_t> piece(kPieceBytes);
    while (const size_t count = file.read(piece.data(), piece.size())) {
        sum = checksum(piece.data(), count, sum);
    }
    return sizeOf(file);
}

}  // namespace tyktree
