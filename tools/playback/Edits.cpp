#include "tools/playback/Edits.h"

#include "core/Limits.h"
#include "tools/output/Console.h"
#include "tree/Escape.h"
#include "tree/FileBytes.h"
#include "tree/Parameter.h"

#include <climits>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace tyksim {

namespace {

using tykhost::FieldType;

[[noreturn]] void refuse(const std::string& setting, const std::string& reason) {
    throw WrongUsage(text("--set ", tyktree::escaped(setting), ": ", reason));
}

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/// The bytes that hexadecimal digits stand for; none where they do not.
std::optional<std::vector<uint8_t>> fromDigits(std::string_view digits) {
    if (digits.substr(0, 2) == "0x") digits.remove_prefix(2);
    if (digits.empty() || digits.size() % 2 != 0) return std::nullopt;
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const int high = digitOf(digits[i]);
        const int low = digitOf(digits[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    return bytes;
}

std::vector<uint8_t> wholeValue(const std::string& setting, const std::string& value) {
    if (value.empty() || value[0] != '@') {
        std::optional<std::vector<uint8_t>> bytes = fromDigits(value);
        if (!bytes) refuse(setting, "expected @FILE or hexadecimal digits for a whole value");
        return std::move(*bytes);
    }
    std::vector<uint8_t> bytes;
    const std::string path = value.substr(1);
    const tyktree::ReadResult result = tyktree::readFileBytes(path, INT_MAX, bytes);
    if (!result.ok()) {
        throw Failure(
            text(tyktree::escaped(path), ": expected a value, found none: ", reasonOf(result)));
    }
    if (result.size > INT_MAX) {
        throw Failure(text(tyktree::escaped(path), ": expected at most ", INT_MAX, " bytes, found ",
                           result.size));
    }
    return bytes;
}

bool isReal(const tyktree::ValueName& name) {
    if (name.scene) return name.scene->type == SceneType::kFloat;
    return name.field && (name.field->type == FieldType::f32 || name.field->type == FieldType::f64);
}

/// A fraction of the way from one number to another, in the words of the field's type.
std::string between(const std::string& first, const std::string& last, FrameTurn turn, bool real) {
    if (turn.count <= 1 || turn.index == 0) return first;
    if (turn.index + 1 == turn.count) return last;
    const double part = static_cast<double>(turn.index) / static_cast<double>(turn.count - 1);
    const double from = std::strtod(first.c_str(), nullptr);
    const double to = std::strtod(last.c_str(), nullptr);
    const double value = from + (to - from) * part;
    if (real) return tyktree::toText(tyktree::Value(value));
    const double whole = std::round(value);
    return whole < 0 ? text(static_cast<int64_t>(whole)) : text(static_cast<uint64_t>(whole));
}

/// The part of a value that a change is about, in words.
std::string shownField(const tyktree::ValueName& name, const std::vector<uint8_t>& bytes) {
    std::vector<tyktree::Value> values =
        tyktree::decodeField(*name.field, bytes.data(), bytes.size());
    if (name.element && *name.element < values.size())
        return tyktree::toText(values[*name.element]);
    return tyktree::toText(values);
}

std::string shownWhole(const std::vector<uint8_t>& bytes) {
    return text(bytes.size(), " bytes, crc32 ", std::hex,
                tyktree::checksum(bytes.data(), bytes.size()));
}

}  // namespace

Edits::Edits(const std::vector<std::string>& settings, const tyktree::TagCatalog& catalog,
             const std::vector<std::string>& tagNames) {
    for (const std::string& setting : settings) {
        edits_.push_back(parse(setting, catalog, tagNames));
        tryOut(edits_.back());
    }
}

Edits::Edit Edits::parse(const std::string& setting, const tyktree::TagCatalog& catalog,
                         const std::vector<std::string>& tagNames) {
    const size_t equals = setting.find('=');
    if (equals == 0 || equals == std::string::npos) refuse(setting, "expected NAME=VALUE");
    Edit edit;
    try {
        edit.name = tyktree::resolveName(setting.substr(0, equals), catalog, tagNames);
    } catch (const tyktree::UnknownName& error) {
        refuse(setting, error.what());
    }
    edit.text = setting.substr(equals + 1);
    if (!edit.name.scene && !edit.name.field) {
        edit.whole = wholeValue(setting, edit.text);
        return edit;
    }
    const bool isText = edit.name.field && edit.name.field->type == FieldType::text;
    const size_t dots = edit.text.find("..");
    if (dots != std::string::npos && !isText) {
        edit.last = edit.text.substr(dots + 2);
        edit.text.resize(dots);
    }
    return edit;
}

/// Both ends of a value must fit its field; what lies between does then.
void Edits::tryOut(const Edit& edit) {
    if (edit.whole) return;
    for (const size_t index : {size_t{0}, size_t{1}}) {
        const std::string value = textFor(edit, {index, 2});
        std::string wrong;
        if (edit.name.scene) {
            tyktree::SceneRecord record;
            wrong = tyktree::setSceneField(*edit.name.scene, value, record);
        } else {
            std::vector<uint8_t> bytes(edit.name.field->offset + edit.name.field->bytes());
            wrong = tyktree::encodeField(*edit.name.field, edit.name.element, value, bytes.data(),
                                         bytes.size());
        }
        if (!wrong.empty()) refuse(edit.name.name + "=" + value, wrong);
    }
}

std::string Edits::textFor(const Edit& edit, FrameTurn turn) {
    return edit.last ? between(edit.text, *edit.last, turn, isReal(edit.name)) : edit.text;
}

bool Edits::changesScene() const {
    for (const Edit& edit : edits_) {
        if (edit.name.scene) return true;
    }
    return false;
}

bool Edits::changesTag(std::string_view tagName) const {
    for (const Edit& edit : edits_) {
        if (edit.name.scene ? tagName == kSceneTagName : tagName == edit.name.tagName) return true;
    }
    return false;
}

void Edits::apply(std::string_view tagName, FrameTurn turn, std::vector<uint8_t>& bytes,
                  std::vector<Change>* changes) const {
    if (tagName == kSceneTagName && bytes.size() == kSceneRecordBytes && changesScene()) {
        tyktree::SceneRecord record;
        std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
        apply(turn, record, changes);
        std::copy(record.bytes.begin(), record.bytes.end(), bytes.begin());
    }
    for (const Edit& edit : edits_) {
        if (edit.name.scene || edit.name.tagName != tagName) continue;
        std::string before, after;
        if (edit.whole) {
            before = shownWhole(bytes);
            bytes = *edit.whole;
            after = shownWhole(bytes);
        } else {
            before = shownField(edit.name, bytes);
            const std::string wrong =
                tyktree::encodeField(*edit.name.field, edit.name.element, textFor(edit, turn),
                                     bytes.data(), bytes.size());
            if (!wrong.empty()) throw Failure(text(edit.name.name, ": ", wrong));
            after = shownField(edit.name, bytes);
        }
        if (changes && before != after) changes->push_back({edit.name.name, before, after});
    }
}

void Edits::apply(FrameTurn turn, tyktree::SceneRecord& record,
                  std::vector<Change>* changes) const {
    for (const Edit& edit : edits_) {
        if (!edit.name.scene) continue;
        const std::string before = tyktree::sceneText(*edit.name.scene, record);
        tyktree::setSceneField(*edit.name.scene, textFor(edit, turn), record);
        const std::string after = tyktree::sceneText(*edit.name.scene, record);
        if (changes && before != after) changes->push_back({edit.name.name, before, after});
    }
}

}  // namespace tyksim
