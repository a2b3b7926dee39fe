#include "tags/dwarf/ElfFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <elfutils/libdwelf.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <zlib.h>

namespace tyktags {

namespace {

constexpr uint64_t kMostDecompressed = uint64_t{2} << 30;
constexpr unsigned kZstd = 2;  // ELFCOMPRESS_ZSTD, which older headers do not have

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

// The size of a compressed section after decompression; 0 for a section that is not compressed.
uint64_t decompressedSize(Elf_Scn* section, const GElf_Shdr& header, const std::string& name) {
    if ((header.sh_flags & SHF_COMPRESSED) != 0) {
        GElf_Chdr compressed{};
        return gelf_getchdr(section, &compressed) ? compressed.ch_size : 0;
    }
    if (!startsWith(name, ".zdebug_")) return 0;
    const ssize_t size = dwelf_scn_gnu_compressed_size(section);
    return size > 0 ? static_cast<uint64_t>(size) : 0;
}

// Why elfutils cannot decompress a section.
std::string decompressionError(Elf_Scn* section) {
    std::string error = elf_errmsg(-1);
    GElf_Chdr compressed{};
    if (gelf_getchdr(section, &compressed) && compressed.ch_type == kZstd) {
        return "it is compressed with Zstandard, which the installed elfutils does not read; "
               "objcopy --decompress-debug-sections undoes it";
    }
    return error;
}

}  // namespace

std::string hexadecimal(const uint8_t* bytes, size_t count) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

Problem ElfFile::flaw(std::string expected, std::string found, std::string reason) const {
    return {path_, std::move(expected), std::move(found), std::move(reason)};
}

Result<ElfFile> ElfFile::open(const std::string& path) {
    ElfFile file;
    file.path_ = path;
    Status status = file.openFile();
    if (status.ok()) status = file.checkStart();
    if (status.ok()) status = file.readSections();
    if (!status.ok()) return status.problem();
    file.readLinks();
    return file;
}

Status ElfFile::openFile() {
    descriptor_ =
        tykcore::Descriptor(tykcore::openNow(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    struct stat status {};
    if (!descriptor_.isOpen() || ::fstat(descriptor_.number(), &status) != 0) {
        return flaw("an ELF file", "no readable file", systemReason(errno));
    }
    if (S_ISDIR(status.st_mode)) return flaw("an ELF file", systemReason(EISDIR));
    if (!S_ISREG(status.st_mode)) return flaw("an ELF file", "no regular file");
    return {};
}

Status ElfFile::checkStart() const {
    std::array<char, EI_NIDENT> start{};
    const ssize_t count = ::pread(descriptor_.number(), start.data(), start.size(), 0);
    if (count < 0) return flaw("an ELF file", "no bytes", systemReason(errno));
    const std::string_view text(start.data(), static_cast<size_t>(count));
    if (startsWith(text, "!<arch>")) {
        return flaw("an ELF file", "an archive of several; link them or extract one");
    }
    if (text.size() < start.size() || !startsWith(text, ELFMAG)) {
        return flaw("an ELF file", text.empty() ? "an empty file" : "a file of another kind");
    }
    if (start[EI_DATA] == ELFDATA2MSB) {
        return flaw("an ELF file of a little-endian architecture",
                    "one of a big-endian architecture");
    }
    return {};
}

Status ElfFile::readSections() {
    elf_version(EV_CURRENT);
    elf_.reset(elf_begin(descriptor_.number(), ELF_C_READ, nullptr));
    if (!elf_ || elf_kind(elf_.get()) != ELF_K_ELF || !gelf_getehdr(elf_.get(), &header_)) {
        return flaw("an ELF file", "damage", elf_errmsg(-1));
    }
    size_t names = 0;
    if (elf_getshdrstrndx(elf_.get(), &names) != 0) {
        return flaw("a table of sections", "damage", elf_errmsg(-1));
    }
    Elf_Scn* section = nullptr;
    while ((section = elf_nextscn(elf_.get(), section))) {
        GElf_Shdr header{};
        const char* const name = gelf_getshdr(section, &header)
                                     ? elf_strptr(elf_.get(), names, header.sh_name)
                                     : nullptr;
        if (!name) return flaw("a table of sections", "damage", elf_errmsg(-1));
        if (header.sh_type == SHT_NOBITS || header.sh_size == 0) continue;
        if (Status status = readSection(section, name); !status.ok()) return status;
    }
    return {};
}

Status ElfFile::readSection(Elf_Scn* section, const std::string& name) {
    const bool gnu = startsWith(name, ".zdebug_");
    if (!gnu && !startsWith(name, ".debug_")) return {};
    const std::string kind = name.substr(gnu ? 8 : 7);
    const bool types = kind == "info" || kind == "types";
    if (types && !sections_.insert(kind).second) {
        return flaw("one section of debug information",
                    "several, in an object file that was not linked yet");
    }
    if (kind == "info.dwo") isSplitPart_ = true;

    GElf_Shdr header{};
    gelf_getshdr(section, &header);
    const bool compressed = (header.sh_flags & SHF_COMPRESSED) != 0;
    if (!compressed && !gnu) return checkTexts(section, name);
    decompressed_ += std::min(decompressedSize(section, header, name), kMostDecompressed + 1);
    if (decompressed_ > kMostDecompressed) {
        return flaw("at most " + std::to_string(kMostDecompressed) +
                        " bytes of decompressed debug information",
                    "more");
    }
    // Decompresses now, because a later failure would silently lose all names in the section.
    if ((compressed ? elf_compress(section, 0, 0) : elf_compress_gnu(section, 0, 0)) < 0) {
        Problem problem = flaw("compressed bytes", "damage", decompressionError(section));
        problem.where = "section " + name;
        return problem;
    }
    return checkTexts(section, name);
}

// libdw reads the last text of a section beyond its end if it does not end in a NUL.
Status ElfFile::checkTexts(Elf_Scn* section, const std::string& name) const {
    if (name.find("_str") == std::string::npos || name.find("_offsets") != std::string::npos) {
        return {};
    }
    const Elf_Data* const data = elf_getdata(section, nullptr);
    if (!data) return flaw("a section of texts", "damage", elf_errmsg(-1));
    const std::string_view texts(static_cast<const char*>(data->d_buf), data->d_size);
    if (texts.empty() || texts.back() == '\0') return {};
    Problem problem = flaw("texts that end in a NUL", "a last text without an end");
    problem.where = "section " + name;
    return problem;
}

void ElfFile::readLinks() {
    const void* id = nullptr;
    const ssize_t bytes = dwelf_elf_gnu_build_id(elf_.get(), &id);
    if (bytes > 0)
        buildId_ = hexadecimal(static_cast<const uint8_t*>(id), static_cast<size_t>(bytes));
    GElf_Word sum = 0;
    if (const char* const link = dwelf_elf_gnu_debuglink(elf_.get(), &sum)) {
        debugLink_ = link;
        debugLinkSum_ = sum;
    }
}

std::optional<uint32_t> ElfFile::checksum() const {
    std::array<uint8_t, 65536> part{};
    uLong sum = crc32_z(0, nullptr, 0);
    off_t at = 0;
    while (true) {
        const ssize_t count = ::pread(descriptor(), part.data(), part.size(), at);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) return static_cast<uint32_t>(sum);
        sum = crc32_z(sum, part.data(), static_cast<size_t>(count));
        at += count;
    }
}

}  // namespace tyktags
