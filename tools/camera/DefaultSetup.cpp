#include "tools/camera/DefaultSetup.h"

#include "core/DumpConfigXml.h"
#include "core/TreeNames.h"
#include "tags/KnownTags.h"

#include <pugixml.hpp>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace tyksim {

namespace {

using tyktags::FieldType;
using tyktags::TagEntry;
using tyktags::TagField;
using tyktags::TagKind;

TagEntry knownTag(uint32_t id, std::vector<TagField> fields = {}) {
    const auto* const known =
        std::find_if(std::begin(tyktags::kKnownTags), std::end(tyktags::kKnownTags),
                     [id](const tyktags::KnownTag& tag) { return tag.id == id; });
    return {id, known->name, known->size, TagKind::fixed, std::move(fields)};
}

/// Adds the entry of a tag; a node's section names tags in another attribute.
void addEntry(pugi::xml_node section, const char* attribute, const TagEntry& tag) {
    pugi::xml_node entry = section.append_child(kConfigTagName);
    entry.append_attribute(attribute) = tag.name.c_str();
    entry.append_child(kConfigPipe).text() = "SNAPSHOT_TYPE";
    entry.append_child(kConfigDumpType).text() =
        tag.kind == TagKind::block ? kBlockDump : kFixedSizeDump;
}

void addNode(pugi::xml_node section, const char* name, const TagEntry& tag) {
    pugi::xml_node node = section.append_child(kConfigNodeName);
    node.append_attribute("name") = name;
    addEntry(node, kConfigNodeAttribute, tag);
}

}  // namespace

std::vector<TagEntry> defaultTags() {
    return {
        knownTag(kSceneTag),
        {4097, "KELV_TAG_EXPOSURE_TIME", 8, TagKind::fixed, {{"nanoseconds", 0, FieldType::u64}}},
        {4098, "KELV_TAG_SENSITIVITY", 4, TagKind::fixed, {{"iso", 0, FieldType::u32}}},
        {4099, "KELV_TAG_EXPOSURE_BIAS", 4, TagKind::fixed, {{"ev", 0, FieldType::f32}}},
        {4100,
         "KELV_TAG_WB_GAINS",
         16,
         TagKind::fixed,
         {{"gains", 0, FieldType::f32, {4}},
          {"red", 0, FieldType::f32},
          {"blue", 12, FieldType::f32}}},
        {4101, "KELV_TAG_FOCUS_POSITION", 4, TagKind::fixed, {{"step", 0, FieldType::i32}}},
        {4102, "KELV_TAG_COLOR_MATRIX", 36, TagKind::fixed, {{"matrix", 0, FieldType::f32, {9}}}},
        {4103, "KELV_TAG_BLACK_LEVEL", 16, TagKind::fixed, {{"levels", 0, FieldType::u32, {4}}}},
        {4104, "KELV_TAG_NOISE_PROFILE", 32, TagKind::fixed, {{"model", 0, FieldType::f32, {8}}}},
        {4105,
         "KELV_TAG_FACE_REGIONS",
         640,
         TagKind::fixed,
         {{"count", 0, FieldType::i32}, {"first", 16, FieldType::i32, {4}}}},
        {4106,
         "KELV_TAG_GAMMA_CURVE",
         2048,
         TagKind::fixed,
         {{"points", 0, FieldType::u16, {1024}}}},
        {4107,
         "KELV_TAG_TONE_CURVE",
         4096,
         TagKind::fixed,
         {{"points", 0, FieldType::u16, {2048}}}},
        knownTag(kOverrideByteTag, {{"percent", 0, FieldType::u8}}),
        knownTag(kOverrideSizeTag, {{"width", 0, FieldType::u32}, {"height", 4, FieldType::u32}}),
        {12289, "KELV_TAG_LENS_SHADING_MAP", 64 * 1024, TagKind::block},
        {12290, "KELV_TAG_EXPOSURE_STATISTICS", 128 * 1024, TagKind::block},
        {12291, "KELV_TAG_GYRO_SAMPLES", 4096, TagKind::block},
        knownTag(kMfnrTag,
                 {{"first_name", 0, FieldType::text, {static_cast<uint32_t>(kMfnrNameBytes)}}}),
    };
}

std::string defaultConfiguration(const std::vector<TagEntry>& tags) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child(kConfigRootName);
    pugi::xml_node common = root.append_child(kConfigCommonName);
    pugi::xml_node pipeline = root.append_child(kConfigPipelineName);
    for (const TagEntry& tag : tags) {
        if (tag.id == kSceneTag) {
            addNode(pipeline, "scene_detection", tag);
        } else if (tag.id == kMfnrTag) {
            addNode(pipeline, "mfnr", tag);
        } else {
            addEntry(common, kConfigCommonAttribute, tag);
        }
    }
    std::ostringstream text;
    document.save(text, "  ");
    return text.str();
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
