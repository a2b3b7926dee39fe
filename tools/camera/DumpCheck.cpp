#include "tools/camera/DumpCheck.h"

#include "core/Descriptor.h"
#include "core/Globals.h"
#include "core/TreeNames.h"
#include "host/DeviceRoot.h"
#include "platform/Properties.h"
#include "records/MfnrTuning.h"
#include "records/SceneLayout.h"
#include "tools/console/Console.h"
#include "tools/files/Files.h"
#include "tree/read/FileBytes.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <set>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

std::optional<uint64_t> fileSize(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    return static_cast<uint64_t>(info.st_size);
}

/// The errno that writing `lacking` more bytes to the file at `path` would give, as far as the
/// system tells without writing; else 0. The file need not exist. Another recorder may use it too,
/// so it is not changed.
int expectedError(const std::string& path, uint64_t lacking) {
    const tykcore::Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isOpen() && errno != ENOENT) return errno;
    const std::string folder = std::filesystem::path(path).parent_path().string();
    if (!file.isOpen() && ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        return errno;
    }
    rlimit largest{};
    const bool limited =
        ::getrlimit(RLIMIT_FSIZE, &largest) == 0 && largest.rlim_cur != RLIM_INFINITY;
    return limited && fileSize(path).value_or(0) + lacking > largest.rlim_cur ? EFBIG : 0;
}

/// The name of the tuning copy for the device's MFNR version.
std::string tuningCopyName() {
    char value[kPropertyValueSize] = {};
    property_get(kMfnrVersionProperty, value, kMfnrDefaultVersion);
    const int number = readNumber(value);
    for (const MfnrVersion& version : kMfnrVersions) {
        if (version.number == number) return version.copyName;
    }
    return kMfnrDefaultCopyName;
}

}  // namespace

std::string reasonFor(const std::string& path, uint64_t lacking) {
    // If folders of the path are missing too, the first existing one counts.
    std::string missing = path;
    std::string folder = std::filesystem::path(path).parent_path().string();
    while (!isThere(folder) && folder != missing) {
        missing = folder;
        folder = std::filesystem::path(folder).parent_path().string();
    }
    struct statvfs room {};
    if (::statvfs(folder.c_str(), &room) == 0) {
        const uint64_t bytes = uint64_t{room.f_bavail} * room.f_frsize;
        if (bytes < lacking || (room.f_files > 0 && room.f_favail == 0)) {
            return fmt::format("{} ({} bytes and {} files free)", systemReason(ENOSPC), bytes,
                               room.f_favail);
        }
    }
    const int error = expectedError(missing, missing == path ? lacking : 0);
    return error != 0 ? systemReason(error) : "it was not written to its end";
}

DumpCheck::DumpCheck(PipelineSimulation& simulation, DumpedSize sizeOf,
                     tyktree::FindingSink& findings)
    : simulation_(simulation), sizeOf_(std::move(sizeOf)), findings_(findings) {}

void DumpCheck::checkFrame(const PipelineSimulation::imageInfo& frame, uint32_t position) {
    position_ = position;
    checkParameters(frame);
    checkFile(imageFilePath(simulation_.currentFramePath, frame.sofId, frame.camId, frame.width,
                            frame.height),
              static_cast<uint64_t>(nv21Bytes(frame.width, frame.height)));
}

void DumpCheck::checkParameters(const PipelineSimulation::imageInfo& frame) {
    std::set<std::string> checked;  // a tag listed twice is dumped to the same file
    bool scene = false, tuning = false;
    for (const auto& [name, info] : simulation_.dumpTagList) {
        const int sof = info.sofId == kOfTheFrame ? frame.sofId : static_cast<int>(info.sofId);
        const int camera = info.camId == kOfTheFrame ? frame.camId : static_cast<int>(info.camId);
        scene = scene || (info.tag == kSceneTag && info.pipe == kScenePipe);
        tuning = tuning || info.tag == kMfnrTag;
        const std::optional<uint64_t> size = sizeOf_(info);
        if (!size || (info.dumpType != kFixedSizeDump && info.dumpType != kBlockDump)) continue;
        ParamFilePath path;
        makeParamFilePath(path, simulation_.currentFramePath, sof, camera, info.pipe, info.dumpType,
                          name);
        if (checked.insert(path.data()).second) checkFile(path.data(), *size);
    }
    if (scene) checkScene();
    if (tuning && tuningIsChecked_) checkTuning();
}

void DumpCheck::checkScene() {
    for (const SceneBlock& block : kSceneBlocks) {
        checkFile(simulation_.currentFramePath + "/" + block.fileName,
                  static_cast<uint64_t>(block.bytes));
    }
    // Its length depends on its numbers, so its end shows whether it is complete.
    constexpr uint64_t kMost = 65536;
    const std::string path = tykhost::hostPath(simulation_.currentFramePath + "/" + kSceneXmlName);
    const std::string end = fmt::format("</{}>", kSceneRootName);
    std::vector<uint8_t> xml;
    const bool isRead = tyktree::readFileBytes(path, kMost, xml).ok();
    const std::string content(xml.begin(), xml.end());
    if (isRead && content.find(end) != std::string::npos) {
        count(xml.size());
    } else {
        const std::string found = fmt::format("{} bytes without it", xml.size());
        report(path, fmt::format("{} at the end", end), isRead ? found : "no file", 1);
    }
}

void DumpCheck::checkTuning() {
    const std::string path =
        tykhost::hostPath(pipeFolderPath(kDumpRoot, kMfnrCopyPipe) + "/" + tuningCopyName());
    // Every frame of every pipe rewrites it, so it is not counted, and it may be empty for a
    // moment.
    std::optional<uint64_t> found;
    for (int looks = tuningLacks_ ? 1 : 20; looks > 0; --looks) {
        found = fileSize(path);
        if (found.value_or(0) > 0) return;
        if (looks > 1) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    tuningLacks_ = true;
    report(path, "a copy of the tuning file", found ? "an empty file" : "none", 1);
}

void DumpCheck::checkFile(const std::string& devicePath, uint64_t expected) {
    const std::string path = tykhost::hostPath(devicePath);
    const std::optional<uint64_t> found = fileSize(path);
    if (found == expected) {
        count(expected);
        return;
    }
    const uint64_t lacking = expected > found.value_or(0) ? expected - found.value_or(0) : 0;
    report(path, fmt::format("{} bytes", expected), found ? fmt::to_string(*found) : "no file",
           lacking);
}

void DumpCheck::report(const std::string& path, const std::string& expected,
                       const std::string& found, uint64_t lacking) {
    tyktree::FramePlace place;
    place.pipe = simulation_.pipeId;
    place.frame = position_;
    findings_.add(makeFinding(tyktree::RuleId::kRecordIncomplete, place,
                              {path, expected, found, reasonFor(path, lacking)}));
}

void DumpCheck::count(uint64_t bytes) {
    ++files_;
    bytes_ += bytes;
}

}  // namespace tyksim
