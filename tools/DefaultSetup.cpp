#include "tools/DefaultSetup.h"

#include "tools/Console.h"
#include "tools/WellKnownTags.h"

namespace tyksim {

namespace {

using tykhost::TagEntry;
using tykhost::TagKind;

/// The entry of a tag in the configuration; a node's section names tags in another attribute.
std::string configurationEntry(const TagEntry& tag, const char* indent, const char* attribute) {
    const int dumpType = tag.kind == TagKind::block ? 1 : 0;
    return text(indent, "<tag ", attribute, "=\"", tag.name, "\">\n", indent,
                "  <pipe>SNAPSHOT_TYPE</pipe>\n", indent, "  <dumpType>", dumpType, "</dumpType>\n",
                indent, "</tag>\n");
}

std::string configurationNode(const TagEntry& tag, const char* node) {
    return text("    <node name=\"", node, "\">\n", configurationEntry(tag, "      ", "name"),
                "    </node>\n");
}

}  // namespace

std::vector<TagEntry> defaultTags() {
    return {
        {kSceneTag, kSceneTagName, kSceneRecordBytes, TagKind::fixed},
        {4097, "KELV_TAG_EXPOSURE_TIME", 8, TagKind::fixed},
        {4098, "KELV_TAG_SENSITIVITY", 4, TagKind::fixed},
        {4099, "KELV_TAG_EXPOSURE_BIAS", 4, TagKind::fixed},
        {4100, "KELV_TAG_WB_GAINS", 16, TagKind::fixed},
        {4101, "KELV_TAG_FOCUS_POSITION", 4, TagKind::fixed},
        {4102, "KELV_TAG_COLOR_MATRIX", 36, TagKind::fixed},
        {4103, "KELV_TAG_BLACK_LEVEL", 16, TagKind::fixed},
        {4104, "KELV_TAG_NOISE_PROFILE", 64, TagKind::fixed},
        {4105, "KELV_TAG_FACE_REGIONS", 640, TagKind::fixed},
        {4106, "KELV_TAG_GAMMA_CURVE", 2048, TagKind::fixed},
        {4107, "KELV_TAG_TONE_CURVE", 4096, TagKind::fixed},
        {kStreamQualityTag, "KELV_TAG_STREAM_QUALITY", 1, TagKind::fixed},
        {kStreamSizeTag, "KELV_TAG_STREAM_SIZE", 8, TagKind::fixed},
        {12289, "KELV_TAG_LENS_SHADING_MAP", 64 * 1024, TagKind::block},
        {12290, "KELV_TAG_EXPOSURE_STATISTICS", 128 * 1024, TagKind::block},
        {12291, "KELV_TAG_GYRO_SAMPLES", 4096, TagKind::block},
        {kMfnrTag, kMfnrTagName, kMfnrTableBytes, TagKind::fixed},
    };
}

std::string defaultConfiguration(const std::vector<TagEntry>& tags) {
    std::string common, pipeline;
    for (const TagEntry& tag : tags) {
        if (tag.id == kSceneTag) {
            pipeline += configurationNode(tag, "scene_detection");
        } else if (tag.id == kMfnrTag) {
            pipeline += configurationNode(tag, "mfnr");
        } else {
            common += configurationEntry(tag, "    ", "value");
        }
    }
    return text("<?xml version=\"1.0\"?>\n<dumpconfig>\n  <common>\n", common,
                "  </common>\n  <pipeline>\n", pipeline, "  </pipeline>\n</dumpconfig>\n");
}

const std::vector<TuningFile>& tuningFiles() {
    static const std::vector<TuningFile> files = {
        {"mfnr3_default.xml",
         "<?xml version=\"1.0\"?>\n<mfnr version=\"3\">\n  <strength luma=\"0.40\" "
         "chroma=\"0.60\"/>\n</mfnr>\n"},
        {"mfnr4_default.xml",
         "<?xml version=\"1.0\"?>\n<mfnr version=\"4\">\n  <strength luma=\"0.45\" "
         "chroma=\"0.65\"/>\n</mfnr>\n"},
        {"mfnr5.2_default.xml",
         "<?xml version=\"1.0\"?>\n<mfnr version=\"5.2\">\n  <strength luma=\"0.50\" "
         "chroma=\"0.70\"/>\n  <frames min=\"3\" max=\"8\"/>\n</mfnr>\n"},
    };
    return files;
}

}  // namespace tyksim
