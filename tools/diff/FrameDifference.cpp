#include "tools/diff/FrameDifference.h"

#include "records/SceneLayout.h"
#include "tools/console/Console.h"
#include "tree/read/Escape.h"
#include "tree/read/SceneSources.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameListing;
using Kind = FileEntry::Kind;

/// A file of one frame or of both.
struct FilePair {
    const FileEntry* a = nullptr;
    const FileEntry* b = nullptr;
    size_t index = 0;  ///< number among the pairs of its key

    const FileEntry& either() const { return a ? *a : *b; }
};

/// Pairs the files of one key: first those with the same name, then the others in order.
void pairFiles(std::vector<const FileEntry*> a, std::vector<const FileEntry*> b,
               std::vector<FilePair>& pairs) {
    const size_t first = pairs.size();
    for (const FileEntry*& file : a) {
        const auto same = std::find_if(b.begin(), b.end(), [&file](const FileEntry* other) {
            return other->name == file->name;
        });
        if (same == b.end()) continue;
        pairs.push_back({file, *same});
        b.erase(same);
        file = nullptr;
    }
    a.erase(std::remove(a.begin(), a.end(), nullptr), a.end());
    for (size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
        pairs.push_back({i < a.size() ? a[i] : nullptr, i < b.size() ? b[i] : nullptr});
    }
    for (size_t i = first; i < pairs.size(); ++i) pairs[i].index = i - first;
}

/// Pairs the files of both frames that have the same key. `keyOf` returns the key of a file, or
/// none for a file to ignore.
template <typename KeyOf>
std::vector<FilePair> pairsOf(const FrameListing& a, const FrameListing& b, KeyOf keyOf) {
    using Key = typename decltype(keyOf(std::declval<const FileEntry&>()))::value_type;
    std::map<Key, std::array<std::vector<const FileEntry*>, 2>> files;
    const auto add = [&files, &keyOf](const FrameListing& listing, size_t side) {
        for (const FileEntry& file : listing.files()) {
            if (const auto key = keyOf(file)) files[*key].at(side).push_back(&file);
        }
    };
    add(a, 0);
    add(b, 1);
    std::vector<FilePair> pairs;
    for (const auto& [key, sides] : files) pairFiles(sides[0], sides[1], pairs);
    return pairs;
}

/// The parts of a name before and after its sof id.
struct NameParts {
    explicit NameParts(std::string_view name) {
        const size_t from = std::min(name.find('_'), name.size() - 1) + 1;
        const size_t to = std::min(name.find('_', from), name.size());
        front = name.substr(0, from);
        sof = name.substr(from, to - from);
        behind = name.substr(to);
    }

    std::string_view front;
    std::string_view sof;
    std::string_view behind;
};

bool differInSofAlone(std::string_view a, std::string_view b) {
    const NameParts partsA(a);
    const NameParts partsB(b);
    return partsA.front == partsB.front && partsA.behind == partsB.behind;
}

bool isPicture(const FileEntry& file) {
    return file.kind == Kind::kImage && file.regular() &&
           checkPictureSize(file.image.width, file.image.height).ok();
}

/// Adds the different elements of a field, under its name or its elements' names.
void addElements(const tyktags::TagField& field, const std::vector<tyktags::Value>& a,
                 const std::vector<tyktags::Value>& b, std::vector<ValueDifference>& out) {
    const size_t count = std::max(a.size(), b.size());
    for (size_t i = 0; i < count; ++i) {
        const tyktags::Value inA = i < a.size() ? a[i] : tyktags::Value();
        const tyktags::Value inB = i < b.size() ? b[i] : tyktags::Value();
        // Compares texts, so that NaN equals itself.
        if (tyktags::toText(inA) == tyktags::toText(inB)) continue;
        out.push_back({tyktags::elementName(field.name, field.shape(), i), inA, inB, field.unit});
    }
}

void addScene(const tyktree::SceneRecord& a, const tyktree::SceneRecord& b, const DiffRules& rules,
              std::vector<ValueDifference>& out) {
    for (const ::SceneField& field : kSceneFields) {
        if (rules.ignoresScene(field)) continue;
        addElements({field.path}, {sceneValue(field, a)}, {sceneValue(field, b)}, out);
    }
}

/// Adds the ranges of a field.
void addRanges(const tyktags::TagField& field, std::vector<ByteRange>& ranges) {
    if (field.bits.width == 0) {
        ranges.push_back({field.offset, field.bytes()});
        return;
    }
    for (uint32_t i = 0; i < field.bits.width; ++i) {
        const uint64_t bit = uint64_t{field.bits.offset} + i;
        ranges.push_back({field.offset + bit / 8, 1, static_cast<uint8_t>(1U << (bit % 8))});
    }
}

}  // namespace

double ImageDifference::distance() const {
    if (!samples || !samples->problem.empty() || samples->bytesA != samples->bytesB) {
        return std::numeric_limits<double>::infinity();
    }
    const PlaneDifference total = samples->total();
    if (total.samples == 0) return 0;
    return static_cast<double>(total.squares) / static_cast<double>(total.samples);
}

bool DiffRules::ignoresTag(const std::string& tag) const {
    return std::any_of(ignored.begin(), ignored.end(), [&](const tyktree::ValueName& name) {
        return !name.scene && !name.field && name.tagName == tag;
    });
}

std::vector<ByteRange> DiffRules::ignoredBytes(const std::string& tag) const {
    if (tag == kSceneTagName) return ignoredScene(0, kSceneRecordBytes);
    std::vector<ByteRange> ranges;
    for (const tyktree::ValueName& name : ignored) {
        if (!name.field || name.tagName != tag) continue;
        addRanges(*name.field, ranges);
    }
    return ranges;
}

std::vector<ByteRange> DiffRules::ignoredScene(int offset, int bytes) const {
    std::vector<ByteRange> ranges;
    for (const tyktree::ValueName& name : ignored) {
        const ::SceneField* const field = name.scene;
        if (!field || field->offset < offset || field->offset >= offset + bytes) continue;
        ranges.push_back(
            {static_cast<uint64_t>(field->offset - offset), static_cast<uint64_t>(field->width())});
    }
    return ranges;
}

bool DiffRules::ignoresScene(const ::SceneField& field) const {
    return std::any_of(ignored.begin(), ignored.end(),
                       [&](const tyktree::ValueName& name) { return name.scene == &field; });
}

std::optional<std::pair<int, int>> NameDifference::sofs() const {
    if (!differInSofAlone(a, b)) return std::nullopt;
    const std::pair<int, int> ids(readNumber(NameParts(a).sof), readNumber(NameParts(b).sof));
    if (ids.first == ids.second) return std::nullopt;
    return ids;
}

const tyktree::TagCatalog& commonTable(const tyktree::TagCatalog& a, const tyktree::TagCatalog& b) {
    return a.source() != tyktree::TagCatalog::Source::kNone ? a : b;
}

FrameDifference FrameComparer::compare(const FramePair& frames) {
    result_ = {};
    result_.overtaken = frames.overtaken;
    list(a_, frames.a->path());
    list(b_, frames.b->path());
    compareTags();
    compareScenes();
    if (!rules_.ignoreImages) compareImages();
    compareFiles();
    return std::move(result_);
}

void FrameComparer::list(FrameListing& listing, const std::string& path) {
    const tyktags::Status& listed = listing.read(path);
    if (listed.ok()) return;
    result_.problems.push_back(
        fmt::format("{}: cannot be listed: {}", tyktree::escaped(path), listed.problem().reason));
}

void FrameComparer::compareTags() {
    using Key = std::tuple<std::string_view, int, int, int>;
    const auto keyOf = [](const FileEntry& file) -> std::optional<Key> {
        if (file.kind != Kind::kParameter) return std::nullopt;
        const ParamFileName& name = file.parameter;
        return Key(name.tagName, name.pipe, name.camId, name.dumpType);
    };
    for (const FilePair& pair : pairsOf(a_, b_, keyOf)) {
        const FileEntry& file = pair.either();
        const std::string tag(file.parameter.tagName);
        if (rules_.ignoresTag(tag)) continue;
        if (pair.a && pair.b) {
            compareNames(*pair.a, *pair.b);
            compareTag(*pair.a, *pair.b);
            continue;
        }
        ContentDifference only;
        only.name = tag;
        only.inA = pair.a != nullptr;
        only.inB = pair.b != nullptr;
        only.pipe = file.parameter.pipe;
        only.camera = file.parameter.camId;
        (pair.a ? only.bytes.bytesA : only.bytes.bytesB) = file.bytes;
        only.bytes.different = file.bytes;
        result_.tags.push_back(std::move(only));
    }
}

void FrameComparer::compareNames(const FileEntry& a, const FileEntry& b) {
    if (a.name == b.name || (rules_.ignoreSofs && differInSofAlone(a.name, b.name))) return;
    result_.names.push_back({std::string(a.name), std::string(b.name)});
}

void FrameComparer::compareTag(const FileEntry& a, const FileEntry& b) {
    ContentDifference tag;
    tag.name = std::string(a.parameter.tagName);
    tag.pipe = a.parameter.pipe;
    tag.camera = a.parameter.camId;
    const std::string pathA = a_.pathOf(a);
    const std::string pathB = b_.pathOf(b);
    const std::vector<ByteRange> ignored = rules_.ignoredBytes(tag.name);
    tag.bytes = files_.compare(pathA, pathB, ignored);
    if (tag.bytes.same()) return;
    if (!tag.bytes.problem.empty()) {
        result_.problems.push_back(tag.bytes.problem);
    } else {
        tyktree::Parameter inA = readParameter(a_, a, catalog_);
        tyktree::Parameter inB = readParameter(b_, b, catalog_);
        for (const ByteRange& range : ignored) {
            blank(inA.bytes, 0, inA.bytes.size(), range);
            blank(inB.bytes, 0, inB.bytes.size(), range);
        }
        addFields(inA, inB, tag);
    }
    result_.tags.push_back(std::move(tag));
}

void FrameComparer::addFields(const tyktree::Parameter& a, const tyktree::Parameter& b,
                              ContentDifference& tag) const {
    tyktree::SceneRecord recordA, recordB;
    const size_t size = recordA.bytes.size();
    if (tag.name == kSceneTagName && a.bytes.size() == size && b.bytes.size() == size) {
        std::copy(a.bytes.begin(), a.bytes.end(), recordA.bytes.begin());
        std::copy(b.bytes.begin(), b.bytes.end(), recordB.bytes.begin());
        addScene(recordA, recordB, rules_, tag.fields);
        return;
    }
    const std::vector<tyktree::DecodedField> fieldsA = a.fields();
    const std::vector<tyktree::DecodedField> fieldsB = b.fields();
    for (size_t i = 0; i < fieldsA.size(); ++i) {
        const std::string& name = fieldsA[i].field->name;
        const bool ignored = std::any_of(
            rules_.ignored.begin(), rules_.ignored.end(), [&](const tyktree::ValueName& one) {
                return one.tagName == tag.name && one.field && one.field->name == name;
            });
        if (!ignored)
            addElements(*fieldsA[i].field, fieldsA[i].values, fieldsB[i].values, tag.fields);
    }
}

void FrameComparer::compareScenes() {
    const tyktree::SceneSources inA = readScene(a_);
    const tyktree::SceneSources inB = readScene(b_);
    for (const tyktags::Status* const status : {&inA.status, &inB.status}) {
        if (status->ok()) continue;
        const tyktags::Problem& problem = status->problem();
        result_.problems.push_back(
            fmt::format("{}: cannot be read: {}", tyktree::escaped(problem.path), problem.reason));
    }
    if (!inA.xmlThere || !inB.xmlThere || !inA.fromFiles || !inB.fromFiles) return;
    addScene(*inA.fromFiles, *inB.fromFiles, rules_, result_.scene);
}

void FrameComparer::compareImages() {
    const auto keyOf = [](const FileEntry& file) {
        return isPicture(file) ? std::optional<int>(file.image.camId) : std::nullopt;
    };
    for (const FilePair& pair : pairsOf(a_, b_, keyOf)) {
        ImageDifference image;
        image.camera = pair.either().image.camId;
        image.inA = pair.a != nullptr;
        image.inB = pair.b != nullptr;
        image.index = pair.index;
        if (pair.a) {
            image.sizeA = {pair.a->image.width, pair.a->image.height};
            image.bytesA = pair.a->bytes;
            image.pathA = a_.pathOf(*pair.a);
        }
        if (pair.b) {
            image.sizeB = {pair.b->image.width, pair.b->image.height};
            image.bytesB = pair.b->bytes;
            image.pathB = b_.pathOf(*pair.b);
        }
        if (pair.a && pair.b) {
            compareNames(*pair.a, *pair.b);
            image.layout = rules_.assumed.layoutOf(pair.a->image);
            compareSamples(image);
            if (image.samples && image.samples->same()) continue;
        }
        result_.images.push_back(std::move(image));
    }
}

void FrameComparer::compareSamples(ImageDifference& image) {
    if (image.sizeA.width != image.sizeB.width || image.sizeA.height != image.sizeB.height) return;
    image.samples = pictures_.compare(image.pathA, image.pathB, image.layout, rules_.tolerance);
    if (!image.samples->problem.empty()) result_.problems.push_back(image.samples->problem);
}

void FrameComparer::compareFiles() {
    const auto keyOf = [this](const FileEntry& file) -> std::optional<std::string_view> {
        const bool image = file.kind == Kind::kImage;
        if (file.kind == Kind::kParameter) return std::nullopt;
        if (image && (rules_.ignoreImages || isPicture(file))) return std::nullopt;
        return file.name;
    };
    for (const FilePair& pair : pairsOf(a_, b_, keyOf)) {
        ContentDifference file;
        file.name = std::string(pair.either().name);
        file.inA = pair.a != nullptr;
        file.inB = pair.b != nullptr;
        if (pair.a && pair.b) {
            // The values of the XML file were compared; its white space does not count.
            if (pair.a->kind == Kind::kSceneXml) continue;
            std::vector<ByteRange> ignored;
            for (const SceneBlock& block : kSceneBlocks) {
                if (file.name == block.fileName) {
                    ignored = rules_.ignoredScene(block.offset, block.bytes);
                }
            }
            file.bytes = files_.compare(a_.pathOf(*pair.a), b_.pathOf(*pair.b), ignored);
            if (file.bytes.same()) continue;
            if (!file.bytes.problem.empty()) result_.problems.push_back(file.bytes.problem);
        } else {
            (pair.a ? file.bytes.bytesA : file.bytes.bytesB) = pair.either().bytes;
        }
        result_.files.push_back(std::move(file));
    }
}

}  // namespace tyksim
