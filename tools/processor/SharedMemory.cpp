#include "tools/processor/SharedMemory.h"

#include "tools/console/Console.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tyksim {

namespace {

[[noreturn]] void throwFailure(const char* what) {
    throw Failure(
        fmt::format("memory for the processor: cannot be {}: {}", what, systemReason(errno)));
}

uint64_t rounded(uint64_t bytes, uint64_t unit) {
    return (bytes + unit - 1) / unit * unit;
}

}  // namespace

SharedMemory::SharedMemory(const char* name)
    : descriptor_(::memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    if (!descriptor_.isOpen()) throwFailure("made");
    // Prevents shrinking: reading mapped memory beyond the end of a file ends the process by a
    // signal.
    if (::fcntl(descriptor(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_SEAL) != 0) {
        throwFailure("sealed");
    }
}

SharedMemory::~SharedMemory() {
    if (data_) ::munmap(data_, size_);
}

void SharedMemory::map(uint64_t size) {
    void* const mapped =
        data_ ? ::mremap(data_, size_, size, MREMAP_MAYMOVE)
              : ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor(), 0);
    if (mapped == MAP_FAILED) throwFailure("mapped");
    data_ = static_cast<uint8_t*>(mapped);
    size_ = size;
}

Piece SharedMemory::add(uint64_t bytes) {
    constexpr uint64_t kUnit = uint64_t{1} << 16;
    const Piece piece{rounded(used_, kPieceAlignment), bytes};
    const uint64_t end = piece.at + bytes;
    if (end > size_) {
        refresh();  // the reader may have made it longer
        // Doubles the size, so that not every small piece needs a new mapping.
        const uint64_t size = rounded(std::max(end, 2 * size_), kUnit);
        if (end > size_) {
            if (::ftruncate(descriptor(), static_cast<off_t>(size)) != 0) throwFailure("extended");
            map(size);
        }
    }
    used_ = end;
    return piece;
}

Piece SharedMemory::add(const void* data, uint64_t bytes) {
    const Piece piece = add(bytes);
    if (bytes > 0) std::memcpy(at(piece), data, bytes);
    return piece;
}

void SharedMemory::refresh() {
    struct stat status {};
    if (::fstat(descriptor(), &status) != 0) throwFailure("measured");
    const auto size = static_cast<uint64_t>(status.st_size);
    if (size > size_) map(size);
}

const uint8_t* SharedMemory::find(const Piece& piece) const {
    const bool within = piece.at <= size_ && piece.bytes <= size_ - piece.at;
    return within && data_ && piece.at % kPieceAlignment == 0 ? data_ + piece.at : nullptr;
}

}  // namespace tyksim
