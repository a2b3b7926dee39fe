// Opens an ELF file and reads its build id and its kinds of debug information. Threads: one at a
// time. Errors: std::bad_alloc.
#pragma once

#include "core/Descriptor.h"
#include "tags/Problem.h"

#include <cstdint>
#include <gelf.h>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace tyktags {

std::string hexadecimal(const uint8_t* bytes, size_t count);

/// An open ELF file of a little-endian architecture. It is read and not mapped: if the file becomes
/// shorter, reading fails, but a mapping would end the process by a signal.
class ElfFile {
public:
    /// Opens a regular file and reads its table of sections. Decompresses the sections of debug
    /// information, up to 2 GiB in total.
    static Result<ElfFile> open(const std::string& path);

    const std::string& path() const { return path_; }
    Elf* elf() const { return elf_.get(); }
    int descriptor() const { return descriptor_.number(); }
    const GElf_Ehdr& header() const { return header_; }

    /// The build id in hexadecimal; "" if the file has none.
    const std::string& buildId() const { return buildId_; }

    /// The name of the separate file with its debug information, and that file's checksum; "" if it
    /// has none.
    const std::string& debugLink() const { return debugLink_; }
    uint32_t debugLinkSum() const { return debugLinkSum_; }

    /// The checksum of the whole file, in the form of a debug link; none if reading fails.
    std::optional<uint32_t> checksum() const;

    bool hasDebugInformation() const { return !sections_.empty(); }
    /// Whether it is a .dwo file, with the debug information of one source file.
    bool isSplitPart() const { return isSplitPart_; }

private:
    struct Close {
        void operator()(Elf* elf) const { elf_end(elf); }
    };

    ElfFile() = default;
    Status openFile();
    Status checkStart() const;
    Status readSections();
    Status readSection(Elf_Scn* section, const std::string& name);
    Status checkTexts(Elf_Scn* section, const std::string& name) const;
    void readLinks();
    Problem flaw(std::string expected, std::string found, std::string reason = "") const;

    std::string path_;
    tykcore::Descriptor descriptor_;
    std::unique_ptr<Elf, Close> elf_;
    GElf_Ehdr header_{};
    std::string buildId_;
    std::string debugLink_;
    uint32_t debugLinkSum_ = 0;
    std::set<std::string> sections_;  ///< kinds of debug information in the file
    uint64_t decompressed_ = 0;
    bool isSplitPart_ = false;
};

}  // namespace tyktags
