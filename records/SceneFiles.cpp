// Writes and reads the scene-detection record's three files.
#include "core/File.h"
#include "core/FrameGuard.h"
#include "core/LogLine.h"
#include "core/PipelineSimulation.h"
#include "core/Unaligned.h"
#include "core/XmlFile.h"
#include "records/SceneLayout.h"
#include "records/SceneXml.h"

#include <array>
#include <string>

namespace {

class FileWriter : public pugi::xml_writer {
public:
    explicit FileWriter(OutputFile& file) : file_(file) {}
    void write(const void* data, size_t size) override { file_.write(data, size); }

private:
    OutputFile& file_;
};

void writeXml(const std::string& path, const unsigned char* record) {
    pugi::xml_document document;
    if (!buildSceneDocument(document, record)) {
        // Half a document would replay as zeros.
        TYK_LOG_AS(kFailure, "dumpIsceneInfo", "out of memory, not written: %s", path.c_str());
        return;
    }
    OutputFile file(path.c_str());
    if (!file.isOpen()) return;
    FileWriter writer(file);
    saveSceneDocument(document, writer);
}

/// Reads a raw file into its place in the record; ignores a missing file and one of another size.
void readBlock(const std::string& folder, const SceneBlock& block, unsigned char* record) {
    InputFile file((folder + "/" + block.fileName).c_str());
    if (file.isOpen() && file.size() == block.bytes) {
        file.read(record + block.offset, static_cast<size_t>(block.bytes));
    }
}

void logExposures(const unsigned char* record) {
    std::array<double, kSceneExposures> ev{};
    auto* next = ev.data();
    for (const SceneField& field : kSceneFields) {
        if (field.missing != SceneDefault::kKeep) continue;
        *next++ = static_cast<double>(loadNumber<float>(record + field.offset));
    }
    TYK_LOG_AS(kDetail, "loadISceneInfo", "hdr_detect_out ev [%f, %f, %f]", ev[0], ev[1], ev[2]);
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
        // Aligned like the service's own structure.
        alignas(8) std::array<unsigned char, kSceneRecordBytes> record{};
        for (const SceneBlock& block : kSceneBlocks) readBlock(folder, block, record.data());
        const std::string xmlPath = folder + "/" + kSceneXmlName;
        pugi::xml_document document;
        if (!parseXmlFile(document, xmlPath.c_str())) {
            TYK_LOG_AS(kFailure, function, "Document not parsed successfully! with file path %s",
                       xmlPath.c_str());
            return;
        }
        if (readSceneFields(document, record.data())) logExposures(record.data());
        for (const int pipe : {0, 1}) {
            setPsParam(static_cast<unsigned int>(camId), pipe, static_cast<unsigned int>(sofId),
                       kSceneTag, record.data());
        }
    });
}

bool PipelineSimulation::isBinValid(int tag, int size) {
    return tag != kSceneTag || size == kSceneRecordBytes;
}
