#include "tools/tyksim/TypeImport.h"

#include "tags/TableMerge.h"
#include "tags/TagTable.h"
#include "tags/Words.h"
#include "tags/dwarf/DebugTypes.h"
#include "tools/console/Failures.h"
#include "tools/console/Units.h"
#include "tools/files/Files.h"
#include "tools/files/OutputPath.h"
#include "tools/tyksim/Reading.h"
#include "tools/tyksim/TagsReport.h"
#include "tree/read/Escape.h"
#include "tree/read/FrameListing.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fnmatch.h>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

using tyktags::DebugType;
using tyktags::DebugTypes;
using tyktags::MergedTable;
using tyktags::TableChange;
using tyktags::TagLayout;
using tyktags::TypeLayout;
using tyktree::escaped;

constexpr uint64_t kMostMapBytes = uint64_t{1} << 20;
constexpr const char* kOtherBuild = "the type is another one, or of another build";

/// A tag and its type.
struct Pair {
    std::string tag;
    std::string type;
};

/// The arguments of an import.
struct Wanted {
    std::vector<Pair> pairs;
    std::vector<std::string> trees;
};

std::optional<Pair> pairOf(std::string_view text) {
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    const std::string_view tag = tyktags::trimmed(text.substr(0, equals));
    const std::string_view type = tyktags::trimmed(text.substr(equals + 1));
    if (tag.empty() || type.empty() || tag.find('/') != std::string_view::npos) return std::nullopt;
    return Pair{std::string(tag), std::string(type)};
}

/// The pairs of a file: "TAG = TYPE" in each line. Ignores empty lines and lines that begin with
/// '#'.
std::vector<Pair> readMap(const std::string& path) {
    const std::vector<uint8_t> bytes = readFile(path, kMostMapBytes);
    std::string_view text =
        tyktags::withoutByteOrderMark({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    std::vector<Pair> pairs;
    for (size_t number = 1; !text.empty(); ++number) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = tyktags::trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line[0] == '#') continue;
        const std::optional<Pair> pair = pairOf(line);
        if (!pair) {
            throw Failure(fmt::format("{}: line {}: expected TAG = TYPE, found {}", escaped(path),
                                      number, escaped(line)));
        }
        pairs.push_back(*pair);
    }
    if (pairs.empty()) {
        throw Failure(escaped(path) + ": expected a line TAG = TYPE, found none");
    }
    return pairs;
}

/// Each pair once. Throws WrongUsage if a tag has two types.
std::vector<Pair> distinct(const std::vector<Pair>& pairs) {
    std::vector<Pair> result;
    std::map<std::string, std::string> types;
    for (const Pair& pair : pairs) {
        const auto [known, isNew] = types.emplace(pair.tag, pair.type);
        if (isNew) {
            result.push_back(pair);
        } else if (known->second != pair.type) {
            throw WrongUsage(fmt::format("tags import: expected one type of {}, found {} and {}",
                                         escaped(pair.tag), escaped(known->second),
                                         escaped(pair.type)));
        }
    }
    return result;
}

Wanted wantedOf(const TypeOptions& options) {
    Wanted wanted;
    if (!options.map.empty()) wanted.pairs = readMap(options.map);
    for (const std::string& word : options.words) {
        if (const std::optional<Pair> pair = pairOf(word)) {
            wanted.pairs.push_back(*pair);
        } else if (isFolder(word)) {
            wanted.trees.push_back(word);
        } else {
            throw WrongUsage("tags import: expected TAG=TYPE or a tree, found " + escaped(word));
        }
    }
    if (wanted.pairs.empty()) {
        throw WrongUsage("tags import: expected TAG=TYPE or --map FILE, found neither");
    }
    wanted.pairs = distinct(wanted.pairs);
    return wanted;
}

std::vector<TypeLayout> typesOf(const std::vector<Pair>& pairs, const DebugTypes& types) {
    std::vector<std::string> names;
    names.reserve(pairs.size());
    for (const Pair& pair : pairs) names.push_back(pair.type);
    return orFail(types.layouts(names));
}

std::vector<TagLayout> layoutsOf(const std::vector<Pair>& pairs,
                                 const std::vector<TypeLayout>& types) {
    std::vector<TagLayout> layouts;
    for (size_t i = 0; i < pairs.size(); ++i) {
        layouts.push_back({pairs[i].tag, types[i].type.name, types[i].type.size, types[i].fields});
    }
    return layouts;
}

void printImported(const Pair& pair, const TypeLayout& layout) {
    printResult(fmt::format("{}: {}, {} bytes, {}", escaped(pair.tag), escaped(layout.type.name),
                            layout.type.size, declarationOf(layout.type)));
    for (const tyktags::LeftOut& part : layout.leftOut) {
        printResult(fmt::format("  left out: {}, {}", escaped(part.name), escaped(part.what)));
    }
}

/// The sizes of a tag's files in a tree.
struct FileSizes {
    size_t files = 0;
    size_t others = 0;       ///< files whose size is not that of the type
    size_t torn = 0;         ///< the shorter ones of these in the last frames of tasks
    std::string other = {};  ///< the first of the others, if possible one that is not torn
    uint64_t otherSize = 0;

    void addOther(const std::string& path, uint64_t size, bool isTorn) {
        if (others == torn && (others == 0 || !isTorn)) {
            other = path;
            otherSize = size;
        }
        ++others;
        if (isTorn) ++torn;
    }
    /// Whether all files may have the type's size: the recording of a last frame may have been
    /// killed. At least one file shows the size.
    bool fit() const { return others == torn && (files > torn || files == 0); }
};

bool isLastOfTask(const tyktree::FrameRef& frame) {
    return frame.frame == &frame.task->frames.back();
}

FileSizes sizesIn(const OpenedTree& tree, const TagLayout& layout) {
    FileSizes sizes;
    tyktree::FrameListing listing;
    for (const tyktree::FrameRef& frame : tree.frames) {
        if (const tyktags::Status& listed = listing.read(frame.path()); !listed.ok()) {
            throw Failure(fmt::format("{}: cannot be listed: {}", escaped(frame.path()),
                                      listed.problem().reason));
        }
        for (const tyktree::FileEntry& file : listing.files()) {
            if (file.kind != tyktree::FileEntry::Kind::kParameter || !file.regular() ||
                file.parameter.tagName != layout.tag) {
                continue;
            }
            ++sizes.files;
            if (file.bytes == layout.size) continue;
            sizes.addOther(frame.path() + "/" + std::string(file.name), file.bytes,
                           isLastOfTask(frame) && file.bytes < layout.size);
        }
    }
    return sizes;
}

/// Compares the sizes of the types with those of the files in a tree.
void checkFiles(const std::string& path, const std::vector<TagLayout>& layouts) {
    static_cast<void>(runReading(nullptr, [&](Reading& reading) {
        const OpenedTree tree(reading, path, TreeOptions());
        for (const TagLayout& layout : layouts) {
            const FileSizes sizes = sizesIn(tree, layout);
            if (!sizes.fit()) {
                throw Failure(fmt::format(
                    "{}: expected {} bytes, the size of {}, found {} ({} of {} files): {}",
                    escaped(sizes.other), layout.size, escaped(layout.type), sizes.otherSize,
                    sizes.others, sizes.files, kOtherBuild));
            }
            const size_t whole = sizes.files - sizes.torn;
            printResult(fmt::format("{}: {} of {} {} this size", escaped(path),
                                    counted(whole, "file", "files"), escaped(layout.tag),
                                    whole == 1 ? "has" : "have"));
            if (sizes.torn == 0) continue;
            printResult(fmt::format("{}: {} in the last frame of a task {} shorter: {}",
                                    escaped(path), counted(sizes.torn, "file", "files"),
                                    sizes.torn == 1 ? "is" : "are", escaped(sizes.other)));
        }
        return ExitStatus::kClean;
    }));
}

std::string changeText(const TableChange& change) {
    const std::string what = escaped(change.what);
    const std::string before = escaped(change.before);
    const std::string after = escaped(change.after);
    switch (change.kind) {
        case TableChange::Kind::added:
            return fmt::format("added: {}: {}", what, after);
        case TableChange::Kind::replaced:
            return fmt::format("replaced: {}: {} by {}", what, before, after);
        case TableChange::Kind::removed:
            return fmt::format("removed: {}: {}", what, before);
        case TableChange::Kind::kept:
            break;
    }
    if (after.empty()) return fmt::format("kept: {}: {}, which the type lacks", what, before);
    return fmt::format("kept: {}: {}; the type has {} (--replace takes it)", what, before, after);
}

/// Prints the changes. Returns kFindings if the table kept a field that differs from its type.
ExitStatus report(const MergedTable& merged) {
    ExitStatus status = ExitStatus::kClean;
    for (const TableChange& change : merged.changes) {
        printResult(changeText(change));
        if (change.kind == TableChange::Kind::kept && !change.after.empty()) {
            status = ExitStatus::kFindings;
        }
    }
    return status;
}

/// Replaces the table in one step, after a test that readTagTable() accepts the new text. If `path`
/// is a link, replaces its target.
void writeTable(const std::string& path, const std::string& text) {
    const std::string target = std::filesystem::canonical(path).string();
    ResultFile file = ResultFile::replacing(target);
    struct stat status {};
    if (::stat(target.c_str(), &status) == 0) {
        // Only root may keep another user as the owner.
        static_cast<void>(::fchown(file.descriptor(), status.st_uid, status.st_gid));
        static_cast<void>(::fchmod(file.descriptor(), status.st_mode & 07777));
    }
    file.write(text);
    const auto tags = tyktags::readTagTable(file.temporary());
    if (!tags.ok()) {
        tyktags::Problem problem = tags.problem();
        problem.path = path;
        fail(problem);
    }
    file.commit();
}

bool matches(const std::string& pattern, const std::string& name) {
    if (pattern.empty()) return true;
    const size_t last = name.rfind("::", name.find('<'));
    return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0 ||
           (last != std::string::npos &&
            ::fnmatch(pattern.c_str(), name.c_str() + last + 2, 0) == 0);
}

DebugTypes open(const TypeOptions& options, const char* action) {
    if (options.library.empty()) {
        throw WrongUsage(fmt::format("tags {}: expected --elf FILE, found none", action));
    }
    return orFail(DebugTypes::open(options.library, options.debugFile));
}

}  // namespace

ExitStatus importTypes(const TypeOptions& options) {
    if (options.table.empty()) {
        throw WrongUsage("tags import: expected --into FILE, found none");
    }
    const Wanted wanted = wantedOf(options);
    const std::vector<TypeLayout> types = typesOf(wanted.pairs, open(options, "import"));
    const std::vector<TagLayout> layouts = layoutsOf(wanted.pairs, types);
    const tyktags::TagTable table =
        tyktags::examineTagTable(options.table, tyktags::TableSource::file, 1);
    const tyktags::Result<MergedTable> merged = mergeLayouts(table, layouts, options.replace);
    if (!merged.ok()) {
        tyktags::Problem problem = merged.problem();
        problem.path = options.table;
        fail(problem);
    }
    for (const std::string& tree : wanted.trees) checkFiles(tree, layouts);
    const bool changed = merged.value().text != table.text;
    if (changed) writeTable(options.table, merged.value().text);
    for (size_t i = 0; i < types.size(); ++i) printImported(wanted.pairs[i], types[i]);
    const ExitStatus status = report(merged.value());
    if (!changed) printResult(fmt::format("{}: nothing changes", escaped(options.table)));
    return status;
}

ExitStatus listTypes(const TypeOptions& options) {
    if (options.words.size() > 1) {
        throw WrongUsage("tags types: expected one PATTERN, found " + escaped(options.words[1]) +
                         " as well");
    }
    const std::string pattern = options.words.empty() ? "" : options.words[0];
    return runReading(options.json ? "tyksim.tags.types" : nullptr, [&](Reading& reading) {
        const DebugTypes types = open(options, "types");
        const std::vector<DebugType> list = orFail(types.list([&](const DebugType& type) {
            return (!options.size || type.size == *options.size) && matches(pattern, type.name);
        }));
        if (list.empty()) {
            const std::string size =
                options.size ? fmt::format(" of {} bytes", *options.size) : std::string();
            throw WrongUsage(
                fmt::format("{}: expected a type{}{}, found none", escaped(types.path()), size,
                            pattern.empty() ? "" : " whose name fits " + shellWord(pattern)));
        }
        makeTagsReport(reading.json())->addTypes(types.path(), list);
        return ExitStatus::kClean;
    });
}

}  // namespace tyksim
