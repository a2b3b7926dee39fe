// The dump configuration: the input is the file. What it lists is dumped.
#include "fuzz/FuzzDevice.h"

#include <pugixml.hpp>

#include <cstring>
#include <set>

using namespace fuzz;

namespace {

using DumpList = std::vector<std::pair<std::string, PipelineSimulation::tagInfo>>;

constexpr const char* kConfig = "/data/vendor/cameraserver/tykdump/pipe1_dumpConfig.xml";
constexpr size_t kMostDumped = 6;
constexpr int kSof = 5;
constexpr int kCamera = 6;

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

DumpList expectedList(PipelineSimulation& object, const uint8_t* data, size_t size) {
    DumpList list;
    pugi::xml_document document;
    if (!document.load_buffer(data, size)) return list;
    const auto read = [&](pugi::xml_node parent, const char* attribute) {
        walk(parent, "tag", [&](pugi::xml_node entry) {
            const std::string name = entry.attribute(attribute).value();
            PipelineSimulation::tagInfo info{};
            for (const Tag& tag : kTags) {
                if (name == tag.name) info.tag = tag.id;
            }
            info.pipe = object.getEnumByPipeName(entry.child("pipe").text().get());
            info.camId = filter(entry, "camID");
            info.sofId = filter(entry, "sofID");
            info.dumpType = entry.child("dumpType").text().as_int();
            list.emplace_back(name, info);
        });
    };
    const pugi::xml_node root = document.child("dumpconfig");
    read(root.child("common"), "value");
    walk(root.child("pipeline"), "node", [&](pugi::xml_node node) { read(node, "name"); });
    return list;
}

bool sameEntry(const DumpList::value_type& a, const DumpList::value_type& b) {
    return a.first == b.first && a.second.tag == b.second.tag && a.second.pipe == b.second.pipe &&
           a.second.camId == b.second.camId && a.second.sofId == b.second.sofId &&
           a.second.dumpType == b.second.dumpType;
}

/// Whether an entry that calls a tag by its kind has left its file, whole and with its value.
void checkEntry(PipelineSimulation& object, const std::string& name,
                const PipelineSimulation::tagInfo& info) {
    const std::string folder = object.currentFramePath + "/";
    const Tag* const tag = findTag(info.tag);
    if (!tag || tag->block != (info.dumpType == 1) || info.dumpType < 0 || info.dumpType > 1)
        return;
    const int camera = info.camId == UINT32_MAX ? kCamera : static_cast<int>(info.camId);
    const int sof = info.sofId == UINT32_MAX ? kSof : static_cast<int>(info.sofId);
    const File* const file = findFile(folder + "FCPDT_" + std::to_string(sof) + "_" +
                                      std::to_string(camera) + "_" + std::to_string(info.pipe) +
                                      "_" + std::to_string(info.dumpType) + "_" + name + ".bin");
    const bool refused = tag->size < 0 || tag->size > 512000;
    FUZZ_EXPECT((file == nullptr) == refused);
    if (refused) return;
    FUZZ_EXPECT(file->size == tag->size);
    const auto fill = static_cast<char>(device().fill);
    FUZZ_EXPECT(file->bytes.find_first_not_of(fill) == std::string::npos);
}

void dump(PipelineSimulation& object, DumpList list) {
    list.resize(std::min(list.size(), kMostDumped));
    object.dumpTagList = std::move(list);
    object.currentTask.clear();
    object.dumpParam(4, kSof, kCamera);
    FUZZ_EXPECT(object.currentTask == kPipeFolder);
    bool scene = false;
    bool mfnr = false;
    for (const auto& [name, info] : object.dumpTagList) {
        checkEntry(object, name, info);
        scene = scene || (info.tag == 2118 && info.pipe == 1);
        mfnr = mfnr || info.tag == 65622;
    }
    const std::string folder = object.currentFramePath + "/";
    FUZZ_EXPECT(scene == (findFile(folder + "iSceneInfo.xml") != nullptr));
    FUZZ_EXPECT(mfnr == (findFile(std::string(kPipeFolder) + "/mfnr5.2.xml") != nullptr));
    FUZZ_EXPECT(listedFiles(object.currentFramePath).size() <=
                object.dumpTagList.size() + 3 * scene);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PipelineSimulation& object = simulation(0);
    device().fill = static_cast<unsigned char>(size);
    addFile(kConfig, std::string(reinterpret_cast<const char*>(data), size));
    DumpList list = {{"left over", {}}};
    object.parseConfig(kConfig, list);
    const DumpList expected = expectedList(object, data, size);
    FUZZ_EXPECT(std::equal(list.begin(), list.end(), expected.begin(), expected.end(), sameEntry));
    if (!list.empty()) dump(object, std::move(list));
    FUZZ_EXPECT(device().openHandles == 0);
    restart();
    return 0;
}
