// Writes and reads the scene-detection record's three files.
#include "records/SceneRecord.h"

#include "core/File.h"
#include "core/FrameGuard.h"
#include "core/LogLine.h"
#include "core/PipelineSimulation.h"
#include "core/XmlFile.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstring>
#include <string>
#include <string_view>

namespace {

/// Lets the thread convert numbers the same way whatever the process's locale is: a decimal comma
/// would be written, and would end a number when it is read.
class ClassicLocale {
public:
    ClassicLocale() : classic_(newlocale(LC_ALL_MASK, "C", nullptr)) {
        if (classic_) before_ = uselocale(classic_);
    }
    ~ClassicLocale() {
        if (!classic_) return;
        uselocale(before_);
        freelocale(classic_);
    }
    ClassicLocale(const ClassicLocale&) = delete;
    ClassicLocale& operator=(const ClassicLocale&) = delete;

private:
    locale_t classic_;
    locale_t before_{};
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

/// Builds the document; false when memory ran out, which the XML library shows only in the empty
/// nodes it hands out.
bool buildDocument(pugi::xml_document& document, const unsigned char* record) {
    const ClassicLocale locale;
    const pugi::xml_node root = document.append_child("iSceneInfo");
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

class FileWriter : public pugi::xml_writer {
public:
    explicit FileWriter(OutputFile& file) : file_(file) {}
    void write(const void* data, size_t size) override { file_.write(data, size); }

private:
    OutputFile& file_;
};

void writeXml(const std::string& path, const unsigned char* record) {
    pugi::xml_document document;
    if (!buildDocument(document, record)) {
        // Half a document would replay as zeros.
        TYK_LOG_AS(kFailure, "dumpIsceneInfo", "out of memory, not written: %s", path.c_str());
        return;
    }
    OutputFile file(path.c_str());
    if (!file.isOpen()) return;
    FileWriter writer(file);
    document.save(writer, " ", pugi::format_indent, pugi::encoding_utf8);
}

/// Reads a raw file into its place; one that is missing or of another size is as good as none.
void readBlock(const std::string& folder, const SceneBlock& block, unsigned char* record) {
    InputFile file((folder + "/" + block.fileName).c_str());
    if (file.isOpen() && file.size() == block.bytes) {
        file.read(record + block.offset, static_cast<size_t>(block.bytes));
    }
}

/// Lays the XML's values over the record.
void readFields(const pugi::xml_document& document, unsigned char* record) {
    const pugi::xml_node root = document.child("iSceneInfo");
    {
        const ClassicLocale locale;
        for (const SceneField& field : kSceneFields) {
            const pugi::xml_node parent = descend(root, parentPath(field.path), findChild);
            if (!parent && field.missing == SceneDefault::kKeep) continue;
            storeText(findChild(parent, leafName(field.path)).text(), field, record);
        }
    }
    if (descend(root, kSceneHdrPath, findChild)) {
        const auto ev = [record](int offset) {
            return static_cast<double>(load<float>(record, offset));
        };
        TYK_LOG_AS(kDetail, "loadISceneInfo", "hdr_detect_out ev [%f, %f, %f]", ev(528), ev(532),
                   ev(536));
    }
}

}  // namespace

void PipelineSimulation::dumpIsceneInfo(void* record) {
    guardFrame(__func__, [this, record](const char* function) {
        auto* const bytes = static_cast<unsigned char*>(record);
        const std::string prefix = currentFramePath + "/";
        const std::string xmlPath = prefix + kSceneXmlName;
        TYK_LOG_AS(kDetail, function, "xml_name %s", xmlPath.c_str());
        writeXml(xmlPath, bytes);
        for (const SceneBlock& block : kSceneBlocks) {
            writeToBin((prefix + block.fileName).c_str(), bytes + block.offset, block.bytes);
        }
        TYK_LOG_AS(kDetail, function, "%d, %d", kSceneBlocks[0].bytes, kSceneBlocks[1].bytes);
    });
}

void PipelineSimulation::loadISceneInfo(std::string folder, int sofId) {
    guardFrame(__func__, [this, &folder, sofId](const char* function) {
        std::array<unsigned char, kSceneRecordBytes> record{};
        for (const SceneBlock& block : kSceneBlocks) readBlock(folder, block, record.data());
        const std::string xmlPath = folder + "/" + kSceneXmlName;
        pugi::xml_document document;
        if (!parseXmlFile(document, xmlPath.c_str())) {
            TYK_LOG_AS(kFailure, function, "Document not parsed successfully! with file path %s",
                       xmlPath.c_str());
            return;
        }
        readFields(document, record.data());
        for (const int pipe : {0, 1}) {
            setPsParam(static_cast<unsigned int>(camId), pipe, static_cast<unsigned int>(sofId),
                       kSceneTag, record.data());
        }
    });
}
