#include "tools/diff/FrameDifference.h"

#include "records/SceneRecord.h"
#include "tools/output/Console.h"
#include "tree/Escape.h"

#include <algorithm>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameListing;
using Kind = FileEntry::Kind;

std::string pathOf(const FrameListing& listing, const FileEntry& file) {
    return listing.path() + "/" + std::string(file.name);
}

/// Files of both frames under a key; the same key again is paired with the same key again.
template <typename Key>
struct FilePairs {
    struct Pair {
        const FileEntry* a = nullptr;
        const FileEntry* b = nullptr;
        size_t index = 0;  ///< which one of the key
    };

    template <typename Takes, typename KeyOf>
    FilePairs(const FrameListing& a, const FrameListing& b, Takes takes, KeyOf keyOf) {
        add(a, takes, keyOf, &Pair::a);
        add(b, takes, keyOf, &Pair::b);
    }

    template <typename Takes, typename KeyOf>
    void add(const FrameListing& listing, Takes takes, KeyOf keyOf, const FileEntry* Pair::*side) {
        std::map<Key, size_t> counts;
        for (const FileEntry& file : listing.files()) {
            if (!takes(file)) continue;
            const Key key = keyOf(file);
            const size_t index = counts[key]++;
            Pair& pair = pairs[{key, index}];
            pair.*side = &file;
            pair.index = index;
        }
    }

    std::map<std::pair<Key, size_t>, Pair> pairs;
};

bool isPicture(const FileEntry& file) {
    return file.kind == Kind::kImage && file.regular() &&
           sizeProblem(file.image.width, file.image.height).empty();
}

/// Makes what is not to be compared the same everywhere.
void blank(std::vector<uint8_t>& bytes, const std::vector<ByteRange>& ranges) {
    for (const ByteRange& range : ranges) {
        const uint64_t end = std::min<uint64_t>(range.offset + range.bytes, bytes.size());
        for (uint64_t at = range.offset; at < end; ++at) bytes[static_cast<size_t>(at)] = 0;
    }
}

/// The elements of a field that differ, under its name or its elements' names.
void addElements(const std::string& name, const std::vector<tyktree::Value>& a,
                 const std::vector<tyktree::Value>& b, std::vector<ValueDifference>& out) {
    const size_t count = std::max(a.size(), b.size());
    for (size_t i = 0; i < count; ++i) {
        const tyktree::Value inA = i < a.size() ? a[i] : tyktree::Value();
        const tyktree::Value inB = i < b.size() ? b[i] : tyktree::Value();
        // By their words: that way a value that is no number equals itself.
        if (tyktree::toText(inA) == tyktree::toText(inB)) continue;
        out.push_back({count == 1 ? name : text(name, "[", i, "]"), inA, inB});
    }
}

void addScene(const tyktree::SceneRecord& a, const tyktree::SceneRecord& b, const DiffRules& rules,
              std::vector<ValueDifference>& out) {
    for (const ::SceneField& field : kSceneFields) {
        if (rules.ignoresScene(field)) continue;
        addElements(field.path, {sceneValue(field, a)}, {sceneValue(field, b)}, out);
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
        const uint32_t one = tykhost::bytesOf(name.field->type);
        if (name.element) {
            ranges.push_back({name.field->offset + uint64_t{*name.element} * one, one});
        } else {
            ranges.push_back({name.field->offset, name.field->bytes()});
        }
    }
    return ranges;
}

std::vector<ByteRange> DiffRules::ignoredScene(int offset, int bytes) const {
    std::vector<ByteRange> ranges;
    for (const tyktree::ValueName& name : ignored) {
        const ::SceneField* const field = name.scene;
        if (!field || field->offset < offset || field->offset >= offset + bytes) continue;
        ranges.push_back(
            {static_cast<uint64_t>(field->offset - offset), static_cast<uint64_t>(field->width)});
    }
    return ranges;
}

bool DiffRules::ignoresScene(const ::SceneField& field) const {
    // By their place: every source file has a table of fields of its own.
    return std::any_of(ignored.begin(), ignored.end(), [&](const tyktree::ValueName& name) {
        return name.scene && name.scene->offset == field.offset;
    });
}

FrameDifference FrameComparer::compare(const tyktree::FrameRef& a, const tyktree::FrameRef& b) {
    result_ = {};
    list(a_, a.path());
    list(b_, b.path());
    compareTags();
    compareScenes(a, b);
    if (!rules_.ignoreImages) compareImages();
    compareFiles();
    return std::move(result_);
}

void FrameComparer::list(FrameListing& listing, const std::string& path) {
    if (listing.read(path)) return;
    result_.problems.push_back(
        text(tyktree::escaped(path), ": cannot be listed: ", systemReason(listing.error())));
}

void FrameComparer::compareTags() {
    using Key = std::tuple<std::string, int, int, int>;
    const FilePairs<Key> files(
        a_, b_, [](const FileEntry& file) { return file.kind == Kind::kParameter; },
        [](const FileEntry& file) {
            const ParamFileName& name = file.parameter;
            return Key(name.tagName, name.pipe, name.camId, name.dumpType);
        });
    for (const auto& [key, pair] : files.pairs) {
        const std::string& tag = std::get<0>(key.first);
        if (rules_.ignoresTag(tag)) continue;
        if (pair.a && pair.b) {
            compareTag(*pair.a, *pair.b);
            continue;
        }
        ContentDifference only;
        only.name = tag;
        only.inA = pair.a != nullptr;
        only.inB = pair.b != nullptr;
        const FileEntry& file = pair.a ? *pair.a : *pair.b;
        only.pipe = file.parameter.pipe;
        only.camera = file.parameter.camId;
        (pair.a ? only.bytes.bytesA : only.bytes.bytesB) = file.bytes;
        only.bytes.different = file.bytes;
        result_.tags.push_back(std::move(only));
    }
}

void FrameComparer::compareTag(const FileEntry& a, const FileEntry& b) {
    ContentDifference tag;
    tag.name = std::string(a.parameter.tagName);
    tag.pipe = a.parameter.pipe;
    tag.camera = a.parameter.camId;
    const std::string pathA = pathOf(a_, a);
    const std::string pathB = pathOf(b_, b);
    const std::vector<ByteRange> ignored = rules_.ignoredBytes(tag.name);
    tag.bytes = files_.compare(pathA, pathB, ignored);
    if (tag.bytes.same()) return;
    if (!tag.bytes.problem.empty()) {
        result_.problems.push_back(tag.bytes.problem);
    } else {
        tyktree::Parameter inA = readParameter(a_, a, catalog_);
        tyktree::Parameter inB = readParameter(b_, b, catalog_);
        blank(inA.bytes, ignored);
        blank(inB.bytes, ignored);
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
        const bool ignored = std::any_of(rules_.ignored.begin(), rules_.ignored.end(),
                                         [&](const tyktree::ValueName& one) {
                                             return one.field == fieldsA[i].field && !one.element;
                                         });
        if (!ignored) addElements(name, fieldsA[i].values, fieldsB[i].values, tag.fields);
    }
}

void FrameComparer::compareScenes(const tyktree::FrameRef& a, const tyktree::FrameRef& b) {
    const tyktree::SceneSources inA = readScene(a_, a.place(), nullptr);
    const tyktree::SceneSources inB = readScene(b_, b.place(), nullptr);
    const auto unread = [this](const tyktree::SceneSources& scene, const FrameListing& listing) {
        if (!scene.xmlThere || scene.fromFiles) return;
        tyktree::SceneRecord ignored;
        const std::string path = listing.path() + "/" + kSceneXmlName;
        result_.problems.push_back(
            text(tyktree::escaped(path), ": cannot be read: ", readSceneXml(path, ignored)));
    };
    unread(inA, a_);
    unread(inB, b_);
    if (!inA.xmlThere || !inB.xmlThere || !inA.fromFiles || !inB.fromFiles) return;
    addScene(*inA.fromFiles, *inB.fromFiles, rules_, result_.scene);
}

void FrameComparer::compareImages() {
    const FilePairs<int> files(a_, b_, isPicture,
                               [](const FileEntry& file) { return file.image.camId; });
    for (const auto& [key, pair] : files.pairs) {
        if (pair.a && pair.b) {
            compareImage(*pair.a, *pair.b, pair.index);
            continue;
        }
        ImageDifference only;
        only.inA = pair.a != nullptr;
        only.inB = pair.b != nullptr;
        const FileEntry& file = pair.a ? *pair.a : *pair.b;
        (pair.a ? only.sizeA : only.sizeB) = {file.image.width, file.image.height};
        only.camera = key.first;
        only.index = pair.index;
        result_.images.push_back(std::move(only));
    }
}

void FrameComparer::compareImage(const FileEntry& a, const FileEntry& b, size_t index) {
    ImageDifference image;
    image.sizeA = {a.image.width, a.image.height};
    image.sizeB = {b.image.width, b.image.height};
    image.camera = a.image.camId;
    image.index = index;
    image.pathA = pathOf(a_, a);
    image.pathB = pathOf(b_, b);
    image.layout = rules_.assumed.layoutOf(a.image);
    if (a.image.width == b.image.width && a.image.height == b.image.height) {
        image.samples = pictures_.compare(image.pathA, image.pathB, image.layout, rules_.tolerance);
        if (image.samples->same()) return;
        if (!image.samples->problem.empty()) result_.problems.push_back(image.samples->problem);
    }
    result_.images.push_back(std::move(image));
}

void FrameComparer::compareFiles() {
    const bool images = !rules_.ignoreImages;
    const FilePairs<std::string> files(
        a_, b_,
        [images](const FileEntry& file) {
            if (file.kind == Kind::kImage) return images && !isPicture(file);
            return file.kind != Kind::kParameter;
        },
        [](const FileEntry& file) { return std::string(file.name); });
    for (const auto& [key, pair] : files.pairs) {
        ContentDifference file;
        file.name = key.first;
        file.inA = pair.a != nullptr;
        file.inB = pair.b != nullptr;
        if (pair.a && pair.b) {
            // The text file's values were compared; blanks in it do not count.
            if (pair.a->kind == Kind::kSceneXml) continue;
            std::vector<ByteRange> ignored;
            for (const SceneBlock& block : kSceneBlocks) {
                if (key.first == block.fileName) {
                    ignored = rules_.ignoredScene(block.offset, block.bytes);
                }
            }
            file.bytes = files_.compare(pathOf(a_, *pair.a), pathOf(b_, *pair.b), ignored);
            if (file.bytes.same()) continue;
            if (!file.bytes.problem.empty()) result_.problems.push_back(file.bytes.problem);
        } else {
            (pair.a ? file.bytes.bytesA : file.bytes.bytesB) = (pair.a ? pair.a : pair.b)->bytes;
        }
        result_.files.push_back(std::move(file));
    }
}

}  // namespace tyksim
