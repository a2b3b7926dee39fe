// Lists the files of frame folders, each through one descriptor, and reuses its buffers.
#pragma once

#include "core/TreeNames.h"
#include "tags/Problem.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// An entry's type; that of its target for a link.
enum class EntryType : uint8_t {
    kRegular,
    kFolder,
    kFifo,
    kSocket,
    kDevice,
    kBrokenLink,
    kUnknown
};

/// One entry of a frame folder.
struct FileEntry {
    enum class Kind : uint8_t {
        kParameter,     ///< the name is a parameter file's; `parameter` is set
        kBadParameter,  ///< begins like one but has too few pieces
        kImage,         ///< the name is an image's for the library; `image` is set
        kBadImage,      ///< begins or ends like one but has too few pieces
        kSceneXml,
        kSceneBlock,
        kForeign,
    };

    std::string_view name;  ///< raw bytes; valid until the listing is read again
    Kind kind = Kind::kForeign;
    EntryType type = EntryType::kUnknown;
    bool link = false;      ///< the entry is a symbolic link
    bool typeKnown = true;  ///< false: the file system gave no entry type
    uint32_t order = 0;     ///< position in the system's order, which is the library's
    uint64_t bytes = 0;     ///< length of a regular file
    bool readable = true;   ///< false: a regular file that the process may not read
    ParamFileName parameter{};
    ImageFileName image{};

    /// The size as the library takes it: the lower 32 bits as a signed number.
    int32_t librarySize() const { return static_cast<int32_t>(static_cast<uint32_t>(bytes)); }
    bool regular() const { return type == EntryType::kRegular; }
};

/// Lists frame folders one after the other. Threads: one thread at a time calls read(); several may
/// read the result.
class FrameListing {
public:
    FrameListing() = default;
    FrameListing(FrameListing&&) = default;
    FrameListing& operator=(FrameListing&&) = default;
    FrameListing(const FrameListing&) = delete;
    FrameListing& operator=(const FrameListing&) = delete;
    ~FrameListing() = default;

    /// Lists the folder at `path` without opening its files. If it cannot be listed to its
    /// end, or the process may not search it, the problem has path and reason, and files() has the
    /// entries found so far. Errors: std::bad_alloc.
    [[nodiscard]] const tyktags::Status& read(const std::string& path);

    /// The entries: parameter files first, by sof id, camera, pipe, dump type and tag name as
    /// numbers, then images, scene files and the rest by name.
    const std::vector<FileEntry>& files() const { return files_; }

    const std::string& path() const { return path_; }
    /// The path of one of the entries.
    std::string pathOf(const FileEntry& file) const { return path_ + "/" + std::string(file.name); }
    /// The result of the last read().
    const tyktags::Status& status() const { return status_; }
    uint64_t bytes() const;  ///< sum over all regular files

    /// The first image in the library's order, or null.
    const FileEntry* image() const;

private:
    std::string path_;
    std::vector<char> names_;  ///< each ended by a NUL; a move keeps their addresses
    std::vector<unsigned char> types_;
    std::vector<FileEntry> files_;
    tyktags::Status status_;
};

}  // namespace tyktree
