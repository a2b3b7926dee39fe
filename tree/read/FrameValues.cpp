#include "tree/read/FrameValues.h"

#include "tags/Problem.h"
#include "tree/read/FileBytes.h"
#include "tree/read/Parameter.h"
#include "tree/read/SceneSources.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tyktree {

namespace {

/// The first parameter file of a tag in the listing's order. Sets `several` to whether there are
/// more.
const FileEntry* firstOf(const FrameListing& listing, std::string_view tagName, bool& several) {
    const FileEntry* first = nullptr;
    for (const FileEntry& file : listing.files()) {
        if (file.kind != FileEntry::Kind::kParameter || file.parameter.tagName != tagName) continue;
        several = first != nullptr;
        if (first) break;
        first = &file;
    }
    return first;
}

}  // namespace

bool FrameValue::operator==(const FrameValue& other) const {
    return values == other.values && isBlob == other.isBlob && crc32 == other.crc32 &&
           size == other.size && problem == other.problem;
}

std::string toText(const FrameValue& value) {
    if (value.isBlob) {
        char text[64];
        static_cast<void>(std::snprintf(text, sizeof(text), "crc32 %08x, %llu bytes", value.crc32,
                                        static_cast<unsigned long long>(value.size)));
        return text;
    }
    return tyktags::toText(value.values);
}

FrameValueReader::FrameValueReader(std::vector<ValueName> names) : names_(std::move(names)) {
    for (const ValueName& name : names_) (name.scene ? scene_ : tags_) = true;
}

std::vector<FrameValue> FrameValueReader::read(const std::string& path) {
    if (tags_) {
        const bool listed = listing_.read(path);
        std::vector<FrameValue> values = read(listing_);
        if (listed) return values;
        for (FrameValue& value : values) {
            if (value.absent()) value.problem = tyktags::systemReason(listing_.error());
        }
        return values;
    }
    std::vector<FrameValue> values(names_.size());
    if (scene_) readScene(path, nullptr, values);
    return values;
}

std::vector<FrameValue> FrameValueReader::read(const FrameListing& listing) {
    std::vector<FrameValue> values(names_.size());
    if (scene_) readScene(listing.path(), &listing, values);
    if (tags_) readTags(listing, values);
    return values;
}

void FrameValueReader::readScene(const std::string& path, const FrameListing* listing,
                                 std::vector<FrameValue>& values) {
    std::string problem;
    std::optional<SceneRecord> record = readSceneXml(path + "/" + kSceneXmlName);
    if (!record) {
        // A listing is needed only here.
        if (!listing) {
            static_cast<void>(listing_.read(path));
            listing = &listing_;
        }
        const SceneSources sources = tyktree::readScene(*listing);
        if (sources.record()) record = *sources.record();
        problem = sources.problem;
        if (!record && problem.empty() && listing->error() != 0) {
            problem = tyktags::systemReason(listing->error());
        }
    }
    for (size_t i = 0; i < names_.size(); ++i) {
        if (!names_[i].scene) continue;
        if (record) values[i].values = {sceneValue(*names_[i].scene, *record)};
        values[i].problem = problem;
    }
}

void FrameValueReader::readTags(const FrameListing& listing, std::vector<FrameValue>& values) {
    for (size_t i = 0; i < names_.size(); ++i) {
        const ValueName& name = names_[i];
        if (name.scene) continue;
        const FileEntry* const file = firstOf(listing, name.tagName, values[i].several);
        if (!file) continue;
        readTag(listing.path() + "/" + std::string(file->name), name, values[i]);
    }
}

void FrameValueReader::readTag(const std::string& path, const ValueName& name, FrameValue& value) {
    const auto size = name.field
                          ? readFileBytes(path, name.field->offset + name.field->bytes(), bytes_)
                          : readSummedFile(path, 0, bytes_, value.crc32);
    if (!size.ok()) {
        value.problem = size.problem().reason;
        return;
    }
    value.size = size.value();
    if (!name.field) {
        value.isBlob = true;
        return;
    }
    value.problem = tyktags::shortfall(*name.field, bytes_.size());
    if (!value.problem.empty()) return;
    value.values = tyktags::decodeField(*name.field, bytes_.data(), bytes_.size());
    value.shape = name.field->shape();
}

}  // namespace tyktree
