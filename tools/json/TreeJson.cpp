#include "tools/json/TreeJson.h"

#include "tree/read/Escape.h"

#include <cmath>
#include <fmt/format.h>
#include <string>

namespace tyksim {

namespace {

Json listOf(const std::vector<tyktags::Value>& values) {
    Json list = Json::array();
    for (const tyktags::Value& value : values) list.push_back(toJson(value));
    return list;
}

}  // namespace

Json toJson(const tyktags::Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return *number;
    if (const auto* number = std::get_if<uint64_t>(&value)) return *number;
    if (const auto* number = std::get_if<double>(&value)) {
        if (std::isfinite(*number)) return *number;
        return tyktags::toText(value);
    }
    if (const auto* text = std::get_if<std::string>(&value)) return tyktree::toUtf8(*text);
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
    const std::string key = keyOf(field.field->name);
    if (tyktags::isSingle(*field.field) || field.values.empty()) {
        addValue(object, key, field.values.empty() ? tyktags::Value() : field.values.front());
    } else {
        object[key] = listOf(field.values);
    }
}

void addValue(Json& object, const std::string& key, const tyktree::FrameValue& value) {
    if (value.isBlob) {
        object[key] = {{"crc32", fmt::format("{:08x}", value.crc32)}, {"size", value.size}};
    } else if (value.values.size() > 1) {
        object[key] = listOf(value.values);
    } else {
        addValue(object, key, value.absent() ? tyktags::Value() : value.values.front());
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
