#include "tree/check/FrameCheck.h"

#include "core/Limits.h"
#include "tags/Words.h"
#include "tree/check/SceneCheck.h"
#include "tree/read/ExactNames.h"
#include "tree/read/FolderReader.h"
#include "tree/read/RegularFile.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>
#include <unistd.h>

namespace tyktree {

namespace {

using Kind = FileEntry::Kind;

constexpr size_t kChunkBytes = size_t{1} << 18;

class FrameChecker {
public:
    FrameChecker(const TaskContext& context, const FrameEntry& frame, FrameJob& job)
        : context_(context), frame_(frame), job_(job), place_(context.placeOf(frame)) {}

    void check();

private:
    void add(RuleId rule, std::string path, std::string expected, std::string found,
             std::string reason = "") {
        job_.findings.list.push_back(makeFinding(
            rule, place_,
            {std::move(path), std::move(expected), std::move(found), std::move(reason)}));
    }
    bool list();
    void checkFile(const FileEntry& file);
    bool checkType(const FileEntry& file);
    void checkParameter(const FileEntry& file);
    void checkParameterSize(const FileEntry& file);
    void checkImage(const FileEntry& file);
    void checkRepeated();
    void checkImageCount();
    void checkIds();
    void readContents();
    void readContent(Folder& folder, const FileEntry& file);

    const TaskContext& context_;
    const FrameEntry& frame_;
    FrameJob& job_;
    FramePlace place_;
};

/// Lists the frame. A frame removed after the tree was listed is a changed tree, not an unreadable
/// folder.
bool FrameChecker::list() {
    const std::string path = framePath(context_.task, frame_);
    const tyktags::Status& listed = job_.listing.read(path);
    if (listed.ok()) return true;
    const bool gone = ::access(path.c_str(), F_OK) != 0 && errno == ENOENT;
    add(gone ? RuleId::kTreeChanged : RuleId::kFolderUnlisted, path,
        "a frame folder that can be listed", gone ? "one that was removed" : "none",
        listed.problem().reason);
    return !job_.listing.files().empty();
}

void FrameChecker::check() {
    if (!list()) return;
    if (job_.listing.files().empty()) {
        add(RuleId::kFrameEmpty, job_.listing.path(), "files", "none");
        return;
    }
    for (const FileEntry& file : job_.listing.files()) checkFile(file);
    checkRepeated();
    checkImageCount();
    checkIds();
    checkScene(job_.listing, place_, job_.findings);
    if (context_.options.deep) readContents();
}

void FrameChecker::checkFile(const FileEntry& file) {
    switch (file.kind) {
        case Kind::kBadParameter:
            add(RuleId::kParameterName, job_.listing.pathOf(file), "a parameter file's name",
                "a name without all its pieces");
            break;
        case Kind::kBadImage:
            add(RuleId::kImageName, job_.listing.pathOf(file), "an image file's name",
                "a name without all its pieces");
            break;
        case Kind::kForeign:
            if (file.type == EntryType::kFolder && !file.link) {
                add(RuleId::kForeignFolder, job_.listing.pathOf(file), "files", "a folder");
            } else {
                add(RuleId::kForeignFile, job_.listing.pathOf(file),
                    "parameter, image and scene files", nameOf(file.type));
            }
            return;
        default:
            break;
    }
    if (!checkType(file)) return;
    if (file.kind == Kind::kParameter) checkParameter(file);
    if (file.kind == Kind::kImage) checkImage(file);
}

/// Whether a replay can open the file.
bool FrameChecker::checkType(const FileEntry& file) {
    if (!file.regular()) {
        const bool gone = file.type == EntryType::kUnknown;
        if (gone && !job_.listing.status().ok()) return false;  // reported for the folder
        add(gone ? RuleId::kTreeChanged : RuleId::kFileKind, job_.listing.pathOf(file), "a file",
            nameOf(file.type));
        return false;
    }
    if (file.link)
        add(RuleId::kFileLinked, job_.listing.pathOf(file), "a file", "a symbolic link to a file");
    if (!file.readable) {
        add(RuleId::kFileUnreadable, job_.listing.pathOf(file), "a file that can be read", "none",
            tyktags::systemReason(EACCES));
    }
    return true;
}

void FrameChecker::checkParameter(const FileEntry& file) {
    // Compares with the name that a recording makes; the reader accepts other names too.
    const ParamFileName& name = file.parameter;
    ParamFilePath made;
    makeParamFilePath(made, "", name.sofId, name.camId, name.pipe, name.dumpType, name.tagName);
    if (file.name != made.data() + 1) {
        add(RuleId::kParameterName, job_.listing.pathOf(file), std::string(made.data() + 1),
            std::string(file.name));
    }
    checkParameterSize(file);
}

void FrameChecker::checkParameterSize(const FileEntry& file) {
    if (file.bytes == 0) {
        add(RuleId::kParameterEmpty, job_.listing.pathOf(file), "bytes", "none");
        return;
    }
    const bool fixed = file.parameter.dumpType == kFixedSizeDump;
    const uint64_t most = fixed ? kMaxFixedBytes : INT_MAX;
    if (file.bytes <= most) return;
    const std::string taken =
        file.bytes > INT_MAX ? ", which the library takes for " + std::to_string(file.librarySize())
                             : "";
    add(RuleId::kParameterTooLarge, job_.listing.pathOf(file),
        "at most " + tyktags::counted(most, "byte", "bytes"), std::to_string(file.bytes) + taken);
}

void FrameChecker::checkImage(const FileEntry& file) {
    const ImageFileName& name = file.image;
    const std::string pixels = std::to_string(name.width) + "x" + std::to_string(name.height);
    const uint64_t expected = namedImageBytes(name);
    if (expected == 0) {
        add(RuleId::kImageName, job_.listing.pathOf(file), "a width and height that make an image",
            pixels);
        return;
    }
    const std::string made(
        lastName(imageFilePath("", name.sofId, name.camId, name.width, name.height)));
    if (file.name != made) {
        add(RuleId::kImageName, job_.listing.pathOf(file), made, std::string(file.name),
            "it is replayed as NV21 of " + pixels);
    }
    if (file.bytes == expected) return;
    add(file.bytes < expected ? RuleId::kImageShort : RuleId::kImageLong, job_.listing.pathOf(file),
        tyktags::counted(expected, "byte", "bytes") + " for " + pixels, std::to_string(file.bytes));
}

/// Reports files of the same parameter, which a replay publishes under the same key.
void FrameChecker::checkRepeated() {
    std::vector<const FileEntry*> parameters;
    parameters.reserve(job_.listing.files().size());
    for (const FileEntry& file : job_.listing.files()) {
        if (file.kind == Kind::kParameter) parameters.push_back(&file);
    }
    const auto key = [](const FileEntry* file) {
        const ParamFileName& name = file->parameter;
        return std::tie(name.tagName, name.sofId, name.camId, name.pipe);
    };
    std::sort(parameters.begin(), parameters.end(), [key](const FileEntry* a, const FileEntry* b) {
        return key(a) != key(b) ? key(a) < key(b) : a->order < b->order;
    });
    for (size_t i = 1; i < parameters.size(); ++i) {
        if (key(parameters[i - 1]) != key(parameters[i])) continue;
        add(RuleId::kParameterRepeated, job_.listing.pathOf(*parameters[i]),
            "one file of this parameter", "another one beside it",
            std::string(parameters[i - 1]->name));
    }
}

void FrameChecker::checkImageCount() {
    const auto& files = job_.listing.files();
    const auto images = std::count_if(files.begin(), files.end(), [](const FileEntry& file) {
        return file.kind == Kind::kImage;
    });
    if (images < 2) return;
    add(RuleId::kImageRepeated, job_.listing.path(), "one image", std::to_string(images));
}

void FrameChecker::checkIds() {
    if (!frame_.wellNamed) return;
    const int sof = frame_.parsed.sofId;
    uint64_t files = 0;
    uint64_t others = 0;
    int other = 0;
    for (const FileEntry& file : job_.listing.files()) {
        if (file.kind != Kind::kParameter && file.kind != Kind::kImage) continue;
        ++files;
        const int id = file.kind == Kind::kImage ? file.image.sofId : file.parameter.sofId;
        if (id == sof) continue;
        if (file.kind == Kind::kParameter && context_.sofFilters.count(id) > 0) continue;
        ++others;
        other = id;
    }
    if (others == 0) return;
    add(RuleId::kFrameIds, job_.listing.path(), "files of sof " + std::to_string(sof),
        std::to_string(others) + " of " + std::to_string(files) + " of another, such as " +
            std::to_string(other));
}

void FrameChecker::readContents() {
    Folder folder(job_.listing.path());
    job_.buffer.resize(kChunkBytes);
    for (const FileEntry& file : job_.listing.files()) {
        if (file.regular() && file.readable && file.kind != Kind::kForeign) {
            readContent(folder, file);
        }
    }
}

/// Whether all bytes of a piece are `value`.
bool uniform(const uint8_t* bytes, size_t size, uint8_t value) {
    return size == 0 || (bytes[0] == value && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

/// Examines an image piece by piece: whether each plane has a single value.
class UniformImage {
public:
    explicit UniformImage(const ImageFileName& image)
        : luma_(static_cast<uint64_t>(image.width) * static_cast<uint64_t>(image.height)) {}

    void add(const uint8_t* bytes, size_t size) {
        const auto inLuma =
            static_cast<size_t>(std::min<uint64_t>(size, at_ < luma_ ? luma_ - at_ : 0));
        addPlane(0, at_, bytes, inLuma);
        addPlane(1, std::max(at_, luma_) - luma_, bytes + inLuma, size - inLuma);
        at_ += size;
    }

    bool uniform() const { return uniform_ && at_ > luma_; }

private:
    void addPlane(size_t plane, uint64_t at, const uint8_t* bytes, size_t size) {
        if (size == 0) return;
        if (at == 0) value_[plane] = bytes[0];
        uniform_ = uniform_ && tyktree::uniform(bytes, size, value_[plane]);
    }

    uint64_t luma_;
    uint64_t at_ = 0;
    uint8_t value_[2] = {};
    bool uniform_ = true;
};

void FrameChecker::readContent(Folder& folder, const FileEntry& file) {
    RegularFile input(job_.listing.pathOf(file), &folder);
    const bool image = file.kind == Kind::kImage && namedImageBytes(file.image) == file.bytes;
    UniformImage picture(file.image);
    uint64_t done = 0;
    while (input.status().ok()) {
        const size_t count = input.read(job_.buffer.data(), job_.buffer.size());
        if (image && count > 0) picture.add(job_.buffer.data(), count);
        done += count;
        if (count < job_.buffer.size()) break;
    }
    if (!input.status().ok()) {
        add(RuleId::kFileUnreadable, job_.listing.pathOf(file),
            tyktags::counted(file.bytes, "byte", "bytes"), std::to_string(done),
            input.status().problem().reason);
    } else if (done != file.bytes) {
        add(RuleId::kTreeChanged, job_.listing.pathOf(file),
            tyktags::counted(file.bytes, "byte", "bytes"), std::to_string(done));
    } else if (image && picture.uniform()) {
        add(RuleId::kImageUniform, job_.listing.pathOf(file), "pixels that differ",
            "one single value");
    }
}

}  // namespace

uint64_t namedImageBytes(const ImageFileName& image) {
    if (image.width <= 0 || image.height <= 0) return 0;
    const uint64_t samples =
        static_cast<uint64_t>(image.width) * static_cast<uint64_t>(image.height) * 3;
    // A size that overflows the library's 32-bit arithmetic is not an image.
    const int bytes = nv21Bytes(image.width, image.height);
    return bytes > 0 && samples / 2 == static_cast<uint64_t>(bytes) ? samples / 2 : 0;
}

void checkFrame(const TaskContext& context, const FrameEntry& frame, FrameJob& job) {
    job.findings.list.clear();
    FrameChecker(context, frame, job).check();
}

}  // namespace tyktree
