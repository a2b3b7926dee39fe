#include "tools/edit/Edits.h"

#include "core/Limits.h"
#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/console/Units.h"
#include "tree/read/Checksum.h"
#include "tree/read/Escape.h"
#include "tree/read/FileBytes.h"
#include "tree/read/FrameListing.h"
#include "tree/read/Parameter.h"

#include <climits>

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

using tyktags::FieldType;

[[noreturn]] void refuse(const std::string& setting, const std::string& reason) {
    throw WrongUsage(fmt::format("{}: {}", tyktree::escaped(setting), reason));
}

/// Refuses a setting whose value is not valid for its field.
void require(const std::string& setting, const tyktags::Status& status) {
    if (!status.ok()) refuse(setting, toLine(status.problem()));
}

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/// The bytes of hexadecimal digits; none if the text is not hexadecimal.
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
    const auto size = tyktree::readFileBytes(path, INT_MAX, bytes);
    if (!size.ok()) fail({path, "a value", "none", size.problem().reason});
    if (size.value() > INT_MAX) {
        fail({path, fmt::format("at most {} bytes", INT_MAX), fmt::to_string(size.value())});
    }
    return bytes;
}

/// Refuses a whole value of another size than its tag's. Returns whether that size is known.
bool checkSize(const std::string& setting, const std::string& tagName, size_t size,
               const tyktree::TagCatalog& catalog) {
    if (size == 0) refuse(setting, "expected at least one byte, found none");
    const tyktags::TagEntry* const tag = catalog.byName(tagName);
    const bool isFixed = tag && tag->kind == tyktags::TagKind::fixed;
    if (!isFixed && tagName != kSceneTagName) return false;
    const auto expected = isFixed ? static_cast<size_t>(tag->size) : size_t{kSceneRecordBytes};
    if (size == expected) return true;
    refuse(setting,
           fmt::format("expected {}, the size of tag {}, found {}",
                       counted(expected, "byte", "bytes"), tyktree::escaped(tagName), size));
}

Ramp::Kind kindOf(const tyktree::ValueName& name) {
    if (name.scene) {
        const bool isReal = name.scene->type == FieldType::f32;
        return isReal ? Ramp::Kind::kReal : Ramp::Kind::kSigned;
    }
    switch (name.field->type) {
        case FieldType::f32:
        case FieldType::f64:
            return Ramp::Kind::kReal;
        case FieldType::i8:
        case FieldType::i16:
        case FieldType::i32:
        case FieldType::i64:
            return Ramp::Kind::kSigned;
        default:
            return Ramp::Kind::kUnsigned;
    }
}

/// Adds the bytes of a name in the scene record.
void addBytes(const tyktree::ValueName& name, SceneBytes& bytes) {
    size_t begin = 0;
    size_t count = kSceneRecordBytes;
    if (name.scene) {
        begin = static_cast<size_t>(name.scene->offset);
        count = static_cast<size_t>(name.scene->width());
    } else if (name.field) {
        begin = name.field->offset;
        count = static_cast<size_t>(name.field->bytes());
    }
    for (size_t i = begin; i < std::min(begin + count, bytes.size()); ++i) bytes.set(i);
}

tyktags::Problem flaw(std::string expected, size_t foundBytes) {
    return {"", std::move(expected), fmt::to_string(foundBytes)};
}

/// The changed part of a value as text.
std::string shown(const tyktree::ValueName& name, const std::vector<uint8_t>& bytes) {
    if (name.scene) {
        tyktree::SceneRecord record;
        if (bytes.size() != record.bytes.size()) return "";
        std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
        return tyktree::sceneText(*name.scene, record);
    }
    if (!name.field) {
        return fmt::format("{} bytes, crc32 {:x}", bytes.size(),
                           tyktree::checksum(bytes.data(), bytes.size()));
    }
    return tyktags::toText(tyktags::decodeField(*name.field, bytes.data(), bytes.size()));
}

}  // namespace

bool isSceneFile(const tyktree::FileEntry& file) {
    using Kind = tyktree::FileEntry::Kind;
    return file.kind == Kind::kSceneXml || file.kind == Kind::kSceneBlock;
}

Edits::Edits(const std::vector<std::string>& settings, const tyktree::TagCatalog& catalog,
             const std::vector<std::string>& tagNames) {
    for (const std::string& setting : settings) {
        edits_.push_back(parse(setting, catalog, tagNames));
    }
}

Edits::Edits(std::vector<NamedValue> values, const tyktree::TagCatalog& catalog,
             const std::vector<std::string>& tagNames) {
    for (NamedValue& named : values) {
        Edit edit = Edits::named(named.name, named.name, catalog, tagNames);
        auto* const bytes = std::get_if<std::vector<uint8_t>>(&named.value);
        if (edit.isWhole() != (bytes != nullptr)) {
            refuse(named.name, bytes ? "expected a number or a text, found bytes"
                                     : "expected the bytes of a whole value");
        }
        if (bytes) {
            setWhole(edit, std::move(*bytes), catalog);
        } else {
            edit.text = std::get<std::string>(std::move(named.value));
            tryOut(edit, edit.text);
        }
        edits_.push_back(std::move(edit));
    }
}

Edits::Edit Edits::named(const std::string& name, const std::string& setting,
                         const tyktree::TagCatalog& catalog,
                         const std::vector<std::string>& tagNames) {
    Edit edit;
    edit.setting = setting;
    const auto resolved = tyktree::resolveName(name, catalog, tagNames);
    if (!resolved.ok()) refuse(setting, toLine(resolved.problem()));
    edit.name = resolved.value();
    return edit;
}

Edits::Edit Edits::parse(const std::string& given, const tyktree::TagCatalog& catalog,
                         const std::vector<std::string>& tagNames) {
    const std::string setting = "--set " + given;
    const size_t equals = given.find('=');
    if (equals == 0 || equals == std::string::npos) refuse(setting, "expected NAME=VALUE");
    Edit edit = named(given.substr(0, equals), setting, catalog, tagNames);
    edit.text = given.substr(equals + 1);
    if (edit.isWhole()) {
        setWhole(edit, wholeValue(setting, edit.text), catalog);
    } else {
        makeRamp(edit);
    }
    return edit;
}

void Edits::setWhole(Edit& edit, std::vector<uint8_t> bytes, const tyktree::TagCatalog& catalog) {
    edit.isSizeKnown = checkSize(edit.setting, edit.name.tagName, bytes.size(), catalog);
    edit.whole = std::move(bytes);
}

/// Both ends of a ramp must fit its field; then all values between them do.
void Edits::makeRamp(Edit& edit) {
    const bool isText = !edit.name.scene && edit.name.field->type == FieldType::text;
    const size_t dots = isText ? std::string::npos : edit.text.find("..");
    if (dots == std::string::npos) {
        tryOut(edit, edit.text);
        return;
    }
    const std::string first = edit.text.substr(0, dots);
    const std::string last = edit.text.substr(dots + 2);
    tryOut(edit, first);
    tryOut(edit, last);
    edit.ramp = Ramp::make(first, last, kindOf(edit.name));
    if (!edit.ramp) refuse(edit.setting, "expected a ramp from one finite number to another");
}

void Edits::tryOut(const Edit& edit, const std::string& value) {
    if (edit.name.scene) {
        tyktree::SceneRecord record;
        require(edit.setting, setSceneField(*edit.name.scene, value, record));
        return;
    }
    std::vector<uint8_t> bytes(edit.name.field->offset + edit.name.field->bytes());
    require(edit.setting, encodeField(*edit.name.field, value, bytes.data(), bytes.size()));
}

bool Edits::Edit::isOf(std::string_view tagName) const {
    return name.scene ? tagName == kSceneTagName : tagName == name.tagName;
}

bool Edits::Edit::isIn(const tyktree::FileEntry& file) const {
    if (isSceneFile(file)) return isOf(kSceneTagName);
    return file.kind == tyktree::FileEntry::Kind::kParameter && isOf(file.parameter.tagName);
}

bool Edits::changesTag(std::string_view tagName) const {
    return std::any_of(edits_.begin(), edits_.end(),
                       [tagName](const Edit& edit) { return edit.isOf(tagName); });
}

SceneBytes Edits::sceneBytes() const {
    SceneBytes bytes;
    for (const Edit& edit : edits_) {
        if (edit.isOf(kSceneTagName)) addBytes(edit.name, bytes);
    }
    return bytes;
}

void Edits::requireFiles(const std::vector<tyktree::FrameRef>& frames,
                         const std::function<bool(const tyktree::FileEntry&)>& taken) const {
    std::vector<const Edit*> wanted;
    for (const Edit& edit : edits_) wanted.push_back(&edit);
    tyktree::FrameListing listing;
    for (size_t i = 0; i < frames.size() && !wanted.empty(); ++i) {
        static_cast<void>(listing.read(frames[i].path()));  // copying the frame reports a failure
        for (const tyktree::FileEntry& file : listing.files()) {
            if (!taken(file)) continue;
            const auto found = [&file](const Edit* edit) { return edit->isIn(file); };
            wanted.erase(std::remove_if(wanted.begin(), wanted.end(), found), wanted.end());
        }
    }
    if (wanted.empty()) return;
    refuse(wanted.front()->setting, "none of the selected frames has a file for it");
}

/// The problem tells why the value cannot be set.
tyktags::Status Edits::set(const Edit& edit, bool isFixed, FrameTurn turn,
                           std::vector<uint8_t>& bytes) {
    if (edit.whole) {
        if (isFixed && !edit.isSizeKnown && edit.whole->size() != bytes.size()) {
            return flaw(fmt::format("{}, as the file has", counted(bytes.size(), "byte", "bytes")),
                        edit.whole->size());
        }
        bytes = *edit.whole;
        return {};
    }
    if (!edit.name.scene) {
        return tyktags::encodeField(*edit.name.field, edit.textFor(turn), bytes.data(),
                                    bytes.size());
    }
    if (bytes.size() != kSceneRecordBytes) {
        return flaw(fmt::format("a record of {} bytes", kSceneRecordBytes), bytes.size());
    }
    tyktree::SceneRecord record;
    std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
    tyktags::Status status = setSceneField(*edit.name.scene, edit.textFor(turn), record);
    std::copy(record.bytes.begin(), record.bytes.end(), bytes.begin());
    return status;
}

EditResult Edits::apply(std::string_view tagName, bool isFixed, FrameTurn turn,
                        std::vector<uint8_t>& bytes) const {
    EditResult result;
    for (const Edit& edit : edits_) {
        if (!edit.isOf(tagName)) continue;
        const std::string before = shown(edit.name, bytes);
        const tyktags::Status status = set(edit, isFixed, turn, bytes);
        const std::string after = shown(edit.name, bytes);
        if (!status.ok()) {
            result.problems.push_back(edit.name.name + ": " + toLine(status.problem()));
        }
        if (before != after) result.changes.push_back({edit.name.name, before, after});
    }
    return result;
}

EditResult Edits::apply(FrameTurn turn, tyktree::SceneRecord& record) const {
    std::vector<uint8_t> bytes(record.bytes.begin(), record.bytes.end());
    EditResult result = apply(kSceneTagName, true, turn, bytes);
    std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
    return result;
}

}  // namespace tyksim
