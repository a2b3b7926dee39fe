// The dump configuration: the input is the file. The target dumps the tags that it lists.
#include "fuzz/NameRules.h"

#include <pugixml.hpp>

#include <cstring>

namespace {

using DumpList = std::vector<std::pair<std::string, PipelineSimulation::tagInfo>>;

const std::string kConfig = fake::kRoot + "/pipe1_dumpConfig.xml";
constexpr size_t kMostDumped = 6;
constexpr uint32_t kSof = 5;
constexpr uint32_t kCamera = 6;

uint32_t filter(pugi::xml_node entry, const char* name) {
    const pugi::xml_text text = entry.child(name).text();
    return text.empty() ? UINT32_MAX : static_cast<uint32_t>(text.as_int());
}

/// Calls `visit` for the elements of `parent` from the first one named `name` on.
template <typename Visit>
void walk(pugi::xml_node parent, const char* name, Visit visit) {
    bool begun = false;
    for (const pugi::xml_node node : parent.children()) {
        if (node.type() != pugi::node_element) continue;
        begun = begun || std::strcmp(node.name(), name) == 0;
        if (begun) visit(node);
    }
}

DumpList expectedList(PipelineSimulation& object, std::string_view input) {
    DumpList list;
    pugi::xml_document document;
    if (!document.load_buffer(input.data(), input.size())) return list;
    const auto read = [&](pugi::xml_node parent, const char* attribute) {
        walk(parent, "tag", [&](pugi::xml_node entry) {
            const std::string name = entry.attribute(attribute).value();
            uint32_t id = 0;
            for (const fake::Tag& tag : fake::kTags) {
                if (name == tag.name) id = tag.id;
            }
            const int pipe = object.getEnumByPipeName(entry.child("pipe").text().get());
            list.push_back({name,
                            {id, pipe, filter(entry, "camID"), filter(entry, "sofID"),
                             entry.child("dumpType").text().as_int()}});
        });
    };
    const pugi::xml_node root = document.child("dumpconfig");
    read(root.child("common"), "value");
    walk(root.child("pipeline"), "node", [&](pugi::xml_node node) { read(node, "name"); });
    return list;
}

/// Checks an entry's file: an entry with a tag of the right kind must have left a complete file
/// with the tag's value, an entry with no tag or another dump type no file.
void checkEntry(const std::string& folder, const std::string& name,
                const PipelineSimulation::tagInfo& info) {
    const uint32_t camera = info.camId == UINT32_MAX ? kCamera : info.camId;
    const uint32_t sof = info.sofId == UINT32_MAX ? kSof : info.sofId;
    std::string path = folder + "FCPDT";
    for (const int number :
         {static_cast<int>(sof), static_cast<int>(camera), info.pipe, info.dumpType}) {
        path += "_" + std::to_string(number);
    }
    const fake::File* const file = fake::findFile(path + "_" + name + ".bin");
    const fake::Tag* const tag = fake::findTag(info.tag);
    if (!tag || info.dumpType < 0 || info.dumpType > 1) {
        FAKE_EXPECT(!file);
        return;
    }
    if (tag->block != (info.dumpType == 1)) return;
    FAKE_EXPECT((file == nullptr) == (tag->size < 0 || tag->size > 512000));
    if (!file) return;
    FAKE_EXPECT(file->size == tag->size);
    std::string expected(file->bytes.size(), '\0');
    fake::valueOf(*tag, sof).copy(0, expected.data(), expected.size());
    FAKE_EXPECT(file->bytes == expected);
}

void dump(PipelineSimulation& object, DumpList list) {
    list.resize(std::min(list.size(), kMostDumped));
    object.dumpTagList = std::move(list);
    object.currentTask.clear();
    object.dumpParam(4, kSof, kCamera);
    FAKE_EXPECT(object.currentTask == fake::kPipeFolder);
    const std::string folder = object.currentFramePath + "/";
    size_t scene = 0;
    size_t mfnr = 0;
    for (const auto& [name, info] : object.dumpTagList) {
        checkEntry(folder, name, info);
        scene += info.tag == 2118 && info.pipe == 1 ? 1 : 0;
        mfnr += info.tag == 65622 ? 1 : 0;
    }
    FAKE_EXPECT((scene > 0) == (fake::findFile(folder + "iSceneInfo.xml") != nullptr));
    FAKE_EXPECT((mfnr > 0) == (fake::findFile(fake::kPipeFolder + "/mfnr5.2.xml") != nullptr));
    FAKE_EXPECT(fake::listedFiles(object.currentFramePath).size() <=
                object.dumpTagList.size() + 3 * scene);
}

void run(std::string_view input) {
    PipelineSimulation& object = fuzz::simulation(0);
    fake::addFile(kConfig, std::string(input));
    DumpList list = {{"left over", {}}};
    object.parseConfig(kConfig.c_str(), list);
    const DumpList expected = expectedList(object, input);
    const auto same = [](const auto& a, const auto& b) {
        return a.first == b.first && fuzz::fields(a.second) == fuzz::fields(b.second);
    };
    FAKE_EXPECT(std::equal(list.begin(), list.end(), expected.begin(), expected.end(), same));
    if (!list.empty()) dump(object, std::move(list));
}

const fuzz::Known known(fuzz::libraryTarget<run>("dump_config"));

}  // namespace
