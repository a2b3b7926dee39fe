#include "tools/camera/DefaultSetup.h"

#include "core/DumpConfigXml.h"
#include "records/SceneLayout.h"
#include "tags/KnownTags.h"
#include "tags/TableXml.h"
#include "tree/read/TagCatalog.h"

#include <pugixml.hpp>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

namespace tyksim {

namespace {

using tyktags::FieldType;
using tyktags::TagEntry;
using tyktags::TagField;
using tyktags::TagKind;

TagField field(const char* name, uint32_t offset, FieldType type,
               std::vector<uint32_t> dimensions = {}, const char* unit = "") {
    return {name, offset, type, std::move(dimensions), {}, unit, nullptr};
}

TagField enumField(const char* name, uint32_t offset, FieldType type, const char* enumName,
                   std::vector<tyktags::EnumValue> values) {
    TagField result = field(name, offset, type);
    result.enumeration = std::make_shared<const tyktags::TagEnum>(enumName, std::move(values));
    return result;
}

TagEntry knownTag(uint32_t id, std::vector<TagField> fields = {}) {
    const auto* const known =
        std::find_if(std::begin(tyktags::kKnownTags), std::end(tyktags::kKnownTags),
                     [id](const tyktags::KnownTag& tag) { return tag.id == id; });
    return {id, known->name, known->size, TagKind::fixed, std::move(fields)};
}

/// The unit of a field of the scene record; "" for mere numbers.
const char* sceneUnit(std::string_view leaf) {
    constexpr std::pair<std::string_view, const char*> kUnits[] = {
        {"exp_time", "ns"}, {"total_gain", "1/1024"},
        {"cur_ev", "EV"},   {"ev0", "EV"},
        {"ev1", "EV"},      {"ev2", "EV"},
        {"sx", "pixels"},   {"sy", "pixels"},
        {"ex", "pixels"},   {"ey", "pixels"}};
    for (const auto& [name, unit] : kUnits) {
        if (name == leaf) return unit;
    }
    return "";
}

/// The named fields of the scene record, for programs that know no more than the table.
std::vector<TagField> sceneFields() {
    std::vector<TagField> fields;
    for (const ::SceneField& known : kSceneFields) {
        std::string name = known.path;
        std::replace(name.begin(), name.end(), '/', '.');
        fields.push_back(field(name.c_str(), static_cast<uint32_t>(known.offset), known.type, {},
                               sceneUnit(known.leafName())));
    }
    return fields;
}

TagEntry fixedTag(uint32_t id, const char* name, int32_t size, std::vector<TagField> fields) {
    return {id, name, size, TagKind::fixed, std::move(fields)};
}

std::vector<TagEntry> blockTags() {
    return {{12289,
             "KELV_TAG_LENS_SHADING_MAP",
             64 * 1024,
             TagKind::block,
             {field("gains", 0, FieldType::u16, {4, kShadingRows, kShadingColumns}, "1/1024")}},
            {12290,
             "KELV_TAG_EXPOSURE_STATISTICS",
             128 * 1024,
             TagKind::block,
             {field("histogram", 0, FieldType::u32, {4, kHistogramBins}, "pixels"),
              field("zones", 4 * 4 * kHistogramBins, FieldType::u16, {kZoneRows, kZoneColumns})}},
            {12291,
             "KELV_TAG_GYRO_SAMPLES",
             4096,
             TagKind::block,
             {field("count", 0, FieldType::u32),
              enumField("axes", 4, FieldType::u32, "GyroAxes", {{"XYZ", {0}}, {"YXZ", {1}}}),
              field("first", 8, FieldType::u64, {}, "ns"),
              field("period", 16, FieldType::u64, {}, "ns"),
              field("rates", 24, FieldType::f32, {kGyroSamples, 3}, "rad/s")}}};
}

/// Adds the entry of a tag; a node's section names tags in another attribute.
void addEntry(pugi::xml_node section, const char* attribute, const TagEntry& tag) {
    pugi::xml_node entry = section.append_child(kConfigTagName);
    entry.append_attribute(attribute) = tag.name.c_str();
    entry.append_child(kConfigPipe).text() = "SNAPSHOT_TYPE";
    entry.append_child(kConfigDumpType).text() = tyktree::dumpTypeOf(tag);
}

void addNode(pugi::xml_node section, const char* name, const TagEntry& tag) {
    pugi::xml_node node = section.append_child(kConfigNodeName);
    node.append_attribute("name") = name;
    addEntry(node, kConfigNodeAttribute, tag);
}

}  // namespace

std::vector<TagEntry> defaultTags() {
    constexpr auto kNameBytes = static_cast<uint32_t>(kMfnrNameBytes);
    std::vector<TagEntry> tags{
        knownTag(kSceneTag, sceneFields()),
        fixedTag(4097, "KELV_TAG_EXPOSURE_TIME", 8,
                 {field("nanoseconds", 0, FieldType::u64, {}, "ns")}),
        fixedTag(4098, "KELV_TAG_SENSITIVITY", 4, {field("iso", 0, FieldType::u32, {}, "ISO")}),
        fixedTag(4099, "KELV_TAG_EXPOSURE_BIAS", 4, {field("ev", 0, FieldType::f32, {}, "EV")}),
        fixedTag(4100, "KELV_TAG_WB_GAINS", 16,
                 {field("gains", 0, FieldType::f32, {4}), field("red", 0, FieldType::f32),
                  field("blue", 12, FieldType::f32)}),
        fixedTag(4101, "KELV_TAG_FOCUS_POSITION", 4,
                 {field("step", 0, FieldType::i32, {}, "steps")}),
        fixedTag(4102, "KELV_TAG_COLOR_MATRIX", 36, {field("matrix", 0, FieldType::f32, {9})}),
        fixedTag(4103, "KELV_TAG_BLACK_LEVEL", 16, {field("levels", 0, FieldType::u32, {4})}),
        fixedTag(4104, "KELV_TAG_NOISE_PROFILE", 32, {field("model", 0, FieldType::f32, {8})}),
        fixedTag(4105, "KELV_TAG_FACE_REGIONS", 640,
                 {field("count", 0, FieldType::i32),
                  enumField("detector", 4, FieldType::i32, "FaceDetector",
                            {{"FAST", {0}}, {"ACCURATE", {1}}}),
                  field("first", 16, FieldType::i32, {4}, "pixels"),
                  field("faces", 16, FieldType::i32, {39, 4}, "pixels")}),
        fixedTag(4106, "KELV_TAG_GAMMA_CURVE", 2048, {field("points", 0, FieldType::u16, {1024})}),
        fixedTag(4107, "KELV_TAG_TONE_CURVE", 4096, {field("points", 0, FieldType::u16, {2048})}),
        knownTag(kOverrideByteTag, {field("percent", 0, FieldType::u8, {}, "%")}),
        knownTag(kOverrideSizeTag, {field("width", 0, FieldType::u32, {}, "pixels"),
                                    field("height", 4, FieldType::u32, {}, "pixels")}),
        knownTag(kMfnrTag, {field("first_name", 0, FieldType::text, {kNameBytes}),
                            field("names", 0, FieldType::text, {kMfnrNames, kNameBytes})})};
    const std::vector<TagEntry> blocks = blockTags();
    tags.insert(tags.end() - 1, blocks.begin(), blocks.end());
    return tags;
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
    return tyktags::savedText(document, pugi::format_default);
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
