// Copies the MFNR tuning file into the dump tree, and publishes its name on replay.
#include "records/MfnrTuning.h"

#include "core/File.h"
#include "core/FrameGuard.h"
#include "core/LogLine.h"
#include "core/PipelineSimulation.h"
#include "core/TreeNames.h"
#include "platform/Properties.h"

#include <array>
#include <cstring>
#include <string_view>

namespace {

std::string copyFolder() {
    return pipeFolderPath(kDumpRoot, kMfnrCopyPipe);
}

/// The version the device runs; one that is not known has no key.
MfnrVersion runningVersion() {
    char value[kPropertyValueSize] = {};
    property_get(kMfnrVersionProperty, value, kMfnrDefaultVersion);
    const int number = readNumber(value);
    for (const MfnrVersion& version : kMfnrVersions) {
        if (version.number == number) return version;
    }
    return {number, nullptr, kMfnrDefaultCopyName};
}

/// Gathers text for a file so that a line costs no write of its own.
class LineWriter {
public:
    explicit LineWriter(OutputFile& file) : file_(file) {}
    ~LineWriter() { file_.write(text_.data(), used_); }
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    /// Adds `line` up to its first NUL, and a newline.
    void add(std::string_view line) {
        line = line.substr(0, line.find('\0'));
        if (line.size() + 1 > text_.size() - used_) {
            file_.write(text_.data(), used_);
            used_ = 0;
        }
        std::memcpy(text_.data() + used_, line.data(), line.size());
        used_ += line.size();
        text_[used_++] = '\n';
    }

private:
    OutputFile& file_;
    std::array<char, 4096> text_;
    size_t used_ = 0;
};

/// Copies line by line. A line of more than 511 characters ends the copy: the stage that reads
/// tuning files has room for no more, and what follows such a line never took part.
void copyLines(InputFile& source, OutputFile& copy) {
    LineWriter writer(copy);
    std::array<char, 511> line;
    size_t length = 0;
    std::array<char, 4096> chunk;
    while (const size_t count = source.read(chunk.data(), chunk.size())) {
        for (size_t i = 0; i < count; ++i) {
            if (chunk[i] == '\n') {
                writer.add({line.data(), length});
                length = 0;
            } else if (length < line.size()) {
                line[length++] = chunk[i];
            } else {
                return;
            }
        }
    }
    // What came of a line before an error is no line, and nothing is read after one.
    if (length > 0 && !source.failed()) writer.add({line.data(), length});
}

}  // namespace

void PipelineSimulation::matchXML(char (*nameTable)[128], const char* key, char* out) {
    if (!key || !*key) return;
    for (int i = 0; i < kMfnrNames; ++i) {
        // A copy that ends: nothing says that an entry of the table does.
        char name[kMfnrNameBytes + 1] = {};
        if (nameTable) std::memcpy(name, nameTable[i], kMfnrNameBytes);
        TYK_LOG(kTrace, "cur xml: %s", name);
        if (!*name) return;
        if (!std::strstr(name, key)) continue;
        const std::string path = std::string(kFirmwareFolder).append(name);
        std::memcpy(out + std::strlen(out), path.c_str(), path.size() + 1);
        TYK_LOG(kTrace, "match xml: %s", out);
        return;
    }
}

void PipelineSimulation::dumpMFNRXml(void* nameTable) {
    guardFrame(__func__, [this, nameTable](const char* function) {
        char table[kMfnrNames][kMfnrNameBytes];
        std::memcpy(table, nameTable, sizeof(table));
        char sourcePath[256] = {};
        const MfnrVersion version = runningVersion();
        matchXML(table, version.key, sourcePath);
        TYK_LOG_AS(kDetail, function, "mfnr xml: %s", sourcePath);
        InputFile source(sourcePath);
        // Made even when there is nothing to copy: an empty copy tells the reader of the tree that
        // the frame's tuning is not known, where an older copy would claim to be it.
        const std::string copyPath = copyFolder() + "/" + version.copyName;
        OutputFile copy(copyPath.c_str());
        if (!source.isOpen()) {
            TYK_LOG_AS(kFailure, function, "src %s open failed!", sourcePath);
        } else if (!copy.isOpen()) {
            TYK_LOG_AS(kFailure, function, "dst %s open failed!", copyPath.c_str());
        } else {
            copyLines(source, copy);
        }
    });
}

void PipelineSimulation::loadMFNRXml(int sofId) {
    guardFrame(__func__, [this, sofId](const char* function) {
        std::vector<std::string> names;
        getSubFiles(copyFolder().c_str(), names);
        std::string_view chosen = kMfnrDefaultCopyName;
        for (const std::string& name : names) {
            if (name.find(kMfnrCopyMark) == std::string::npos) continue;
            chosen = name;
            break;
        }
        // The longest file name there is fits many times over.
        std::array<char, kMfnrTableBytes> table{};
        const std::string entry = std::string(kMfnrReplayPrefix).append(chosen);
        entry.copy(table.data(), table.size() - 1);
        setPsParam(static_cast<unsigned int>(camId), 1, static_cast<unsigned int>(sofId), kMfnrTag,
                   table.data());
        TYK_LOG_AS(kDetail, function, "path: %s, sofId: %d, cameraId: %d", table.data(), sofId,
                   camId);
    });
}
