// The files of one frame folder, read through one descriptor; buffers are used again.
#pragma once

#include "core/TreeNames.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// What the system says an entry is; a link is followed once, as opening it would.
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
        kBadParameter,  ///< begins like one and lacks a piece
        kImage,         ///< the name is an image's for the library; `image` is set
        kBadImage,      ///< begins or ends like one and lacks a piece
        kSceneXml,
        kSceneBlock,
        kForeign,
    };

    std::string_view name;  ///< raw bytes; valid until the listing is read again
    Kind kind = Kind::kForeign;
    EntryType type = EntryType::kUnknown;
    bool link = false;      ///< reached through a link
    bool typeKnown = true;  ///< false: the file system gave no entry type
    uint32_t order = 0;     ///< place in the system's order, in which the library takes them
    uint64_t bytes = 0;     ///< length, of a regular file
    bool readable = true;   ///< false: a regular file that the process may not read
    ParamFileName parameter{};
    ImageFileName image{};

    /// The size as the library takes it: the lower 32 bits as a signed number.
    int32_t librarySize() const { return static_cast<int32_t>(static_cast<uint32_t>(bytes)); }
    bool regular() const { return type == EntryType::kRegular; }
};

/// Lists frame folders one after the other.
class FrameListing {
public:
    FrameListing() = default;
    FrameListing(FrameListing&&) = default;
    FrameListing& operator=(FrameListing&&) = default;
    FrameListing(const FrameListing&) = delete;
    FrameListing& operator=(const FrameListing&) = delete;
    ~FrameListing() = default;

    /// Lists the folder at `path`; false when it cannot be listed to its end or may not be looked
    /// into (error() says why, and files() has what was listed). Opens no file. Throws
    /// std::bad_alloc.
    bool read(const std::string& path);

    /// The entries: parameter files first, by sof id, camera, pipe, dump type and tag name as
    /// numbers, then images, scene files and the rest by name.
    const std::vector<FileEntry>& files() const { return files_; }

    const std::string& path() const { return path_; }
    int error() const { return error_; }  ///< errno of a failed read(), else 0
    uint64_t bytes() const;               ///< of all regular files

    /// The first image by the library's order, or null.
    const FileEntry* image() const;

private:
    std::string path_;
    std::vector<char> names_;  ///< each ended by a NUL; moving it leaves them where they are
    std::vector<unsigned char> types_;
    std::vector<FileEntry> files_;
    int error_ = 0;
};

}  // namespace tyktree
