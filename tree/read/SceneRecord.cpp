#include "tree/read/SceneRecord.h"

#include "core/Unaligned.h"
#include "tags/Words.h"

#include <climits>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

namespace tyktree {

namespace {

using Field = ::SceneField;

/// The smallest and the largest integer that survive the XML file.
struct IntegerRange {
    int64_t least;
    int64_t most;
};

IntegerRange rangeOf(FieldType type) {
    if (type == FieldType::i32) return {INT_MIN, INT_MAX};
    if (type == FieldType::u32) return {0, INT_MAX};
    return {0, INT64_MAX};
}

/// Stores the number in `text`; returns false if it is not a number that survives the XML file.
bool store(const Field& field, std::string_view text, SceneRecord& record) {
    uint8_t* const to = record.bytes.data() + field.offset;
    if (field.type == FieldType::f32) {
        const std::optional<float> number = tyktags::parseFloat(text);
        if (number) storeNumber(to, *number);
        return number.has_value();
    }
    const IntegerRange range = rangeOf(field.type);
    const std::optional<int64_t> number = tyktags::parseInteger(text);
    if (!number || *number < range.least || *number > range.most) return false;
    // On a little-endian machine, the low bytes of a number in range are its value in the field's
    // width.
    std::memcpy(to, &*number, static_cast<size_t>(field.width()));
    return true;
}

bool isOfField(int offset) {
    return std::any_of(std::begin(kSceneFields), std::end(kSceneFields),
                       [offset](const Field& field) {
                           return field.offset <= offset && offset < field.offset + field.width();
                       });
}

}  // namespace

std::vector<const Field*> sceneFieldsNamed(std::string_view name) {
    std::vector<const Field*> found;
    for (const Field& field : kSceneFields) {
        if (name == field.path) return {&field};
        if (name == field.leafName()) found.push_back(&field);
    }
    return found;
}

const Field* findSceneField(std::string_view name) {
    const std::vector<const Field*> found = sceneFieldsNamed(name);
    return found.size() == 1 ? found.front() : nullptr;
}

std::string_view shortestName(const Field& field) {
    return findSceneField(field.leafName()) ? field.leafName() : field.path;
}

tyktags::Value sceneValue(const Field& field, const SceneRecord& record) {
    const tyktags::TagField layout{"", static_cast<uint32_t>(field.offset), field.type};
    return decodeField(layout, record.bytes.data(), record.bytes.size()).front();
}

std::string sceneText(const Field& field, const SceneRecord& record) {
    return tyktags::toText(sceneValue(field, record));
}

std::string sceneXmlText(const Field& field, const SceneRecord& record) {
    if (field.type != FieldType::f32) return sceneText(field, record);
    std::array<char, 32> digits{};
    const auto value = static_cast<double>(loadNumber<float>(record.bytes.data() + field.offset));
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::general, 9);
    return {digits.data(), end.ptr};
}

std::string sceneRange(const Field& field) {
    if (field.type == FieldType::f32) return "a 32-bit floating-point number";
    const IntegerRange range = rangeOf(field.type);
    return "a whole number from " + std::to_string(range.least) + " to " +
           std::to_string(range.most);
}

bool isInSceneRange(const Field& field, const SceneRecord& record) {
    const tyktags::Value value = sceneValue(field, record);
    const auto* const number = std::get_if<uint64_t>(&value);
    return !number || *number <= static_cast<uint64_t>(rangeOf(field.type).most);
}

tyktags::Status setSceneField(const Field& field, std::string_view text, SceneRecord& record) {
    if (store(field, text, record)) return {};
    return tyktags::Problem{"", sceneRange(field), tyktags::quoted(text), "", field.path};
}

bool isSameField(const Field& field, const SceneRecord& a, const SceneRecord& b) {
    const auto width = static_cast<size_t>(field.width());
    // Two NaN values may differ in bits that no text shows.
    return std::memcmp(a.bytes.data() + field.offset, b.bytes.data() + field.offset, width) == 0 ||
           sceneText(field, a) == sceneText(field, b);
}

std::optional<int> firstDifference(const ::SceneBlock& block, const SceneRecord& a,
                                   const SceneRecord& b) {
    for (int i = 0; i < block.bytes; ++i) {
        const int place = block.offset + i;
        const auto at = static_cast<size_t>(place);
        if (a.bytes[at] != b.bytes[at] && !isOfField(place)) return i;
    }
    return std::nullopt;
}

}  // namespace tyktree
