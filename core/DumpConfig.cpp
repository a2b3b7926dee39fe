// The dump configuration: which tags are dumped, and with which filters.
#include "core/Globals.h"
#include "core/LogLine.h"
#include "core/NameTables.h"
#include "core/PipelineSimulation.h"
#include "core/XmlFile.h"

namespace {

using DumpList = std::vector<std::pair<std::string, PipelineSimulation::tagInfo>>;

// Every line here is parseConfig's.
constexpr const char* kFunction = "parseConfig";

/// Calls `visit` for the first child named `name` and every element after it, whatever its name:
/// configurations in the field rely on entries that bear another name being read as well.
template <typename Visit>
void forElementsFrom(pugi::xml_node parent, const char* name, Visit visit) {
    for (pugi::xml_node node = parent.child(name); node; node = node.next_sibling()) {
        if (node.type() == pugi::node_element) visit(node);
    }
}

class ConfigReader {
public:
    ConfigReader(const PipelineSimulation& simulation, DumpList& out)
        : simulation_(simulation), out_(out) {}

    // The tag's name is an attribute called "value" here and "name" below a node; configurations
    // are written that way.
    void readCommon(pugi::xml_node common) {
        forElementsFrom(common, "tag", [this](pugi::xml_node tag) { readTag(tag, "value"); });
    }

    void readPipeline(pugi::xml_node pipeline) {
        forElementsFrom(pipeline, "node", [this](pugi::xml_node node) {
            TYK_LOG_AS(kDetail, kFunction, "node:%s", node.attribute("name").value());
            forElementsFrom(node, "tag", [this](pugi::xml_node tag) { readTag(tag, "name"); });
        });
    }

private:
    void readTag(pugi::xml_node element, const char* nameAttribute) {
        const char* const name = element.attribute(nameAttribute).value();
        TYK_LOG_AS(kDetail, kFunction, "tag:%s", name);
        PipelineSimulation::tagInfo info{};
        info.tag = static_cast<uint32_t>(lookUpName(simulation_.tagNameMap, name));
        // "sofid" only shows in the log; the filter is "sofID" below.
        const pugi::xml_text sofid = element.child("sofid").text();
        TYK_LOG_AS(kDetail, kFunction, "%d %s %d", sofid.empty() ? 1 : 0, sofid.get(),
                   sofid.as_int());
        info.pipe = lookUpName(simulation_.pipeNameMap, element.child("pipe").text().get());
        info.camId = kOfTheFrame;
        if (const pugi::xml_text camID = element.child("camID").text()) {
            info.camId = static_cast<uint32_t>(camID.as_int());
            TYK_LOG_AS(kDetail, kFunction, "camid:%d", camID.as_int());
        }
        info.sofId = kOfTheFrame;
        if (const pugi::xml_text sofID = element.child("sofID").text()) {
            info.sofId = static_cast<uint32_t>(sofID.as_int());
            TYK_LOG_AS(kDetail, kFunction, "sofid:%d", sofID.as_int());
        }
        info.dumpType = element.child("dumpType").text().as_int();
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
    const pugi::xml_node root = document.child("dumpconfig");
    if (!root) {
        TYK_LOG(kFailure, "Could not find rootnode");
        return;
    }
    ConfigReader reader(*this, out);
    reader.readCommon(root.child("common"));
    reader.readPipeline(root.child("pipeline"));
    for (const auto& entry : out) {
        const tagInfo& info = entry.second;
        TYK_LOG(kDetail, "tag %s tag %d pipe %d cam %d sof %d", entry.first.c_str(),
                static_cast<int>(info.tag), info.pipe, static_cast<int>(info.camId),
                static_cast<int>(info.sofId));
    }
    TYK_LOG(kDetail, "X");
}
