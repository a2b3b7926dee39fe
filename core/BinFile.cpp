#include "core/BinFile.h"

#include "core/File.h"
#include "core/LogLine.h"
#include "core/PipelineSimulation.h"

void writeBinIn(const Folder* folder, const char* path, const void* data, int size) {
    if (size < 0) {
        TYK_LOG_AS(kFailure, "writeToBin", "size %d is negative: %s", size, path);
        return;
    }
    OutputFile file(path, folder);
    if (!file.isOpen()) {
        TYK_LOG_AS(kFailure, "writeToBin", "open failed: %s", path);
        return;
    }
    file.write(data, static_cast<size_t>(size));
}

void readBinIn(const Folder* folder, const char* path, void* data, int size) {
    if (size < 0) {
        TYK_LOG_AS(kFailure, "readBin", "size %d is negative: %s", size, path);
        return;
    }
    InputFile file(path, folder);
    if (!file.isOpen()) {
        TYK_LOG_AS(kFailure, "readBin", "open failed: %s", path);
        return;
    }
    file.read(data, static_cast<size_t>(size));
}

void writeToBin(const char* path, void* data, int size) {
    writeBinIn(nullptr, path, data, size);
}

void readBin(const char* path, void* data, int size) {
    readBinIn(nullptr, path, data, size);
}
