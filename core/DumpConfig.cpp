// The dump configuration: which tags are dumped, and with which filters.
#include "core/DumpConfigXml.h"
#include "core/Globals.h"
#include "core/LogLine.h"
#include "core/NameTables.h"
#include "core/PipelineSimulation.h"
#include "core/XmlFile.h"

namespace {

using DumpList = std::vector<std::pair<std::string, PipelineSimulation::tagInfo>>;

// Every log line of this file names parseConfig.
constexpr const char* kFunction = "parseConfig";

class ConfigReader {
public:
    ConfigReader(const PipelineSimulation& simulation, DumpList& out)
        : simulation_(simulation), out_(out) {}

    void read(pugi::xml_node root) {
        forConfigEntries(
            root,
            [](pugi::xml_node node) {
                TYK_LOG_AS(kDetail, kFunction, "node:%s", node.attribute("name").value());
            },
            [this](pugi::xml_node tag, const char* attribute) { readTag(tag, attribute); });
    }

private:
    void readTag(pugi::xml_node element, const char* nameAttribute) {
        const char* const name = element.attribute(nameAttribute).value();
        TYK_LOG_AS(kDetail, kFunction, "tag:%s", name);
        PipelineSimulation::tagInfo info{};
        info.tag = static_cast<uint32_t>(lookUpName(simulation_.tagNameMap, name));
        // "sofid" appears in the log only; "sofID" below is the filter.
        const pugi::xml_text sofid = element.child(kConfigIdleSof).text();
        TYK_LOG_AS(kDetail, kFunction, "%d %s %d", sofid.empty() ? 1 : 0, sofid.get(),
                   sofid.as_int());
        info.pipe = lookUpName(simulation_.pipeNameMap, element.child(kConfigPipe).text().get());
        info.camId = kOfTheFrame;
        if (const pugi::xml_text camID = element.child(kConfigCamera).text()) {
            info.camId = static_cast<uint32_t>(camID.as_int());
            TYK_LOG_AS(kDetail, kFunction, "camid:%d", camID.as_int());
        }
        info.sofId = kOfTheFrame;
        if (const pugi::xml_text sofID = element.child(kConfigSof).text()) {
            info.sofId = static_cast<uint32_t>(sofID.as_int());
            TYK_LOG_AS(kDetail, kFunction, "sofid:%d", sofID.as_int());
        }
        info.dumpType = element.child(kConfigDumpType).text().as_int();
        out_.emplace_back(name, info);
    }

    const PipelineSimulation& simulation_;
    DumpList& out_;
};

}  // namespace

void PipelineSimulation::parseConfig(const char* path, DumpList& out) {
    TYK_LOG(kDetail, "E, path %s", path);
    out.clear();
    pugi::xml_document document;
    if (!parseXmlFile(document, path)) {
        TYK_LOG(kFailure, "Document not parsed successfully! with file path %s", path);
        return;
    }
    const pugi::xml_node root = document.child(kConfigRootName);
    if (!root) {
        TYK_LOG(kFailure, "Could not find rootnode");
        return;
    }
    ConfigReader(*this, out).read(root);
    for (const auto& entry : out) {
        const tagInfo& info = entry.second;
        TYK_LOG(kDetail, "tag %s tag %d pipe %d cam %d sof %d", entry.first.c_str(),
                static_cast<int>(info.tag), info.pipe, static_cast<int>(info.camId),
                static_cast<int>(info.sofId));
    }
    TYK_LOG(kDetail, "X");
}
