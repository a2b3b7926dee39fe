// The XML file of the scene-detection record, as a document.
#include "records/SceneXml.h"

#include "records/SceneLayout.h"

#include <algorithm>
#include <clocale>
#include <cstring>
#include <string>
#include <string_view>

namespace {

/// Lets the thread convert numbers the same way whatever the process's locale is: a decimal comma
/// would be written, and would end a number when it is read.
class ClassicLocale {
public:
    /// Without memory for it the thread keeps its own.
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

template <typename Value>
Value load(const unsigned char* record, int offset) {
    Value value;
    std::memcpy(&value, record + offset, sizeof(value));
    return value;
}

template <typename Value>
void store(unsigned char* record, int offset, Value value) {
    std::memcpy(record + offset, &value, sizeof(value));
}

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

std::string_view parentPath(std::string_view path) {
    return path.substr(0, path.rfind('/'));
}

std::string_view leafName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

bool setText(pugi::xml_text text, const SceneField& field, const unsigned char* record) {
    switch (field.type) {
        case SceneType::kUnsigned:
            return text.set(load<unsigned int>(record, field.offset));
        case SceneType::kSigned:
            return text.set(load<int>(record, field.offset));
        case SceneType::kFloat:
            return text.set(load<float>(record, field.offset));
        case SceneType::kUnsigned64:
            break;
    }
    return text.set(load<unsigned long long>(record, field.offset));
}

/// Unsigned fields are read as signed numbers too and so saturate at the signed maximum.
void storeText(pugi::xml_text text, const SceneField& field, unsigned char* record) {
    switch (field.type) {
        case SceneType::kUnsigned:
        case SceneType::kSigned:
            store(record, field.offset, text.as_int());
            return;
        case SceneType::kFloat:
            store(record, field.offset, text.as_float());
            return;
        case SceneType::kUnsigned64:
            break;
    }
    store(record, field.offset, text.as_llong());
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
        const pugi::xml_node parent = descend(root, parentPath(field.path), findOrAppend);
        const pugi::xml_node leaf = appendChild(parent, leafName(field.path));
        // A leaf without its name was made by a library that could not store the name.
        if (!leaf || leafName(field.path) != leaf.name()) return false;
        if (!setText(leaf.text(), field, record)) return false;
    }
    return true;
}

void saveSceneDocument(const pugi::xml_document& document, pugi::xml_writer& writer) {
    document.save(writer, " ", pugi::format_indent, pugi::encoding_utf8);
}

bool readSceneFields(const pugi::xml_document& document, unsigned char* record) {
    const ClassicLocale locale;
    const pugi::xml_node root = document.child(kSceneRootName);
    for (const SceneField& field : kSceneFields) {
        const pugi::xml_node parent = descend(root, parentPath(field.path), findChild);
        if (!parent && field.missing == SceneDefault::kKeep) continue;
        storeText(findChild(parent, leafName(field.path)).text(), field, record);
    }
    return static_cast<bool>(descend(root, kSceneHdrPath, findChild));
}
