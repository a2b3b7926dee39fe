#include "tools/json/TreeJson.h"

#include "tree/read/Escape.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <string>

namespace tyksim {

namespace {

using Values = std::vector<tyktags::Value>;

/// The values in nested lists, each written by `written`, with one level for each dimension from
/// `depth` on. Consumes values from the front; there may be fewer than the dimensions require.
Json listOf(const std::vector<uint32_t>& shape, size_t depth, Values::const_iterator& next,
            Values::const_iterator end, Json (*written)(const tyktags::Value&)) {
    if (depth == shape.size()) return written(*next++);
    Json list = Json::array();
    for (uint32_t i = 0; i < shape[depth] && next != end; ++i) {
        list.push_back(listOf(shape, depth + 1, next, end, written));
    }
    return list;
}

bool isUtf8(const tyktags::Value& value) {
    const auto* const text = std::get_if<std::string>(&value);
    return !text || tyktree::isUtf8(*text);
}

Json exactBytes(const tyktags::Value& value) {
    return base64(tyktags::toText(value));
}

/// Adds values with these dimensions; null if there are no values.
void addValues(Json& object, const std::string& key, const std::vector<uint32_t>& shape,
               const Values& values) {
    if (values.empty()) {
        object[key] = nullptr;
    } else if (shape.empty()) {
        addValue(object, key, values.front());
    } else {
        auto next = values.begin();
        object[key] = listOf(shape, 0, next, values.end(), toJson);
        if (std::all_of(values.begin(), values.end(), isUtf8)) return;
        next = values.begin();
        object[key + std::string(kExactEnd)] = listOf(shape, 0, next, values.end(), exactBytes);
    }
}

}  // namespace

Json toJson(const tyktags::NamedNumber& value) {
    return {{"number", toJson(withoutName(value))},
            {"name", value.name.empty() ? Json() : Json(tyktree::toUtf8(value.name))}};
}

Json toJson(const tyktags::Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return *number;
    if (const auto* number = std::get_if<uint64_t>(&value)) return *number;
    if (const auto* number = std::get_if<double>(&value)) {
        if (std::isfinite(*number)) return *number;
        return tyktags::toText(value);
    }
    if (const auto* text = std::get_if<std::string>(&value)) return tyktree::toUtf8(*text);
    if (const auto* named = std::get_if<tyktags::NamedNumber>(&value)) return toJson(*named);
    return nullptr;
}

void addValue(Json& object, const std::string& key, const tyktags::Value& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        addText(object, key, *text);
    } else {
        object[key] = toJson(value);
    }
}

void addField(Json& object, const tyktree::DecodedField& field) {
    addValues(object, keyOf(field.field->name), field.field->shape(), field.values);
}

void addValue(Json& object, const std::string& key, const tyktree::FrameValue& value) {
    if (value.isBlob) {
        object[key] = {{"crc32", fmt::format("{:08x}", value.crc32)}, {"size", value.size}};
    } else {
        addValues(object, key, value.shape, value.values);
    }
}

Json toJson(const tyktree::SceneRecord& record) {
    Json fields = Json::object();
    for (const ::SceneField& field : kSceneFields) {
        fields[field.path] = toJson(tyktree::sceneValue(field, record));
    }
    return fields;
}

Json identityOf(const tyktree::FrameRef& frame) {
    const tyktree::FrameEntry& entry = *frame.frame;
    Json identity = Json::object();
    identity["pipe"] = frame.pipe->id ? Json(*frame.pipe->id) : Json();
    identity["task"] = frame.task->position;
    identity["frame"] = entry.position;
    identity["request"] = entry.wellNamed ? Json(entry.parsed.requestId) : Json();
    identity["sof"] = entry.wellNamed ? Json(entry.parsed.sofId) : Json();
    return identity;
}

bool identifiesFrame(std::string_view column) {
    constexpr std::string_view kColumns[] = {"path",  "path_base64", "pipe", "task",
                                             "frame", "request",     "sof",  "time"};
    return std::find(std::begin(kColumns), std::end(kColumns), column) != std::end(kColumns);
}

Json toJson(const tyktree::Finding& finding) {
    // Positions count from 1.
    const auto place = [](uint32_t position) { return position == 0 ? Json() : Json(position); };
    const tyktree::Rule& rule = ruleOf(finding.rule);
    Json item = Json::object();
    item["rule"] = rule.name;
    item["severity"] = nameOf(rule.severity);
    addText(item, "path", finding.path);
    item["pipe"] = finding.place.pipe ? Json(*finding.place.pipe) : Json();
    item["task"] = place(finding.place.task);
    item["frame"] = place(finding.place.frame);
    addText(item, "expected", finding.expected);
    addText(item, "found", finding.found);
    addText(item, "reason", finding.reason);
    addText(item, "hint", finding.hint.empty() ? rule.hint : finding.hint);
    return item;
}

}  // namespace tyksim
