// The scene-info record. The input's first line has the sizes of the two raw files, 0 for no file,
// and the seed of their bytes ("4904 824 7"); the rest is the XML file. The target dumps the loaded
// record and loads it again.
#include "fuzz/LibraryTarget.h"

#include <pugixml.hpp>

#include <cmath>
#include <cstdlib>
#include <cstring>

using namespace fuzz;

namespace {

const std::string kFrame = fake::kPipeFolder + "/frame";
constexpr size_t kRecordBytes = 8512;

struct Field {
    size_t offset;
    char type;  ///< 'i': int, 'u': unsigned field read as an int, 'l': long, 'f': float
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

/// The record from the two raw files and the document; all other bytes are zero.
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

/// A record after dumping and loading: unsigned numbers saturate at the signed maximum, and of a
/// NaN only the sign survives.
std::string normal(std::string record) {
    for (const Field& field : kFields) {
        const auto real = get<float>(record, field.offset);
        if (field.type == 'u' && get<int>(record, field.offset) < 0) {
            put(record, field.offset, INT_MAX);
        } else if (field.type == 'l' && get<long long>(record, field.offset) < 0) {
            put(record, field.offset, LLONG_MAX);
        } else if (field.type == 'f' && std::isnan(real)) {
            put(record, field.offset, std::copysign(std::nanf(""), real));
        }
    }
    return record;
}

std::string noise(size_t size, uint64_t seed) {
    std::string bytes(size + 8, '\0');
    for (size_t i = 0; i < size; i += 8) {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        put(bytes, i, seed);
    }
    return bytes.substr(0, size);
}

/// The published record; "" if none is published.
std::string load(PipelineSimulation& object) {
    auto& calls = fake::device().published;
    calls.clear();
    object.loadISceneInfo(kFrame, 9);
    if (calls.empty()) return "";
    FAKE_EXPECT(calls.size() == 2 && calls[0].bytes == calls[1].bytes);
    for (size_t pipe : {0U, 1U}) {
        const fake::Published& call = calls[pipe];
        FAKE_EXPECT(call.byNode && call.camId == 3 && call.pipe == static_cast<int>(pipe) &&
                    call.sofId == 9 && call.tag == 2118);
    }
    return calls[0].bytes;
}

void run(std::string_view input) {
    PipelineSimulation& object = simulation(1);
    const size_t size = input.size();
    const std::string line = takeLine(input);
    char* rest = nullptr;
    const std::string detect = noise(std::strtoul(line.c_str(), &rest, 10) % 5000, size);
    const size_t hdrBytes = std::strtoul(rest, &rest, 10) % 1000;
    const std::string hdr = noise(hdrBytes, std::strtoul(rest, nullptr, 10));
    fake::device().files[kFrame].type = DT_DIR;
    if (!detect.empty()) fake::addFile(kFrame + "/ISCENE_CAP_INFO_DETECT_OUT.bin", detect);
    if (!hdr.empty()) fake::addFile(kFrame + "/ISCENE_CAP_INFO_HDR_DETECT_OUT.bin", hdr);
    fake::addFile(kFrame + "/iSceneInfo.xml", std::string(input));

    std::string record = load(object);
    pugi::xml_document document;
    FAKE_EXPECT(record.empty() != !!document.load_buffer(input.data(), input.size()));
    if (record.empty()) return;
    FAKE_EXPECT(record == expectedRecord(document, detect, hdr));
    object.currentFramePath = kFrame;
    object.dumpIsceneInfo(record.data());
    FAKE_EXPECT(load(object) == normal(record));
}

const Known known(libraryTarget<run>("scene_xml"));

}  // namespace
