#include "tools/camera/CameraSetup.h"

#include "core/TreeNames.h"
#include "core/XmlFile.h"
#include "records/MfnrTuning.h"
#include "tools/camera/DefaultSetup.h"
#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/files/Files.h"
#include "tools/files/OutputPath.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/DumpConfigFile.h"
#include "tree/read/Escape.h"
#include "tree/read/TreePath.h"

#include <filesystem>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

using tyktags::TagEntry;

std::string readText(const std::string& path) {
    const std::vector<uint8_t> bytes = readFile(path, kMaxXmlBytes);
    return {bytes.begin(), bytes.end()};
}

/// Writes a table with the library of tags.
void writeTags(const std::string& path, const std::vector<TagEntry>& tags) {
    ResultFile file = ResultFile::replacing(path);
    orFail(tyktags::writeTagTable(file.temporary(), tags));
    file.commit();
}

/// Reports the parts of a configuration that do not have their apparent effect.
class ConfigNotes : public tyktree::FindingSink {
public:
    void add(const tyktree::Finding& finding) override {
        const std::string hint = finding.hint.empty() ? "" : ". " + finding.hint;
        printNote(fmt::format("{} {}: {}{}", nameOf(severityOf(finding)), ruleOf(finding.rule).name,
                              toLine(finding), hint));
    }
};

}  // namespace

CameraSetup::CameraSetup(const std::string& root, int pipe, const std::string& tagsFile,
                         const std::string& configFile)
    : root_(root),
      tagTable_(choose(tyktree::tagTablePath(root), tagsFile)),
      configuration_(choose(configFilePath((root + kDumpRoot).c_str(), pipe), configFile)) {
    readTags();
    if (configuration_.origin == Origin::builtIn) {
        configuration_.content = defaultConfiguration(tags_);
    } else {
        checkConfiguration();
        configuration_.content = readText(configuration_.source);
    }
}

CameraSetup::Part CameraSetup::choose(const std::string& path, const std::string& userFile) {
    if (!userFile.empty()) return {path, Origin::user, userFile, ""};
    if (isThere(path)) return {path, Origin::kept, path, ""};
    return {path, Origin::builtIn, "", ""};
}

void CameraSetup::readTags() {
    if (tagTable_.origin == Origin::builtIn) {
        tags_ = defaultTags();
        return;
    }
    const bool given = tagTable_.origin == Origin::user;
    tyktags::TagTable table = tyktags::examineTagTable(
        tagTable_.source, given ? tyktags::TableSource::fileOrPipe : tyktags::TableSource::file, 1);
    if (!table.problems.empty()) fail(table.problems.front());
    for (const tyktags::Problem& missed : table.missed) {
        printNote(tyktree::escaped(toLine(missed)));
    }
    tags_ = std::move(table.tags);
    // A pipe can be read only once.
    if (std::filesystem::is_regular_file(tagTable_.source)) {
        tagTable_.content = readText(tagTable_.source);
    }
}

void CameraSetup::checkConfiguration() const {
    const std::string& path = configuration_.source;
    tyktree::DumpConfigFile file;
    readDumpConfig(path, file);
    if (!file.status.ok()) {
        throw Failure(fmt::format("{}: expected an XML file: {}", tyktree::escaped(path),
                                  tyktree::escaped(file.status.problem().reason)));
    }
    if (!file.root) {
        throw Failure(fmt::format("{}: expected the root element <dumpconfig>, found <{}>",
                                  tyktree::escaped(path),
                                  tyktree::escaped(file.document.document_element().name())));
    }
    const tyktree::TagCatalog catalog(tags_, tyktree::TagCatalog::Source::kGiven, tagTable_.path);
    for (const tyktree::ConfigEntry& entry : file.entries) {
        const TagEntry* const tag = catalog.byName(entry.tagName);
        if (!tag || !entry.writesFile()) continue;
        const int expected = tyktree::dumpTypeOf(*tag);
        if (entry.dumpType == expected) continue;
        throw Failure(
            fmt::format("{}: line {}: tag {}: expected dump type {} for a tag of kind {}, found {}",
                        tyktree::escaped(path), file.lineAt(entry.element.offset_debug()),
                        tyktree::escaped(tag->name), expected, nameOf(tag->kind), entry.dumpType));
    }
    ConfigNotes notes;
    checkConfig(path, catalog, notes);
}

void CameraSetup::install() const {
    makeFolders(root_ + kDumpRoot);
    makeFolders(root_ + kFirmwareFolder);
    if (tagTable_.content.empty()) writeTags(tagTable_.path, tags_);
    place(tagTable_, "tag table");
    if (configuration_.origin == Origin::builtIn) {
        writeFile(configuration_.path, configuration_.content);
    }
    place(configuration_, "dump configuration");
}

void CameraSetup::place(const Part& part, const char* what) {
    if (part.origin == Origin::user) {
        if (!part.content.empty()) writeFile(part.path, part.content);
        printNote(fmt::format("{}: {}, copied to {}", what, part.source, part.path));
    } else {
        const bool kept = part.origin == Origin::kept;
        printNote(fmt::format("{}: {}{}", what, part.path,
                              kept ? " (was there)" : " (default, written)"));
    }
}

void CameraSetup::installTuningFiles() const {
    for (const TuningFile& file : tuningFiles()) {
        const std::string path = fmt::format("{}{}{}", root_, kFirmwareFolder, file.name);
        if (!isThere(path)) writeFile(path, file.text);
    }
    makeFolders(pipeFolderPath((root_ + kDumpRoot).c_str(), kMfnrCopyPipe));
}

}  // namespace tyksim
