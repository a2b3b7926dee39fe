#include "tools/json/Json.h"

#include "tree/read/Escape.h"

#include <cstdint>
#include <cstdio>

namespace tyksim {

namespace {

void write(std::string_view text) {
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stdout));
}

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string dumped(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string base64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t count = std::min<size_t>(3, bytes.size() - i);
        uint32_t group = 0;
        for (size_t k = 0; k < 3; ++k) {
            group = (group << 8U) | (k < count ? static_cast<uint8_t>(bytes[i + k]) : 0U);
        }
        for (size_t k = 0; k < 4; ++k) {
            text += k <= count ? kDigits[(group >> (18 - 6 * k)) & 63U] : '=';
        }
    }
    return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
    std::string bytes;
    uint32_t bits = 0;
    uint32_t held = 0;  // bits
    for (const char c : text.substr(0, text.find('='))) {
        const size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) return std::nullopt;
        bits = (bits << 6U) | static_cast<uint32_t>(digit);
        held += 6;
        if (held < 8) continue;
        held -= 8;
        bytes += static_cast<char>((bits >> held) & 0xFFU);
    }
    // Padding and unused bits must be as base64() writes them.
    if (base64(bytes) != text) return std::nullopt;
    return bytes;
}

void addText(Json& object, const std::string& key, std::string_view text) {
    if (tyktree::isUtf8(text)) {
        object[key] = std::string(text);
        return;
    }
    object[key] = tyktree::toUtf8(text);
    object[key + std::string(kExactEnd)] = base64(text);
}

std::string keyOf(std::string_view name) {
    return tyktree::isUtf8(name) ? std::string(name) : tyktree::escaped(name);
}

JsonDocument::JsonDocument(std::string_view schema, int version) {
    write("{");
    levels_.push_back({'}'});
    Json head = Json::object();
    head["name"] = std::string(schema);
    head["version"] = version;
    member("schema", head);
}

JsonDocument::~JsonDocument() {
    end();
}

void JsonDocument::separate() {
    if (!levels_.back().first) write(",");
    levels_.back().first = false;
}

void JsonDocument::writeKey(std::string_view key) {
    separate();
    write(dumped(Json(std::string(key))));
    write(":");
}

void JsonDocument::member(std::string_view key, const Json& value) {
    writeKey(key);
    write(dumped(value));
}

void JsonDocument::members(const Json& object) {
    for (const auto& [key, value] : object.items()) member(key, value);
}

void JsonDocument::beginList(std::string_view key) {
    writeKey(key);
    write("[");
    levels_.push_back({']'});
}

void JsonDocument::item(const Json& value) {
    separate();
    write(dumped(value));
}

void JsonDocument::beginObject() {
    separate();
    write("{");
    levels_.push_back({'}'});
}

void JsonDocument::close() {
    const char closing[] = {levels_.back().closing, '\0'};
    write(closing);
    levels_.pop_back();
}

void JsonDocument::endObject() {
    close();
}

void JsonDocument::endList() {
    close();
}

void JsonDocument::error(std::string_view message) {
    errors_.push_back(tyktree::toUtf8(message));
}

void JsonDocument::end() {
    if (levels_.empty()) return;
    while (levels_.size() > 1) close();
    member("ok", errors_.empty());
    member("errors", errors_);
    close();
    write("\n");
}

}  // namespace tyksim
