#include "tree/read/SceneReading.h"

#include "core/XmlFile.h"
#include "records/SceneXml.h"
#include "tree/read/FileBytes.h"
#include "tree/read/RegularFile.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace tyktree {

namespace {

const FileEntry* findFile(const FrameListing& listing, std::string_view name) {
    for (const FileEntry& file : listing.files()) {
        if (file.name == name) return &file;
    }
    return nullptr;
}

/// The parameter file from which the record's other files were made.
const FileEntry* findParameter(const FrameListing& listing) {
    for (const FileEntry& file : listing.files()) {
        if (file.kind != FileEntry::Kind::kParameter) continue;
        const ParamFileName& name = file.parameter;
        if (name.tagName == kSceneTagName && name.pipe == kScenePipe &&
            name.dumpType == kFixedSizeDump) {
            return &file;
        }
    }
    return nullptr;
}

/// Reads the part's file to `to` if it has `size` bytes.
void readPart(const FrameListing& listing, int size, uint8_t* to, ScenePart& part) {
    const auto wanted = static_cast<uint64_t>(size);
    std::vector<uint8_t> bytes;
    const auto result = readFileBytes(listing.pathOf(*part.file), wanted, bytes);
    if (!result.ok()) part.status = result.problem();
    part.isRead = result.ok() && bytes.size() == wanted;
    if (part.isRead) std::copy(bytes.begin(), bytes.end(), to);
}

void readParameter(const FrameListing& listing, SceneReading& reading) {
    ScenePart& part = reading.parameter;
    part.file = findParameter(listing);
    if (!part.file || !part.file->regular()) return;
    SceneRecord record;
    readPart(listing, kSceneRecordBytes, record.bytes.data(), part);
    if (part.isRead) reading.sources.fromParameter = record;
}

void readBlock(const FrameListing& listing, const SceneBlock& block, SceneRecord& record,
               ScenePart& part) {
    part.file = findFile(listing, block.fileName);
    if (!part.file || !part.file->regular() || !part.file->readable) return;
    if (part.file->bytes != static_cast<uint64_t>(block.bytes)) return;
    readPart(listing, block.bytes, record.bytes.data() + block.offset, part);
}

void readXml(const FrameListing& listing, SceneReading& reading) {
    reading.xml = findFile(listing, kSceneXmlName);
    if (!reading.xml) return;
    SceneSources& sources = reading.sources;
    sources.xmlThere = true;
    const std::string path = listing.pathOf(*reading.xml);
    const auto refuse = [&sources, &path](std::string reason) {
        sources.status = tyktags::Problem{path, "an XML document", "none", std::move(reason)};
    };
    if (!reading.xml->regular()) return refuse(std::string(kNotRegular));
    if (!reading.xml->readable) return refuse(tyktags::systemReason(EACCES));
    const pugi::xml_parse_result result = parseXmlFile(reading.document, path.c_str());
    if (!result) return refuse(result.description());
    sources.fromFiles = reading.fromBlocks;
    readSceneFields(reading.document, sources.fromFiles->bytes.data());
}

}  // namespace

SceneReading readSceneFiles(const FrameListing& listing) {
    SceneReading reading;
    readParameter(listing, reading);
    for (size_t i = 0; i < std::size(kSceneBlocks); ++i) {
        readBlock(listing, kSceneBlocks[i], reading.fromBlocks, reading.blocks[i]);
    }
    readXml(listing, reading);
    return reading;
}

}  // namespace tyktree
