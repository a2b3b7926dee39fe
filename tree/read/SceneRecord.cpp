#include "tree/read/SceneRecord.h"

#include "core/Unaligned.h"
#include "core/XmlFile.h"
#include "records/SceneXml.h"
#include "tree/read/FileBytes.h"
#include "tree/read/FolderReader.h"
#include "tree/read/Values.h"
#include "tree/read/XmlExtra.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

namespace tyktree {

namespace {

using Field = ::SceneField;

template <typename Number>
Number load(const Field& field, const SceneRecord& record) {
    return loadNumber<Number>(record.bytes.data() + field.offset);
}

template <typename Number>
void store(const Field& field, SceneRecord& record, Number number) {
    storeNumber(record.bytes.data() + field.offset, number);
}

bool equal(const Field& field, const SceneRecord& a, const SceneRecord& b) {
    const auto offset = static_cast<size_t>(field.offset);
    return std::memcmp(a.bytes.data() + offset, b.bytes.data() + offset,
                       static_cast<size_t>(field.width())) == 0;
}

/// The largest integer that a field's text can bring into a record, and the smallest.
struct Range {
    int64_t least;
    int64_t most;
};

Range rangeOf(FieldType type) {
    if (type == FieldType::i32) return {INT_MIN, INT_MAX};
    if (type == FieldType::u32) return {0, INT_MAX};
    return {0, INT64_MAX};
}

std::string rangeText(FieldType type) {
    if (type == FieldType::f32) return "a 32-bit floating-point number";
    const Range range = rangeOf(type);
    return "a whole number from " + std::to_string(range.least) + " to " +
           std::to_string(range.most);
}

bool parseInteger(std::string_view text, Range range, int64_t& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && range.least <= number && number <= range.most;
}

bool parseFloat(const std::string& text, float& number) {
    char* end = nullptr;
    errno = 0;
    number = std::strtof(text.c_str(), &end);
    const bool tooLarge = errno == ERANGE && std::isinf(number);
    return !text.empty() && end == text.c_str() + text.size() && !tooLarge;
}

/// `text` without the white space around it, which the XML library's conversions pass over.
std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    const size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

const FileEntry* findFile(const FrameListing& listing, std::string_view name) {
    for (const FileEntry& file : listing.files()) {
        if (file.name == name) return &file;
    }
    return nullptr;
}

/// The parameter file that the record's other files were made from.
const FileEntry* parameterFile(const FrameListing& listing) {
    for (const FileEntry& file : listing.files()) {
        if (file.kind != FileEntry::Kind::kParameter) continue;
        const ParamFileName& name = file.parameter;
        if (name.tagName == kSceneTagName && name.pipe == kScenePipe &&
            name.dumpType == kFixedSizeDump) {
            return &file;
        }
    }
    return nullptr;
}

/// What the blocks' files of a frame bring, and which were read.
struct Blocks {
    SceneRecord record;
    std::array<bool, std::size(kSceneBlocks)> read{};
};

/// The block that a field lies in, by index, or none.
std::optional<size_t> blockOf(const Field& field) {
    for (size_t i = 0; i < std::size(kSceneBlocks); ++i) {
        const SceneBlock& block = kSceneBlocks[i];
        if (field.offset >= block.offset && field.offset < block.offset + block.bytes) return i;
    }
    return std::nullopt;
}

/// The reading of one frame's record.
class SceneReader {
public:
    SceneReader(const FrameListing& listing, const FramePlace& place, FindingSink* findings)
        : listing_(listing), place_(place), findings_(findings) {}

    SceneSources read() {
        const FileEntry* const xml = findFile(listing_, kSceneXmlName);
        sources_.xmlThere = xml != nullptr;
        readParameter();
        for (size_t i = 0; i < std::size(kSceneBlocks); ++i) readBlock(i);
        if (xml) {
            readXml(*xml);
        } else if (anyPart_) {
            add(RuleId::kSceneFileMissing, kSceneXmlName, "the scene record's text file", "none");
        }
        if (sources_.fromFiles && findings_) compare();
        return sources_;
    }

private:
    void readParameter() {
        const FileEntry* const file = parameterFile(listing_);
        if (!file) return;
        anyPart_ = true;
        std::vector<uint8_t> bytes;
        if (!file->regular() || !readWhole(*file, kSceneRecordBytes, bytes)) return;
        sources_.fromParameter.emplace();
        std::copy(bytes.begin(), bytes.end(), sources_.fromParameter->bytes.begin());
    }

    void readBlock(size_t index) {
        const SceneBlock& block = kSceneBlocks[index];
        const FileEntry* const file = findFile(listing_, block.fileName);
        if (!file) {
            if (anyPart_ || sources_.xmlThere) {
                add(RuleId::kSceneFileMissing, block.fileName,
                    std::to_string(block.bytes) + " bytes of the scene record", "no file");
            }
            return;
        }
        anyPart_ = true;
        std::vector<uint8_t> bytes;
        if (file->regular() && file->bytes != static_cast<uint64_t>(block.bytes)) {
            add(RuleId::kSceneBlockSize, block.fileName, std::to_string(block.bytes) + " bytes",
                std::to_string(file->bytes));
        } else if (file->regular() && file->readable && readWhole(*file, block.bytes, bytes)) {
            std::copy(bytes.begin(), bytes.end(), blocks_.record.bytes.begin() + block.offset);
            blocks_.read[index] = true;
        }
    }

    /// Reads a file that should have `size` bytes; whether it has.
    bool readWhole(const FileEntry& file, int size, std::vector<uint8_t>& bytes) {
        const auto result = readFileBytes(pathOf(file.name), static_cast<uint64_t>(size), bytes);
        if (!result.ok()) {
            add(RuleId::kFileUnreadable, file.name, "its bytes", "none", result.problem().reason);
        }
        return result.ok() && bytes.size() == static_cast<size_t>(size);
    }

    void readXml(const FileEntry& xml) {
        if (!xml.regular() || !xml.readable) {  // a finding of the file
            sources_.problem = xml.regular() ? tyktags::systemReason(EACCES) : "not a regular file";
            return;
        }
        pugi::xml_document document;
        const pugi::xml_parse_result result = parseXmlFile(document, pathOf(kSceneXmlName).c_str());
        if (!result) {
            sources_.problem = result.description();
            add(RuleId::kSceneXml, kSceneXmlName, "an XML document", "none", sources_.problem);
            return;
        }
        sources_.fromFiles = blocks_.record;
        readSceneFields(document, sources_.fromFiles->bytes.data());
        if (!findings_) return;
        checkExtra(document);
        for (const Field& field : kSceneFields) checkField(document, field);
    }

    /// What the reading of the fields passed over.
    void checkExtra(const pugi::xml_document& document) {
        std::vector<uint8_t> bytes;
        if (!readFileBytes(pathOf(kSceneXmlName), kMaxXmlBytes, bytes).ok()) return;
        if (const auto extra = findOutsideRoot({bytes.begin(), bytes.end()})) {
            add(RuleId::kSceneXmlExtra, kSceneXmlName, "one root element and nothing outside it",
                extra->found);
        }
        std::set<pugi::xml_node> repeated;
        for (const Field& field : kSceneFields) {
            pugi::xml_node element = findSceneElement(document, field);
            for (; element; element = element.parent()) {
                if (!element.next_sibling(element.name())) continue;
                if (element == document.document_element()) continue;  // outside the root
                if (!repeated.insert(element).second) continue;
                add(RuleId::kSceneXmlExtra, kSceneXmlName,
                    std::string("the element ") + element.name() + " once", "it again");
            }
        }
    }

    void checkField(const pugi::xml_document& document, const Field& field) {
        const pugi::xml_node element = findSceneElement(document, field);
        if (!element) {
            add(RuleId::kSceneFieldMissing, kSceneXmlName, std::string("the element ") + field.path,
                "none");
            return;
        }
        const std::string text(trimmed(element.text().get()));
        float real = 0;
        int64_t integer = 0;
        const bool fits = field.type == FieldType::f32
                              ? parseFloat(text, real)
                              : parseInteger(text, rangeOf(field.type), integer);
        if (fits) return;
        add(RuleId::kSceneFieldRange, kSceneXmlName,
            std::string(field.path) + ": " + rangeText(field.type), "\"" + text + "\"",
            "a replay brings " + sceneText(field, *sources_.fromFiles));
    }

    /// Holds the text file against what was dumped: the parameter file, or where there is none the
    /// blocks.
    void compare() {
        for (const Field& field : kSceneFields) {
            const std::optional<size_t> block = blockOf(field);
            const bool inBlock = block && blocks_.read[*block];
            const SceneRecord* dumped = nullptr;
            if (sources_.fromParameter) {
                dumped = &*sources_.fromParameter;
            } else if (inBlock) {
                dumped = &blocks_.record;
            }
            if (!dumped || saturated(field, *dumped)) continue;
            if (!equal(field, *sources_.fromFiles, *dumped)) {
                add(RuleId::kSceneEdited, kSceneXmlName,
                    std::string(field.path) + " = " + sceneText(field, *dumped) + " as dumped",
                    sceneText(field, *sources_.fromFiles));
            } else if (inBlock && !equal(field, blocks_.record, *dumped)) {
                add(RuleId::kSceneDisagrees, kSceneBlocks[*block].fileName,
                    std::string(field.path) + " = " + sceneText(field, *dumped),
                    sceneText(field, blocks_.record));
            }
        }
        if (sources_.fromParameter) compareBlocks(*sources_.fromParameter);
    }

    /// Whether a field's value was lost on the way through the text, which is a finding already.
    static bool saturated(const Field& field, const SceneRecord& dumped) {
        if (field.type == FieldType::u32) return load<uint32_t>(field, dumped) > INT_MAX;
        return field.type == FieldType::u64 && load<uint64_t>(field, dumped) > INT64_MAX;
    }

    void compareBlocks(const SceneRecord& dumped) {
        SceneRecord masked = dumped;  // fields are compared one by one
        SceneRecord blocks = blocks_.record;
        for (const Field& field : kSceneFields) {
            std::memset(masked.bytes.data() + field.offset, 0, static_cast<size_t>(field.width()));
            std::memset(blocks.bytes.data() + field.offset, 0, static_cast<size_t>(field.width()));
        }
        for (size_t i = 0; i < std::size(kSceneBlocks); ++i) {
            if (!blocks_.read[i]) continue;
            const SceneBlock& block = kSceneBlocks[i];
            const auto from = masked.bytes.begin() + block.offset;
            const auto different =
                std::mismatch(from, from + block.bytes, blocks.bytes.begin() + block.offset).first;
            if (different == from + block.bytes) continue;
            add(RuleId::kSceneDisagrees, block.fileName, "the bytes of the parameter file",
                "others from offset " + std::to_string(different - from) + " on");
        }
    }

    std::string pathOf(std::string_view name) const {
        return listing_.path() + "/" + std::string(name);
    }

    void add(RuleId rule, std::string_view name, std::string expected, std::string found,
             std::string reason = "") {
        if (!findings_) return;
        findings_->add(
            makeFinding(rule, place_,
                        {pathOf(name), std::move(expected), std::move(found), std::move(reason)}));
    }

    const FrameListing& listing_;
    const FramePlace place_;
    FindingSink* const findings_;
    SceneSources sources_;
    Blocks blocks_;
    bool anyPart_ = false;  ///< the frame has some file of the record
};

}  // namespace

const Field* findSceneField(std::string_view name) {
    const Field* found = nullptr;
    for (const Field& field : kSceneFields) {
        if (name == field.path) return &field;
        if (name != field.leafName()) continue;
        if (found) return nullptr;
        found = &field;
    }
    return found;
}

std::string sceneText(const Field& field, const SceneRecord& record) {
    return toText(sceneValue(field, record));
}

std::string sceneXmlText(const Field& field, const SceneRecord& record) {
    if (field.type != FieldType::f32) return toText(sceneValue(field, record));
    char digits[32];
    const auto value = static_cast<double>(load<float>(field, record));
    static_cast<void>(std::snprintf(digits, sizeof(digits), "%.9g", value));
    return digits;
}

std::string setSceneField(const Field& field, std::string_view text, SceneRecord& record) {
    float real = 0;
    int64_t integer = 0;
    if (field.type == FieldType::f32) {
        if (parseFloat(std::string(text), real)) {
            store(field, record, real);
            return "";
        }
    } else if (parseInteger(text, rangeOf(field.type), integer)) {
        if (field.type == FieldType::u64) {
            store(field, record, static_cast<uint64_t>(integer));
        } else {
            store(field, record, static_cast<int32_t>(integer));
        }
        return "";
    }
    return std::string(field.path) + ": expected " + rangeText(field.type) + ", found \"" +
           std::string(text) + "\"";
}

SceneSources readScene(const FrameListing& listing, const FramePlace& place,
                       FindingSink* findings) {
    return SceneReader(listing, place, findings).read();
}

const SceneRecord* SceneSources::record() const {
    const std::optional<SceneRecord>& source = xmlThere ? fromFiles : fromParameter;
    return source ? &*source : nullptr;
}

std::optional<SceneRecord> readSceneXml(const std::string& path) {
    pugi::xml_document document;
    SceneRecord record;
    if (!parseXmlFile(document, path.c_str())) return std::nullopt;
    if (!readSceneFields(document, record.bytes.data())) return std::nullopt;
    return record;
}

}  // namespace tyktree
