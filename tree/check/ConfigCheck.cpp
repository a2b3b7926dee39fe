// Checks a dump configuration: in a tree, and before it is pushed to a device, which reports no
// mistakes in it.
#include "core/DumpConfigXml.h"
#include "core/Limits.h"
#include "core/PipeTypes.h"
#include "core/TreeNames.h"
#include "records/MfnrTuning.h"
#include "records/SceneLayout.h"
#include "tags/Words.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/DumpConfigFile.h"
#include "tree/read/XmlExtra.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>

namespace tyktree {

namespace {

using tyktags::TagEntry;
using tyktags::TagKind;

/// An XML file, two blocks.
constexpr uint64_t kSceneFiles = 1 + std::size(kSceneBlocks);

class ConfigChecker {
public:
    ConfigChecker(const DumpConfigFile& file, const std::string& path, std::optional<int> pipe,
                  const TagCatalog& catalog, FindingSink& sink)
        : file_(file), path_(path), pipe_(pipe), catalog_(catalog), sink_(sink) {}

    ConfigCost check();

private:
    void add(RuleId rule, std::ptrdiff_t offset, std::string expected, std::string found,
             std::string hint = "");
    void add(RuleId rule, pugi::xml_node where, std::string expected, std::string found,
             std::string hint = "") {
        add(rule, where.offset_debug(), std::move(expected), std::move(found), std::move(hint));
    }
    bool checkRoot();
    void checkSections();
    void checkSkipped(pugi::xml_node parent, const char* first);
    void checkEntry(const ConfigEntry& entry);
    void checkName(const ConfigEntry& entry);
    void checkPipe(const ConfigEntry& entry);
    void checkChildren(const ConfigEntry& entry);
    void checkNumber(const ConfigEntry& entry, const char* child);
    void checkDumpType(const ConfigEntry& entry, const TagEntry* tag);
    bool checkRepeated(const ConfigEntry& entry);
    void addCost(const ConfigEntry& entry, const TagEntry& tag);

    const DumpConfigFile& file_;
    const std::string& path_;
    const std::optional<int> pipe_;  ///< the pipe of a configuration in a tree; else none
    const TagCatalog& catalog_;
    FindingSink& sink_;
    ConfigCost cost_;
    std::map<std::tuple<std::string, int, int, int, int>, size_t> lines_;  ///< of files, by name
};

/// An `offset` of -1, which an empty node has, stands for the whole file.
void ConfigChecker::add(RuleId rule, std::ptrdiff_t offset, std::string expected, std::string found,
                        std::string hint) {
    if (offset >= 0) found = "line " + std::to_string(file_.lineAt(offset)) + ": " + found;
    sink_.add(makeFinding(rule, {pipe_, 0, 0}, {path_, std::move(expected), std::move(found)},
                          std::move(hint)));
}

bool ConfigChecker::checkRoot() {
    if (!file_.status.ok()) {
        sink_.add(makeFinding(RuleId::kConfigXml, {pipe_, 0, 0}, file_.status.problem()));
        return false;
    }
    if (const auto extra = findOutsideRoot(file_.text)) {
        add(RuleId::kConfigElement, extra->offset, "one root element and nothing outside it",
            extra->found, "It is not read.");
    }
    if (file_.root) return true;
    const pugi::xml_node root = file_.document.document_element();
    add(RuleId::kConfigRoot, root, std::string("the element ") + kConfigRootName,
        tyktags::quoted(root.name()));
    return false;
}

/// Reports elements that the library skips because they precede the first element of the right name
/// or are in the wrong place.
void ConfigChecker::checkSkipped(pugi::xml_node parent, const char* first) {
    for (const pugi::xml_node node : parent.children()) {
        if (node.type() != pugi::node_element) continue;
        if (std::strcmp(node.name(), first) == 0) return;
        add(RuleId::kConfigElement, node, std::string("the element ") + first,
            tyktags::quoted(node.name()),
            "It comes before the first " + std::string(first) + " and is not read.");
    }
}

void ConfigChecker::checkSections() {
    std::map<std::string, int> seen;
    for (const pugi::xml_node node : file_.root.children()) {
        if (node.type() != pugi::node_element) continue;
        const std::string name = node.name();
        const bool known = name == kConfigCommonName || name == kConfigPipelineName;
        if (known && ++seen[name] == 1) continue;
        add(RuleId::kConfigElement, node, "common and pipeline, each once", tyktags::quoted(name),
            "It is not read.");
    }
    // The frames of a tree may have images alone.
    if (seen.empty() && !pipe_) {
        add(RuleId::kConfigRoot, file_.root, "the sections common or pipeline", "neither");
    }
    checkSkipped(file_.root.child(kConfigCommonName), kConfigTagName);
    const pugi::xml_node pipeline = file_.root.child(kConfigPipelineName);
    checkSkipped(pipeline, kConfigNodeName);
    forElementsFrom(pipeline, kConfigNodeName, [this](pugi::xml_node node) {
        if (std::strcmp(node.name(), kConfigNodeName) != 0) {
            add(RuleId::kConfigElement, node, "the element node", tyktags::quoted(node.name()),
                "It is read as a node anyway.");
        }
        checkSkipped(node, kConfigTagName);
    });
    if (file_.entries.empty() && !seen.empty() && !pipe_) {
        add(RuleId::kConfigRoot, file_.root, "entries", "none");
    }
}

void ConfigChecker::checkName(const ConfigEntry& entry) {
    const bool inCommon = std::strcmp(entry.attribute, kConfigCommonAttribute) == 0;
    const char* const other = inCommon ? kConfigNodeAttribute : kConfigCommonAttribute;
    if (!entry.element.attribute(entry.attribute)) {
        const bool swapped = static_cast<bool>(entry.element.attribute(other));
        const std::string found = swapped
                                      ? "the attribute " + std::string(other) + "=" +
                                            tyktags::quoted(entry.element.attribute(other).value())
                                      : "none";
        add(RuleId::kConfigAttribute, entry.element,
            std::string("the tag's name in the attribute ") + entry.attribute, found);
        return;
    }
    if (catalog_.path().empty() || catalog_.byName(entry.tagName)) return;
    const std::vector<std::string> nearest = catalog_.nearest(entry.tagName);
    add(RuleId::kConfigTag, entry.element, "a tag of " + catalog_.path(),
        tyktags::quoted(entry.tagName),
        nearest.empty() ? "" : "The nearest are " + tyktags::commaSeparated(nearest) + ".");
}

void ConfigChecker::checkPipe(const ConfigEntry& entry) {
    const pugi::xml_node child = entry.element.child(kConfigPipe);
    const std::string_view name = child.text().get();
    const bool known = std::any_of(std::begin(kPipeTypes), std::end(kPipeTypes),
                                   [name](const PipeType& type) { return name == type.name; });
    if (known) return;
    std::string names;
    for (const PipeType& type : kPipeTypes) {
        names += (names.empty() ? "" : ", ") + std::string(type.name);
    }
    add(RuleId::kConfigPipe, child ? child : entry.element, "a pipe type",
        child ? tyktags::quoted(name) : "none",
        "It is taken for PREVIEW_TYPE. The pipe types are " + names + ".");
}

/// Reports elements in an entry that the library does not read.
void ConfigChecker::checkChildren(const ConfigEntry& entry) {
    constexpr const char* kRead[] = {kConfigPipe, kConfigCamera, kConfigSof, kConfigDumpType};
    std::map<std::string, int> seen;
    for (const pugi::xml_node child : entry.element.children()) {
        if (child.type() != pugi::node_element) continue;
        const std::string name = child.name();
        if (name == kConfigIdleSof) {
            add(RuleId::kConfigFilterCase, child, "sofID", "sofid");
            continue;
        }
        const bool known = std::any_of(std::begin(kRead), std::end(kRead),
                                       [&name](const char* read) { return name == read; });
        if (known && ++seen[name] == 1) continue;
        add(RuleId::kConfigElement, child, "pipe, camID, sofID and dumpType, each once",
            tyktags::quoted(name), "It is not read.");
    }
    checkNumber(entry, kConfigCamera);
    checkNumber(entry, kConfigSof);
}

/// Reports a filter that is not a number: the library takes it for 0, or ignores it if it is empty.
void ConfigChecker::checkNumber(const ConfigEntry& entry, const char* child) {
    const pugi::xml_node node = entry.element.child(child);
    if (!node) return;
    const std::string_view text = node.text().get();
    const size_t sign = !text.empty() && text[0] == '-' ? 1 : 0;
    const bool number =
        text.size() > sign && text.find_first_not_of("0123456789", sign) == std::string_view::npos;
    if (number) return;
    add(RuleId::kConfigElement, node, std::string("a number in ") + child, tyktags::quoted(text),
        text.empty() ? "It is not read."
                     : "It is read as " + std::to_string(node.text().as_int()) + ".");
}

void ConfigChecker::checkDumpType(const ConfigEntry& entry, const TagEntry* tag) {
    const pugi::xml_node child = entry.element.child(kConfigDumpType);
    const std::string expected = tag ? std::to_string(dumpTypeOf(*tag)) + ", as " + tag->name +
                                           " is of kind " + nameOf(tag->kind)
                                     : "0 or 1";
    const std::string_view text = child.text().get();
    if (text.empty()) {
        add(RuleId::kConfigDumpType, child ? child : entry.element, "a dump type: " + expected,
            "none", "It is taken for 0.");
        return;
    }
    if (text != "0" && text != "1") {
        add(RuleId::kConfigDumpType, child, expected, tyktags::quoted(text),
            entry.writesFile() ? "It is taken for " + std::to_string(entry.dumpType) + "."
                               : "The entry is silently not dumped.");
    } else if (tag && entry.dumpType != dumpTypeOf(*tag)) {
        add(RuleId::kConfigDumpType, child, expected, std::string(text));
    }
}

/// Reports an entry whose file an earlier entry writes; returns false then.
bool ConfigChecker::checkRepeated(const ConfigEntry& entry) {
    const size_t line = file_.lineAt(entry.element.offset_debug());
    const auto [first, isNew] = lines_.emplace(
        std::make_tuple(entry.tagName, entry.pipe, entry.camId, entry.sofId, entry.dumpType), line);
    if (!isNew) {
        add(RuleId::kConfigRepeated, entry.element, "entries that differ",
            tyktags::quoted(entry.tagName) + " as in line " + std::to_string(first->second));
    }
    return isNew;
}

void ConfigChecker::addCost(const ConfigEntry& entry, const TagEntry& tag) {
    if (tag.id == kSceneTag && entry.pipe == kScenePipe) cost_.scene = true;
    if (tag.id == kMfnrTag) cost_.tuning = true;
    if (!entry.writesFile()) return;
    if (entry.dumpType == kFixedSizeDump && tag.size > kMaxFixedBytes) return;
    ++cost_.files;
    cost_.bytes += static_cast<uint64_t>(std::max(tag.size, 0));
    if (entry.dumpType == kBlockDump) ++cost_.blocks;
}

void ConfigChecker::checkEntry(const ConfigEntry& entry) {
    const std::string name = entry.element.name();
    if (name != kConfigTagName) {
        add(RuleId::kConfigElement, entry.element, "the element tag", tyktags::quoted(name),
            "It is read as an entry anyway.");
    }
    const TagEntry* const tag = catalog_.byName(entry.tagName);
    checkName(entry);
    checkPipe(entry);
    checkChildren(entry);
    checkDumpType(entry, tag);
    const bool isNew = entry.tagName.empty() || checkRepeated(entry);
    if (!tag) return;
    if (tag->kind == TagKind::fixed && tag->size > kMaxFixedBytes) {
        add(RuleId::kConfigTooLarge, entry.element,
            "at most " + std::to_string(kMaxFixedBytes) + " bytes",
            entry.tagName + " of " + std::to_string(tag->size));
    }
    if (isNew) addCost(entry, *tag);
}

ConfigCost ConfigChecker::check() {
    if (!checkRoot()) return cost_;
    checkSections();
    for (const ConfigEntry& entry : file_.entries) checkEntry(entry);
    if (cost_.scene) {
        cost_.files += kSceneFiles;
        for (const SceneBlock& block : kSceneBlocks) {
            cost_.bytes += static_cast<uint64_t>(block.bytes);
        }
    }
    return cost_;
}

}  // namespace

ConfigCost checkConfig(const std::string& path, const TagCatalog& catalog, FindingSink& sink) {
    DumpConfigFile file;
    readDumpConfig(path, file);
    return ConfigChecker(file, path, std::nullopt, catalog, sink).check();
}

void checkConfig(const DumpConfigFile& file, const std::string& path, int pipe,
                 const TagCatalog& catalog, FindingSink& sink) {
    ConfigChecker(file, path, pipe, catalog, sink).check();
}

}  // namespace tyktree
