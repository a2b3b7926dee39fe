#include "tree/read/FrameListing.h"

#include "records/SceneLayout.h"
#include "tree/read/FolderReader.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace tyktree {

namespace {

using Kind = FileEntry::Kind;

/// Begins the names of images that a recording makes.
constexpr std::string_view kImageFileStart = "FCWH";

bool beginsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool isSceneBlock(std::string_view name) {
    return std::any_of(std::begin(kSceneBlocks), std::end(kSceneBlocks),
                       [name](const SceneBlock& block) { return name == block.fileName; });
}

/// Sets the file's kind from its name, with the tests in the order of a replay.
void classify(FileEntry& file) {
    if (readParamFileName(file.name, file.parameter)) {
        file.kind = Kind::kParameter;
    } else if (readImageFileName(file.name, file.image)) {
        file.kind = Kind::kImage;
    } else if (beginsWith(file.name, kParamFileStart)) {
        file.kind = Kind::kBadParameter;
    } else if (beginsWith(file.name, kImageFileStart) || endsWith(file.name, ".yuv")) {
        file.kind = Kind::kBadImage;
    } else if (file.name == kSceneXmlName) {
        file.kind = Kind::kSceneXml;
    } else if (isSceneBlock(file.name)) {
        file.kind = Kind::kSceneBlock;
    }
}

/// The position of a kind of file in the listing.
int rank(Kind kind) {
    switch (kind) {
        case Kind::kParameter:
            return 0;
        case Kind::kImage:
            return 1;
        case Kind::kSceneXml:
        case Kind::kSceneBlock:
            return 2;
        default:
            return 3;
    }
}

bool before(const FileEntry& a, const FileEntry& b) {
    if (rank(a.kind) != rank(b.kind)) return rank(a.kind) < rank(b.kind);
    if (a.kind != Kind::kParameter) return a.name < b.name;
    const auto numbers = [](const ParamFileName& name) {
        return std::tie(name.sofId, name.camId, name.pipe, name.dumpType, name.tagName);
    };
    const auto left = numbers(a.parameter);
    const auto right = numbers(b.parameter);
    return left != right ? left < right : a.name < b.name;
}

}  // namespace

const tyktags::Status& FrameListing::read(const std::string& path) {
    path_ = path;
    names_.clear();
    files_.clear();
    FolderReader folder(path);
    types_.clear();
    std::string_view name;
    unsigned char type = DT_UNKNOWN;
    while (folder.next(name, type)) {
        names_.insert(names_.end(), name.begin(), name.end());
        names_.push_back('\0');
        types_.push_back(type);
    }
    status_ = folder.status();
    files_.reserve(types_.size());
    const char* at = names_.data();
    for (const unsigned char entryType : types_) {
        FileEntry& file = files_.emplace_back();
        file.name = at;
        file.order = static_cast<uint32_t>(files_.size() - 1);
        tyktags::Status examined = folder.examine(at, entryType, file);
        if (!examined.ok()) status_ = std::move(examined);
        classify(file);
        at += file.name.size() + 1;
    }
    std::sort(files_.begin(), files_.end(), before);
    return status_;
}

uint64_t FrameListing::bytes() const {
    uint64_t sum = 0;
    for (const FileEntry& file : files_) sum += file.bytes;
    return sum;
}

const FileEntry* FrameListing::image() const {
    const FileEntry* first = nullptr;
    for (const FileEntry& file : files_) {
        if (file.kind != Kind::kImage) continue;
        if (first == nullptr || file.order < first->order) first = &file;
    }
    return first;
}

}  // namespace tyktree
