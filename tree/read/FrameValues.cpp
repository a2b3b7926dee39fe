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

/// How many bytes of a tag's parameter hold all fields of it that are named.
uint64_t extentOf(const std::vector<ValueName>& names, const ValueName& name) {
    uint64_t extent = 0;
    for (const ValueName& other : names) {
        if (!other.field || other.tagName != name.tagName) continue;
        extent = std::max<uint64_t>(extent, other.field->offset + other.field->bytes());
    }
    return extent;
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
    for (size_t i = 0; i < names_.size(); ++i) {
        if (names_[i].source) addSourced(i);
        (names_[i].scene ? scene_ : lists_) = true;
        extents_.push_back(extentOf(names_, names_[i]));
    }
    for (Sourced& sourced : sourced_) {
        std::vector<std::string> texts;
        for (const size_t place : sourced.places) texts.push_back(names_[place].name);
        sourced.reader = sourced.source->reader(texts);
    }
}

void FrameValueReader::addSourced(size_t place) {
    const ValueSource* const source = names_[place].source;
    auto at = std::find_if(sourced_.begin(), sourced_.end(),
                           [source](const Sourced& sourced) { return sourced.source == source; });
    if (at == sourced_.end()) at = sourced_.insert(at, Sourced{source, {}, nullptr});
    at->places.push_back(place);
}

std::vector<FrameValue> FrameValueReader::read(const FrameRef& frame) {
    return read(frame.path(), sourced_.empty() ? "" : frame.pathBefore());
}

std::vector<FrameValue> FrameValueReader::read(const std::string& path, const std::string& before) {
    if (lists_) {
        const tyktags::Status& listed = listing_.read(path);
        std::vector<FrameValue> values = read(listing_, before);
        if (listed.ok()) return values;
        for (FrameValue& value : values) {
            if (value.absent()) value.problem = listed.problem().reason;
        }
        return values;
    }
    std::vector<FrameValue> values(names_.size());
    if (scene_) readScene(path, nullptr, values);
    return values;
}

std::vector<FrameValue> FrameValueReader::read(const FrameListing& listing,
                                               const std::string& before) {
    std::vector<FrameValue> values(names_.size());
    if (scene_) readScene(listing.path(), &listing, values);
    if (lists_) readTags(listing, values);
    for (const Sourced& sourced : sourced_) {
        std::vector<FrameValue> brought = sourced.reader->read(listing, before);
        for (size_t i = 0; i < brought.size(); ++i) {
            values[sourced.places[i]] = std::move(brought[i]);
        }
    }
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
        if (!sources.status.ok()) problem = sources.status.problem().reason;
        if (!record && problem.empty() && !listing->status().ok()) {
            problem = listing->status().problem().reason;
        }
    }
    for (size_t i = 0; i < names_.size(); ++i) {
        if (!names_[i].scene) continue;
        if (record) values[i].values = {sceneValue(*names_[i].scene, *record)};
        values[i].problem = problem;
    }
}

void FrameValueReader::readTags(const FrameListing& listing, std::vector<FrameValue>& values) {
    const FileEntry* held = nullptr;  // whose bytes are there
    uint64_t heldBytes = 0;
    for (size_t i = 0; i < names_.size(); ++i) {
        const ValueName& name = names_[i];
        if (name.scene || name.source) continue;
        const FileEntry* const file = firstOf(listing, name.tagName, values[i].several);
        if (!file) continue;
        if (name.field && file == held) {
            values[i].size = heldBytes;
        } else {
            held = nullptr;
            if (!readTag(listing.pathOf(*file), i, values[i])) continue;
        }
        if (!name.field) continue;
        held = file;
        heldBytes = values[i].size;
        takeField(name, values[i]);
    }
}

bool FrameValueReader::readTag(const std::string& path, size_t place, FrameValue& value) {
    value.isBlob = !names_[place].field;
    const auto size = value.isBlob ? readSummedFile(path, 0, bytes_, value.crc32)
                                   : readFileBytes(path, extents_[place], bytes_);
    if (size.ok()) {
        value.size = size.value();
    } else {
        value.problem = size.problem().reason;
        value.isBlob = false;
    }
    return size.ok();
}

void FrameValueReader::takeField(const ValueName& name, FrameValue& value) const {
    value.problem = tyktags::shortfall(*name.field, bytes_.size());
    if (!value.problem.empty()) return;
    value.values = tyktags::decodeField(*name.field, bytes_.data(), bytes_.size());
    value.shape = name.field->shape();
}

}  // namespace tyktree
