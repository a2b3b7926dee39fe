#include "tools/DumpCheck.h"

#include "host/DeviceRoot.h"
#include "platform/Properties.h"
#include "tools/Files.h"
#include "tools/SceneFields.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>
#include <sys/statvfs.h>

namespace tyksim {

namespace {

constexpr uint32_t kOfTheFrame = UINT32_MAX;  ///< in a dump list: the frame's own id

/// Why a file of `path` lacks bytes, as far as the system still knows it.
std::string reasonFor(const std::string& path, uint64_t lacking, int error) {
    std::string folder = std::filesystem::path(path).parent_path().string();
    while (!isThere(folder)) folder = std::filesystem::path(folder).parent_path().string();
    struct statvfs room {};
    if (statvfs(folder.c_str(), &room) == 0) {
        const uint64_t bytes = uint64_t{room.f_bavail} * room.f_frsize;
        if (bytes < lacking || (room.f_files > 0 && room.f_favail == 0)) {
            return text(systemReason(ENOSPC), " (", bytes, " bytes and ", room.f_favail,
                        " files free)");
        }
    }
    return error != 0 ? systemReason(error) : "the file could not be written to its end";
}

/// Name of the tuning file's copy for the MFNR version that the device runs.
std::string tuningCopyName() {
    char version[kPropertyValueSize] = {};
    property_get("persist.vendor.cam.mfnr.version", version, "5");
    const long number = std::strtol(version, nullptr, 10);
    if (number == 3 || number == 4) return text("mfnr", number, ".xml");
    return "mfnr5.2.xml";
}

}  // namespace

DumpCheck::DumpCheck(PipelineSimulation& simulation, const LiveValues& values, Findings& findings)
    : simulation_(simulation), values_(values), findings_(findings) {}

void DumpCheck::checkFrame(const PipelineSimulation::imageInfo& frame) {
    checkParameters(frame);
    const std::string image = text(simulation_.currentFramePath, "/FCWH_", frame.sofId, "_",
                                   frame.camId, "_", frame.width, "_", frame.height, "_nv21.yuv");
    checkFile(image, uint64_t{3} * static_cast<uint64_t>(frame.width) *
                         static_cast<uint64_t>(frame.height) / 2);
}

void DumpCheck::checkParameters(const PipelineSimulation::imageInfo& frame) {
    std::set<std::string> checked;  // a tag that is listed twice is dumped into the same file
    bool scene = false, tuning = false;
    for (const auto& [name, info] : simulation_.dumpTagList) {
        const int sof = info.sofId == kOfTheFrame ? frame.sofId : static_cast<int>(info.sofId);
        const int camera = info.camId == kOfTheFrame ? frame.camId : static_cast<int>(info.camId);
        scene = scene || (info.tag == kSceneTag && info.pipe == kSnapshotPipe);
        tuning = tuning || info.tag == kMfnrTag;
        if (info.tag == 0 || info.dumpType < 0 || info.dumpType > 1) continue;
        char path[1024];
        simulation_.getFileName(path, camera, sof, info.pipe, info.dumpType, name.c_str());
        if (checked.insert(path).second) checkFile(path, values_.size(info.tag));
    }
    if (scene) checkScene();
    if (tuning) checkTuning();
}

void DumpCheck::checkScene() {
    for (const SceneBlock& block : kSceneBlocks) {
        checkFile(simulation_.currentFramePath + "/" + block.fileName, block.bytes);
    }
    // Its length depends on its numbers, so its end must tell.
    const std::string path = tykhost::hostPath(simulation_.currentFramePath + "/" + kSceneXmlName);
    constexpr std::string_view kEnd = "</iSceneInfo>";
    std::vector<uint8_t> xml;
    try {
        xml = readFile(path, 65536);
    } catch (const Failure& failure) {
        findings_.add(failure.what());
        return;
    }
    const std::string content(xml.begin(), xml.end());
    if (content.find(kEnd) == std::string::npos) {
        findings_.add(text(path, ": expected to find ", kEnd, " at its end, found ", xml.size(),
                           " bytes without: ", reasonFor(path, 1, 0)));
        return;
    }
    count(xml.size());
}

void DumpCheck::checkTuning() {
    const std::string path = tykhost::hostPath(
        text("/data/vendor/cameraserver/tykdump/pipe_", kSnapshotPipe, "/", tuningCopyName()));
    const std::optional<uint64_t> found = fileSize(path);
    const int error = found ? 0 : errno;
    if (found.value_or(0) > 0) return;  // every frame rewrites it, so it is not counted
    findings_.add(text(path, ": expected a copy of the tuning file, found ",
                       found ? "an empty file: " : "none: ", reasonFor(path, 1, error)));
}

void DumpCheck::checkFile(const std::string& devicePath, uint64_t expected) {
    const std::string path = tykhost::hostPath(devicePath);
    const std::optional<uint64_t> found = fileSize(path);
    const int error = found ? 0 : errno;
    if (found == expected) {
        count(expected);
        return;
    }
    const uint64_t lacking = expected > found.value_or(0) ? expected - found.value_or(0) : 0;
    findings_.add(text(path, ": expected ", expected, " bytes, found ",
                       found ? std::to_string(*found) : "no file", ": ",
                       reasonFor(path, lacking, error)));
}

void DumpCheck::count(uint64_t bytes) {
    ++files_;
    bytes_ += bytes;
}

}  // namespace tyksim
