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

/// The version that the device runs; an unknown version has no key.
MfnrVersion runningVersion() {
    char value[kPropertyValueSize] = {};
    property_get(kMfnrVersionProperty, value, kMfnrDefaultVersion);
    const int number = readNumber(value);
    for (const MfnrVersion& version : kMfnrVersions) {
        if (version.number == number) return version;
    }
    return {number, nullptr, kMfnrDefaultCopyName};
}

/// Buffers lines for a file, so that not every line needs a write.
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
/// tuning files has no room for longer lines and stops there too.
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
    // The part of a line that precedes a read error is not a line; reading stops at the error.
    if (length > 0 && !source.failed()) writer.add({line.data(), length});
}

}  // namespace

void PipelineSimulation::matchXML(char (*nameTable)[128], const char* key, char* out) {
    if (!key || !*key) return;
    for (int i = 0; i < kMfnrNames; ++i) {
        // A terminated copy, because an entry of the table need not be terminated.
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
        // The copy is made even when there is nothing to copy: an empty copy tells the reader of
        // the tree that the frame's tuning is unknown. An older copy would pass for the frame's
        // tuning.
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
            if (!isMfnrCopyName(name)) continue;
            chosen = name;
            break;
        }
        // Even the longest possible file name fits.
        std::array<char, kMfnrTableBytes> table{};
        const std::string entry = std::string(kMfnrReplayPrefix).append(chosen);
        entry.copy(table.data(), table.size() - 1);
        setPsParam(static_cast<unsigned int>(camId), 1, static_cast<unsigned int>(sofId), kMfnrTag,
                   table.data());
        TYK_LOG_AS(kDetail, function, "path: %s, sofId: %d, cameraId: %d", table.data(), sofId,
                   camId);
    });
}
