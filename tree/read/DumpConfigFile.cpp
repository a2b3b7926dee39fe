#include "tree/read/DumpConfigFile.h"

#include "core/DumpConfigXml.h"
#include "core/PipeTypes.h"
#include "core/TreeNames.h"
#include "core/XmlFile.h"
#include "tree/read/FileBytes.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tyktree {

namespace {

int pipeTypeOf(const char* name) {
    for (const PipeType& type : kPipeTypes) {
        if (std::strcmp(type.name, name) == 0) return type.value;
    }
    return 0;
}

ConfigEntry entryOf(pugi::xml_node element, const char* attribute) {
    ConfigEntry entry;
    entry.element = element;
    entry.attribute = attribute;
    entry.tagName = element.attribute(attribute).value();
    entry.pipe = pipeTypeOf(element.child(kConfigPipe).text().get());
    if (const pugi::xml_text camera = element.child(kConfigCamera).text()) {
        entry.camId = camera.as_int();
    }
    if (const pugi::xml_text sof = element.child(kConfigSof).text()) entry.sofId = sof.as_int();
    entry.dumpType = element.child(kConfigDumpType).text().as_int();
    return entry;
}

tyktags::Problem notXml(const std::string& path, const std::string& reason) {
    return {path, "a dump configuration in XML", "none", reason};
}

tyktags::Status readText(const std::string& path, std::string& text) {
    std::vector<uint8_t> bytes;
    const auto size = readFileBytes(path, kMaxXmlBytes + 1, bytes);
    if (!size.ok()) return notXml(path, size.problem().reason);
    if (bytes.size() > static_cast<size_t>(kMaxXmlBytes)) {
        return notXml(path, "more than " + std::to_string(kMaxXmlBytes) + " bytes");
    }
    text.assign(bytes.begin(), bytes.end());
    return {};
}

}  // namespace

bool ConfigEntry::writesFile() const {
    return dumpType == kFixedSizeDump || dumpType == kBlockDump;
}

bool DumpConfigFile::expectsImages() const {
    return std::string_view(root.attribute(kImagesAttribute).value()) != "no";
}

size_t DumpConfigFile::lineAt(std::ptrdiff_t offset) const {
    const auto end =
        std::clamp<std::ptrdiff_t>(offset, 0, static_cast<std::ptrdiff_t>(text.size()));
    return static_cast<size_t>(std::count(text.begin(), text.begin() + end, '\n')) + 1;
}

void readDumpConfig(const std::string& path, DumpConfigFile& out) {
    out.status = readText(path, out.text);
    if (!out.status.ok()) return;
    const pugi::xml_parse_result result =
        out.document.load_buffer(out.text.data(), out.text.size());
    if (!result) {
        const std::string line = "line " + std::to_string(out.lineAt(result.offset));
        out.status = notXml(path, line + ": " + result.description());
        return;
    }
    out.root = out.document.child(kConfigRootName);
    forConfigEntries(
        out.root, [](pugi::xml_node) {},
        [&out](pugi::xml_node element, const char* attribute) {
            out.entries.push_back(entryOf(element, attribute));
        });
}

}  // namespace tyktree
