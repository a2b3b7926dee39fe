// Writes captured frames: parameter files, image, and the calls for the side records.
#include "core/BinFile.h"
#include "core/File.h"
#include "core/FrameGuard.h"
#include "core/Globals.h"
#include "core/LogLine.h"
#include "core/PipelineSimulation.h"
#include "core/Scratch.h"
#include "core/TreeNames.h"
#include "dump/DumpProperty.h"
#include "platform/Properties.h"
#include "records/MfnrTuning.h"
#include "records/SceneLayout.h"

#include <cstring>

namespace {

/// One parameter of one frame, with the frame's own ids filled in.
struct Request {
    const std::string& path;
    const Folder& folder;  ///< the folder at `path`
    const std::string& tagName;
    uint32_t tag;
    int pipe;
    int camId;
    int sofId;
};

void fetch(const Request& request, void* destination) {
    tyk::ParamSet::getParam(static_cast<uint32_t>(request.camId), request.pipe,
                            static_cast<uint32_t>(request.sofId), request.tag, destination);
}

void writeParamFile(const Request& request, int dumpType, void* data, int size) {
    ParamFilePath path;
    makeParamFilePath(path, request.path, request.sofId, request.camId, request.pipe, dumpType,
                      request.tagName);
    TYK_LOG_AS(kDetail, "dumpParam", "file: %s, size: %d", path.data(), size);
    writeBinIn(&request.folder, path.data(), data, size);
}

void dumpFixedSize(const Request& request, ScratchBuffer& scratch) {
    const int size = pPs->getSize(request.tag);
    if (size < 0 || size > ScratchBuffer::kBytes) {
        TYK_LOG_AS(kFailure, "dumpParam", "tag %s: size %d does not lie in 0 to %d",
                   request.tagName.c_str(), size, ScratchBuffer::kBytes);
        return;
    }
    fetch(request, scratch.data());
    writeParamFile(request, kFixedSizeDump, scratch.data(), size);
}

void dumpBlock(const Request& request, ScratchBuffer& scratch) {
    BlockParamDesc block{};
    scratch.lendAsDescriptor(block, [&](BlockParamDesc* lent) { fetch(request, lent); });
    // The size of a block of 2 GiB or more becomes negative, and the writer refuses it.
    writeParamFile(request, kBlockDump, block.data, static_cast<int>(block.size));
}

}  // namespace

void PipelineSimulation::dumpIfneed(imageInfo& info) {
    char property[kPropertyValueSize] = {};
    property_get(kDumpProperty, property, "0");
    if (std::strcmp(property, "0") == 0) return;
    if (property[0] == '2') {
        const auto wanted = static_cast<unsigned char>(property[1]);
        if (wanted == '\0' || info.pipeId != wanted - '0') return;
    }
    PipelineSimulation* simulation = nullptr;
    guardFrame(__func__, [&info, &simulation](const char*) {
        simulation = PipelineSimMgr::getPipeSimInstance(info.pipeId);
        if (!simulation) return;
        simulation->currentFramePath.clear();
        simulation->dumpParam(info.reqId, info.sofId, info.camId);
    });
    // The image is written even if the parameters failed, but only into this frame's folder, never
    // into the folder of the frame before.
    if (!simulation || simulation->currentFramePath.empty()) return;
    guardFrame(__func__, [&info, simulation](const char*) {
        simulation->dumpNV21(info.buffer, info.width, info.height, info.sofId, info.camId);
    });
}

void PipelineSimulation::dumpParam(int reqId, int sofId, int cam) {
    TYK_LOG(kDetail, "dump reqID %d, sofID %d, camID %d", reqId, sofId, cam);
    if (!initialised) init(0);
    mkDumpDir(reqId, sofId);
    ScratchBuffer scratch;
    if (!scratch.exists()) {
        TYK_LOG(kFailure, "buf malloc failed.");
        return;
    }
    const Folder folder(currentFramePath);
    for (const auto& [tagName, info] : dumpTagList) {
        const int sof = info.sofId == kOfTheFrame ? sofId : static_cast<int>(info.sofId);
        const int camera = info.camId == kOfTheFrame ? cam : static_cast<int>(info.camId);
        TYK_LOG(kDetail, "pipe %d, tag %d, sofID %d, camId %d, dumpType %d", info.pipe,
                static_cast<int>(info.tag), sof, camera, info.dumpType);
        const Request request{currentFramePath, folder, tagName, info.tag, info.pipe, camera, sof};
        if (info.tag != 0 && info.dumpType == kFixedSizeDump) dumpFixedSize(request, scratch);
        if (info.tag != 0 && info.dumpType == kBlockDump) dumpBlock(request, scratch);
        // The records always take the content of the scratch buffer. If this entry fetched nothing,
        // that is an earlier entry's value.
        if (info.tag == kSceneTag && info.pipe == kScenePipe) {
            dumpIsceneInfo(scratch.data());
        } else if (info.tag == kMfnrTag) {
            dumpMFNRXml(scratch.data());
        }
    }
}

void PipelineSimulation::dumpNV21(void* buffer, int width, int height, int sofId, int cam) {
    const std::string path = imageFilePath(currentFramePath, sofId, cam, width, height);
    writeToBin(path.c_str(), buffer, nv21Bytes(width, height));
}
