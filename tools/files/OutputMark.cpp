#include "tools/files/OutputMark.h"

#include "core/Descriptor.h"
#include "tools/console/Console.h"
#include "tools/files/CloneFile.h"
#include "tools/files/Unfinished.h"
#include "tree/read/Escape.h"
#include "tree/read/FolderReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>
#include <zlib.h>

namespace tyksim {

namespace {

constexpr const char* kListHead =
    "Made by tyksim, list 1. --force may replace the folder while it holds these, and no others: "
    "size, time, name.";
constexpr std::string_view kVideoStart = "YUV4MPEG2 ";
constexpr size_t kLongestVideoHeader = 512;

/// A name in one line.
std::string inOneLine(std::string_view name) {
    std::string line;
    for (const char c : name) {
        const bool plain = static_cast<unsigned char>(c) >= 0x20 && c != 0x7F && c != '%';
        line += plain ? std::string(1, c) : fmt::format("%{:02x}", static_cast<unsigned char>(c));
    }
    return line;
}

/// Walks through a folder and its subfolders, except `passedOver`, in a fixed order.
class FolderWalk {
public:
    FolderWalk(const std::string& folder, std::string passedOver)
        : root_(folder + "/"), passedOver_(std::move(passedOver)) {
        enter(folder, "");
    }

    /// Goes to the next entry; returns false at the end and when a folder cannot be listed.
    bool next() {
        while (status_.ok() && !levels_.empty()) {
            Level& level = levels_.back();
            if (level.next == level.names.size()) {
                levels_.pop_back();
                continue;
            }
            name_ = level.below + level.names[level.next++];
            if (name_ == passedOver_) continue;
            look(root_ + name_);
            return status_.ok();
        }
        return false;
    }

    const std::string& name() const { return name_; }  ///< relative to the first folder
    const std::string& line() const { return line_; }  ///< its line in the list
    /// Whether the walk has met no failure at name().
    const tyktags::Status& status() const { return status_; }

private:
    struct Level {
        std::string below;  ///< the folder relative to the first one, with a trailing slash
        std::vector<std::string> names;
        size_t next = 0;
    };

    void enter(const std::string& folder, const std::string& below) {
        Level level{below, {}, 0};
        tyktree::FolderReader reader(folder);
        std::string_view name;
        unsigned char type = 0;
        while (reader.next(name, type)) level.names.emplace_back(name);
        status_ = reader.status();
        std::sort(level.names.begin(), level.names.end());
        levels_.push_back(std::move(level));
    }

    void look(const std::string& path) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0) {
            status_ = tyktags::Problem{path, "", "", systemReason(errno)};
        } else if (S_ISDIR(status.st_mode)) {
            line_ = fmt::format("- - {}/", inOneLine(name_));
            enter(path, name_ + "/");
        } else if (S_ISREG(status.st_mode)) {
            line_ = fmt::format("{} {}.{:09} {}", status.st_size, status.st_mtim.tv_sec,
                                status.st_mtim.tv_nsec, inOneLine(name_));
        } else {
            line_ = "? - " + inOneLine(name_);
        }
    }

    const std::string root_;
    const std::string passedOver_;  ///< "" for nothing
    std::vector<Level> levels_;
    std::string name_;
    std::string line_;
    tyktags::Status status_;
};

/// The name in a line of the list.
std::string_view nameIn(std::string_view line) {
    for (int word = 0; word < 2; ++word) {
        line.remove_prefix(std::min(line.find(' '), line.size()));
        line.remove_prefix(std::min<size_t>(1, line.size()));
    }
    return line;
}

std::string inWords(const FolderWalk& walk) {
    return fmt::format("{} cannot be examined: {}",
                       tyktree::escaped(walk.name().empty() ? "it" : walk.name()),
                       walk.status().problem().reason);
}

/// A file of any type, read at any offset.
class FileReader {
public:
    explicit FileReader(const std::string& path)
        : descriptor_(
              tykcore::openNow(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY)) {
        struct stat status {};
        if (!descriptor_.isOpen() || ::fstat(descriptor_.number(), &status) != 0) return;
        if (S_ISREG(status.st_mode)) size_ = status.st_size;
    }

    off_t size() const { return size_; }  ///< -1: not a readable regular file

    std::string piece(off_t at, size_t size) const {
        std::string bytes(size, '\0');
        size_t have = 0;
        while (have < size) {
            const ssize_t count = ::pread(descriptor_.number(), bytes.data() + have, size - have,
                                          at + static_cast<off_t>(have));
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) break;
            have += static_cast<size_t>(count);
        }
        bytes.resize(have);
        return bytes;
    }

private:
    tykcore::Descriptor descriptor_;
    off_t size_ = -1;
};

/// Reads the list of a folder's entries line by line.
class ListReader {
public:
    explicit ListReader(const std::string& folder) : file_(folder + "/" + kOutputList) {
        std::string head;
        isList_ = file_.size() >= 0 && next(head) && head == kListHead;
    }

    bool isList() const { return isList_; }  ///< false: there is no list of tyksim there

    /// Goes to the next line; returns false at the end and at a line that is too long for a list.
    bool next(std::string& line) {
        size_t end = 0;
        while ((end = text_.find('\n', begin_)) == std::string::npos) {
            text_.erase(0, std::exchange(begin_, 0));
            const std::string piece = file_.piece(at_, kPiece);
            if (piece.empty() || text_.size() > kPiece) return false;
            at_ += static_cast<off_t>(piece.size());
            text_ += piece;
        }
        line = text_.substr(begin_, end - begin_);
        begin_ = end + 1;
        return true;
    }

private:
    static constexpr size_t kPiece = 65536;

    FileReader file_;
    off_t at_ = 0;  ///< the offset of the next piece
    std::string text_;
    size_t begin_ = 0;  ///< of the next line in text_
    bool isList_ = false;
};

bool isVideo(const FileReader& file) {
    const std::string head = file.piece(0, kLongestVideoHeader);
    const std::string_view line = std::string_view(head).substr(0, head.find('\n'));
    return line.substr(0, kVideoStart.size()) == kVideoStart &&
           (std::string(line) + " ").find(std::string(kVideoMark) + " ") != std::string::npos;
}

bool isSealed(const FileReader& file) {
    const auto sealSize = static_cast<off_t>(sealOf(0).size());
    const off_t sealed = file.size() - sealSize;
    if (sealed < 0) return false;
    uLong checksum = crc32_z(0, nullptr, 0);
    constexpr off_t kPiece = off_t{1} << 20;
    for (off_t at = 0; at < sealed; at += kPiece) {
        const std::string piece =
            file.piece(at, static_cast<size_t>(std::min(kPiece, sealed - at)));
        checksum = crc32_z(checksum, reinterpret_cast<const Bytef*>(piece.data()), piece.size());
    }
    return file.piece(sealed, static_cast<size_t>(sealSize)) ==
           sealOf(static_cast<uint32_t>(checksum));
}

}  // namespace

void writeOutputList(const std::string& folder) {
    constexpr size_t kPiece = 65536;
    NewFile list(folder + "/" + kOutputList);
    std::string lines = fmt::format("{}\n", kListHead);
    FolderWalk walk(folder, kOutputList);
    while (walk.next()) {
        lines += walk.line() + "\n";
        if (lines.size() < kPiece) continue;
        list.write(lines);
        lines.clear();
    }
    if (!walk.status().ok()) throw Failure(fmt::format("{}: {}", shownPath(folder), inWords(walk)));
    list.write(lines);
    list.close();
}

bool hasOutputList(const std::string& folder) {
    return ListReader(folder).isList();
}

std::string foreignInFolder(const std::string& path) {
    ListReader list(path);
    // An entry with the list's name that is not a list belongs to the user.
    FolderWalk walk(path, list.isList() ? kOutputList : "");
    if (!walk.next()) return walk.status().ok() ? "" : inWords(walk);
    if (!list.isList()) {
        return fmt::format("tyksim did not make it, and it holds {}",
                           tyktree::escaped(walk.name()));
    }
    std::string line;
    do {
        const std::string_view name = nameIn(walk.line());
        // Both are in the same order. Removed files are only in the list.
        bool isListed = list.next(line);
        while (isListed && nameIn(line) != name) isListed = list.next(line);
        if (!isListed)
            return fmt::format("tyksim did not make {} in it", tyktree::escaped(walk.name()));
        if (line != walk.line()) {
            return fmt::format("{} in it was changed since tyksim made it",
                               tyktree::escaped(walk.name()));
        }
    } while (walk.next());
    return walk.status().ok() ? "" : inWords(walk);
}

std::string foreignInFile(const std::string& path) {
    const FileReader file(path);
    if (file.size() < 0) return "it cannot be read";
    if (file.size() == 0 || isVideo(file) || isSealed(file)) return "";
    return "tyksim did not make it, or it was changed since";
}

std::string sealOf(uint32_t checksum) {
    return fmt::format("<!-- Made by tyksim; CRC-32 of all before: {:08x} -->\n", checksum);
}

}  // namespace tyksim
