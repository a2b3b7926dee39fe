// Finds, checks and opens the file with a library's debug information. Threads: one at a time.
// Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tags/dwarf/ElfFile.h"

#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tyktags {

/// Open debug information. A move keeps the addresses of its parts.
class DebugFile {
public:
    /// See DebugTypes::open().
    static Result<DebugFile> open(const std::string& library, const std::string& debugFile);

    const std::string& path() const { return elf_.path(); }

    /// All parts: the file's, those of the .dwo files that its units name, and that of the file
    /// that several libraries share.
    const std::vector<Dwarf*>& parts() const { return parts_; }

private:
    struct CloseDwarf {
        void operator()(Dwarf* dwarf) const { dwarf_end(dwarf); }
    };
    struct CloseSession {
        void operator()(Dwfl* session) const { dwfl_end(session); }
    };

    explicit DebugFile(ElfFile elf) : elf_(std::move(elf)) {}
    Status openDwarf(const std::string& given);
    Result<Dwarf*> openRelocated();
    Status openShared(Dwarf* main, const std::string& given);
    Status findParts(Dwarf* main);

    ElfFile elf_;
    std::optional<ElfFile> shared_;
    std::unique_ptr<Dwarf, CloseDwarf> sharedDwarf_;  // outlives those that refer to it
    std::unique_ptr<Dwarf, CloseDwarf> dwarf_;
    std::unique_ptr<Dwfl, CloseSession> session_;
    std::vector<Dwarf*> parts_;
};

}  // namespace tyktags
