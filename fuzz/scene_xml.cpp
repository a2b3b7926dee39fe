// The scene-info record: the input's first line gives the sizes of the two raw files and the seed
// of their bytes ("4904 824 7"), the rest is the XML file. What is loaded is dumped and loaded
// again.
#include "fuzz/FuzzDevice.h"

#include <climits>
#include <pugixml.hpp>

#include <cmath>
#include <cstdlib>
#include <cstring>

using namespace fuzz;

namespace {

constexpr const char* kFrame = "/data/vendor/cameraserver/tykdump/pipe_1/frame";
constexpr size_t kRecordBytes = 8512;

struct Field {
    size_t offset;
    char type;  ///< 'i': as an int, 'u': the same of an unsigned field, 'l': long, 'f': float
    const char* parent;
    const char* leaf;
};

constexpr Field kFields[] = {
    {400, 'u', "cap_info", "postproc_type"},
    {404, 'i', "cap_info", "normal_num"},
    {408, 'i', "cap_info", "total_num"},
    {464, 'u', "cap_info/detect_out", "postproc_type"},
    {520, 'i', "cap_info/detect_out", "total_num"},
    {524, 'i', "cap_info/detect_out", "normal_num"},
    {528, 'f', "cap_info/detect_out/hdr_detect_out", "ev0"},
    {532, 'f', "cap_info/detect_out/hdr_detect_out", "ev1"},
    {536, 'f', "cap_info/detect_out/hdr_detect_out", "ev2"},
    {7060, 'f', "threeA_info/ae_info", "cur_ev"},
    {7132, 'u', "threeA_info/ae_info", "total_gain"},
    {7160, 'l', "threeA_info/ae_info", "exp_time"},
    {8452, 'u', "threeA_info/af_info/af_roi_regoin", "sx"},
    {8456, 'u', "threeA_info/af_info/af_roi_regoin", "sy"},
    {8460, 'u', "threeA_info/af_info/af_roi_regoin", "ex"},
    {8464, 'u', "threeA_info/af_info/af_roi_regoin", "ey"},
};

template <typename Value>
void put(std::string& record, size_t offset, Value value) {
    std::memcpy(&record[offset], &value, sizeof(value));
}

template <typename Value>
Value get(const std::string& record, size_t offset) {
    Value value;
    std::memcpy(&value, &record[offset], sizeof(value));
    return value;
}

/// The record that the two raw files and the document make.
std::string expectedRecord(const pugi::xml_document& document, const std::string& detect,
                           const std::string& hdr) {
    std::string record(kRecordBytes, '\0');
    if (detect.size() == 4904) record.replace(464, 4904, detect);
    if (hdr.size() == 824) record.replace(5368, 824, hdr);
    for (const Field& field : kFields) {
        pugi::xml_node node = document.child("iSceneInfo");
        std::string path = field.parent;
        for (char* piece = std::strtok(path.data(), "/"); piece;
             piece = std::strtok(nullptr, "/")) {
            node = node.child(piece);
        }
        if (!node && std::strncmp(field.leaf, "ev", 2) == 0) continue;
        const pugi::xml_text text = node.child(field.leaf).text();
        if (field.type == 'f') {
            put(record, field.offset, static_cast<float>(std::strtod(text.get(), nullptr)));
        } else if (field.type == 'l') {
            put(record, field.offset, text.as_llong());
        } else {
            put(record, field.offset, text.as_int());
        }
    }
    return record;
}

/// What dumping and loading make of a record: numbers without a sign saturate at the largest with
/// one, and of what is not a number only that survives.
std::string normal(std::string record) {
    for (const Field& field : kFields) {
        if (field.type == 'u' && get<int>(record, field.offset) < 0) {
            put(record, field.offset, INT_MAX);
        } else if (field.type == 'l' && get<long long>(record, field.offset) < 0) {
            put(record, field.offset, LLONG_MAX);
        } else if (field.type == 'f' && std::isnan(get<float>(record, field.offset))) {
            put(record, field.offset, std::nanf(""));
        }
    }
    return record;
}

/// The record with the bytes cleared that are neither in a raw file nor in a field.
std::string carried(const std::string& record) {
    std::string result(kRecordBytes, '\0');
    result.replace(464, 4904, record, 464, 4904).replace(5368, 824, record, 5368, 824);
    for (const Field& field : kFields) {
        const size_t width = field.type == 'l' ? 8 : 4;
        result.replace(field.offset, width, record, field.offset, width);
    }
    return result;
}

std::string noise(size_t size, uint64_t seed) {
    std::string bytes(size + 8, '\0');
    for (size_t i = 0; i < size; i += 8) {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        put(bytes, i, seed);
    }
    bytes.resize(size);
    return bytes;
}

std::string load(PipelineSimulation& object, bool& published) {
    auto& calls = device().published;
    calls.clear();
    object.camId = 3;
    object.loadISceneInfo(kFrame, 9);
    published = !calls.empty();
    if (!published) return {};
    FUZZ_EXPECT(calls.size() == 2 && calls[0].bytes == calls[1].bytes);
    for (int pipe : {0, 1}) {
        const Published& call = calls[static_cast<size_t>(pipe)];
        FUZZ_EXPECT(call.byNode && call.camId == 3 && call.pipe == pipe && call.sofId == 9 &&
                    call.tag == 2118);
    }
    return calls[0].bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PipelineSimulation& object = simulation(1);
    std::string xml(reinterpret_cast<const char*>(data), size);
    const std::string line = takeLine(xml);
    char* rest = nullptr;
    const std::string detect(noise(std::strtoul(line.c_str(), &rest, 10) % 5000, size));
    const std::string hdr(
        noise(std::strtoul(rest, &rest, 10) % 1000, std::strtoul(rest, &rest, 10)));
    const std::string folder = std::string(kFrame) + "/";
    device().files[kFrame].type = DT_DIR;
    addFile(folder + "ISCENE_CAP_INFO_DETECT_OUT.bin", detect);
    addFile(folder + "ISCENE_CAP_INFO_HDR_DETECT_OUT.bin", hdr);
    addFile(folder + "iSceneInfo.xml", xml);

    bool published = false;
    std::string record = load(object, published);
    pugi::xml_document document;
    FUZZ_EXPECT(published == !!document.load_buffer(xml.data(), xml.size()));
    if (published) {
        FUZZ_EXPECT(record == expectedRecord(document, detect, hdr));
        FUZZ_EXPECT(record == carried(record));
        object.currentFramePath = kFrame;
        object.dumpIsceneInfo(record.data());
        FUZZ_EXPECT(normal(load(object, published)) == normal(record) && published);
    }
    FUZZ_EXPECT(device().openHandles == 0);
    restart();
    return 0;
}
