// The XML file of the scene-detection record, as a document.
#include "records/SceneXml.h"

#include "core/Unaligned.h"
#include "records/SceneLayout.h"

#include <algorithm>
#include <clocale>
#include <string>
#include <string_view>

namespace {

/// Makes the thread convert numbers independently of the process's locale, which could otherwise
/// write a decimal comma, or end a number at a decimal point when it reads.
class ClassicLocale {
public:
    /// When memory runs out, the thread keeps its locale.
    ClassicLocale()
        : classic_(newlocale(LC_ALL_MASK, "C", nullptr)), before_(uselocale(classic_)) {}
    ~ClassicLocale() {
        if (!classic_) return;
        uselocale(before_);
        freelocale(classic_);
    }
    ClassicLocale(const ClassicLocale&) = delete;
    ClassicLocale& operator=(const ClassicLocale&) = delete;

private:
    locale_t classic_;
    locale_t before_;
};

pugi::xml_node findChild(pugi::xml_node parent, std::string_view name) {
    for (const pugi::xml_node child : parent.children()) {
        if (name == child.name()) return child;
    }
    return {};
}

pugi::xml_node appendChild(pugi::xml_node parent, std::string_view name) {
    return parent.append_child(std::string(name).c_str());
}

/// Follows `path` down from `node`, one `step` per piece.
template <typename Step>
pugi::xml_node descend(pugi::xml_node node, std::string_view path, Step step) {
    while (node && !path.empty()) {
        const size_t end = std::min(path.find('/'), path.size());
        node = step(node, path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return node;
}

bool setText(pugi::xml_text text, const SceneField& field, const unsigned char* record) {
    const unsigned char* const from = record + field.offset;
    switch (field.type) {
        case FieldType::u32:
            return text.set(loadNumber<unsigned int>(from));
        case FieldType::i32:
            return text.set(loadNumber<int>(from));
        case FieldType::f32:
            return text.set(loadNumber<float>(from));
        default:  // u64: the record has no others
            return text.set(loadNumber<unsigned long long>(from));
    }
}

/// Unsigned fields are read as signed numbers too, so they saturate at the signed maximum.
void storeText(pugi::xml_text text, const SceneField& field, unsigned char* record) {
    unsigned char* const to = record + field.offset;
    switch (field.type) {
        case FieldType::u32:
        case FieldType::i32:
            storeNumber(to, text.as_int());
            return;
        case FieldType::f32:
            storeNumber(to, text.as_float());
            return;
        default:  // u64: the record has no others
            storeNumber(to, text.as_llong());
    }
}

}  // namespace

bool buildSceneDocument(pugi::xml_document& document, const unsigned char* record) {
    const ClassicLocale locale;
    const pugi::xml_node root = document.append_child(kSceneRootName);
    const auto findOrAppend = [](pugi::xml_node parent, std::string_view name) {
        const pugi::xml_node found = findChild(parent, name);
        return found ? found : appendChild(parent, name);
    };
    for (const SceneField& field : kSceneFields) {
        const pugi::xml_node parent = descend(root, field.parentPath(), findOrAppend);
        const std::string_view name = field.leafName();
        const pugi::xml_node leaf = appendChild(parent, name);
        // The XML library leaves the name out when memory runs out.
        if (!leaf || name != leaf.name()) return false;
        if (!setText(leaf.text(), field, record)) return false;
    }
    return true;
}

void saveSceneDocument(const pugi::xml_document& document, pugi::xml_writer& writer) {
    document.save(writer, " ", pugi::format_indent, pugi::encoding_utf8);
}

pugi::xml_node findSceneElement(const pugi::xml_document& document, const SceneField& field) {
    return descend(document.child(kSceneRootName), field.path, findChild);
}

bool readSceneFields(const pugi::xml_document& document, unsigned char* record) {
    const ClassicLocale locale;
    const pugi::xml_node root = document.child(kSceneRootName);
    bool hasExposures = false;
    for (const SceneField& field : kSceneFields) {
        const pugi::xml_node parent = descend(root, field.parentPath(), findChild);
        if (field.missing == SceneDefault::kKeep) {
            if (!parent) continue;
            hasExposures = true;
        }
        storeText(findChild(parent, field.leafName()).text(), field, record);
    }
    return hasExposures;
}
