#include "tools/CameraSetup.h"

#include "tools/Console.h"
#include "tools/DefaultSetup.h"
#include "tools/Files.h"
#include "tools/WellKnownTags.h"

#include <pugixml.hpp>

#include <filesystem>

namespace tyksim {

namespace {

constexpr uint64_t kMaxXmlBytes = uint64_t{16} << 20;  ///< the library refuses larger ones
constexpr const char* kDumpRoot = "/data/vendor/cameraserver/tykdump";
constexpr const char* kFirmware = "/vendor/firmware";

std::string readText(const std::string& path) {
    const std::vector<uint8_t> bytes = readFile(path, kMaxXmlBytes);
    return {bytes.begin(), bytes.end()};
}

/// The library reports a configuration that it cannot use in a log line and dumps nothing; here it
/// is still time to refuse it.
void checkConfiguration(const std::string& path, const std::string& content) {
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_buffer(content.data(), content.size());
    if (!result) {
        throw Failure(text(path, ": expected an XML file, found an error at byte ", result.offset,
                           ": ", result.description()));
    }
    if (document.child("dumpconfig")) return;
    throw Failure(text(path, ": expected the root element <dumpconfig>, found <",
                       document.document_element().name(), ">"));
}

/// The default table as the file that keeps it, written by the table's own writer.
void writeTags(const std::string& path, const std::vector<tykhost::TagEntry>& tags) {
    const std::string temporary = path + ".new";
    std::string error;
    if (!tykhost::writeTagTable(temporary, tags, error)) {
        std::filesystem::remove(temporary);
        throw Failure(error);
    }
    renameFile(temporary, path);
}

}  // namespace

std::string tagTablePath(const std::string& root) {
    return root + "/tags.xml";
}

std::vector<tykhost::TagEntry> readTags(const std::string& path) {
    std::vector<tykhost::TagEntry> tags;
    std::string error;
    if (!tykhost::readTagTable(path, tags, error)) throw Failure(error);
    return tags;
}

CameraSetup::CameraSetup(const std::string& root, int pipe, const std::string& tagsFile,
                         const std::string& configFile)
    : root_(root),
      tagTable_(choose(tagTablePath(root), tagsFile)),
      configuration_(choose(text(root, kDumpRoot, "/pipe", pipe, "_dumpConfig.xml"), configFile)) {
    if (tagTable_.origin == Origin::builtIn) {
        tags_ = defaultTags();
    } else {
        tags_ = readTags(tagTable_.source);
        tagTable_.content = readText(tagTable_.source);
    }
    if (configuration_.origin == Origin::builtIn) {
        configuration_.content = defaultConfiguration(tags_);
    } else {
        configuration_.content = readText(configuration_.source);
        checkConfiguration(configuration_.source, configuration_.content);
    }
}

CameraSetup::Part CameraSetup::choose(const std::string& path, const std::string& userFile) {
    if (!userFile.empty()) return {path, Origin::user, userFile, ""};
    if (isThere(path)) return {path, Origin::kept, path, ""};
    return {path, Origin::builtIn, "", ""};
}

void CameraSetup::install() const {
    makeFolders(root_ + kDumpRoot);
    makeFolders(root_ + kFirmware);
    if (tagTable_.origin == Origin::builtIn) writeTags(tagTable_.path, tags_);
    place(tagTable_, "tag table");
    if (configuration_.origin == Origin::builtIn) {
        writeFile(configuration_.path, configuration_.content);
    }
    place(configuration_, "dump configuration");
}

void CameraSetup::place(const Part& part, const char* what) {
    if (part.origin == Origin::user) {
        writeFile(part.path, part.content);
        printNote(text(what, ": ", part.source, ", copied to ", part.path));
    } else {
        const bool kept = part.origin == Origin::kept;
        printNote(text(what, ": ", part.path, kept ? " (was there)" : " (default, written)"));
    }
}

void CameraSetup::installTuningFiles() const {
    for (const TuningFile& file : tuningFiles()) {
        const std::string path = text(root_, kFirmware, "/", file.name);
        if (!isThere(path)) writeFile(path, file.text);
    }
    makeFolders(text(root_, kDumpRoot, "/pipe_", kSnapshotPipe));
}

}  // namespace tyksim
