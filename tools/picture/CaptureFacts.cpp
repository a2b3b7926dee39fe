#include "tools/picture/CaptureFacts.h"

#include "tree/read/Timeline.h"

#include <fmt/format.h>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

namespace {

// The scene record's value for a gain of 1.
constexpr double kUnityGain = 1024;

std::vector<tyktree::ValueName> namesOf(const tyktree::TagCatalog& catalog) {
    std::vector<tyktree::ValueName> names;
    for (const char* const name : {"exp_time", "total_gain", "cur_ev"}) {
        names.push_back(resolveName(name, catalog).value());
    }
    return names;
}

std::optional<double> numberOf(const tyktree::FrameValue& value) {
    if (value.values.empty()) return std::nullopt;
    return tyktags::toNumber(value.values.front());
}

/// The time in EXIF's format.
std::string takenAt(const tyktree::FrameRef& frame) {
    const std::optional<tyktree::Stamp> stamp = stampOf(*frame.task, *frame.frame);
    if (!stamp) return "";
    return fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", stamp->year, stamp->month, stamp->day,
                       stamp->hour, stamp->minute, stamp->second);
}

std::string identityOf(const tyktree::FrameRef& frame, int camera) {
    std::string words;
    if (frame.pipe->id) words = fmt::format("pipe {}, ", *frame.pipe->id);
    words += fmt::format("task {}, frame {}, ", frame.task->position, frame.frame->position);
    if (frame.frame->wellNamed) {
        const tyktree::FrameFolderName& ids = frame.frame->parsed;
        words += fmt::format("request {}, sof {}, ", ids.requestId, ids.sofId);
    }
    return words + fmt::format("camera {}", camera);
}

}  // namespace

std::string pictureName(const tyktree::FrameRef& frame, int camera, size_t index) {
    std::string name;
    if (frame.pipe->id) name = fmt::format("pipe{}_", *frame.pipe->id);
    name += fmt::format("task{}_frame{:04}", frame.task->position, frame.frame->position);
    if (frame.frame->wellNamed) {
        const tyktree::FrameFolderName& ids = frame.frame->parsed;
        name += fmt::format("_req{}_sof{}", ids.requestId, ids.sofId);
    }
    name += fmt::format("_cam{}", camera);
    if (index > 0) name += fmt::format("_image{}", index + 1);
    return name;
}

CaptureFactsReader::CaptureFactsReader(const tyktree::TagCatalog& catalog)
    : values_(namesOf(catalog)) {}

CaptureFacts CaptureFactsReader::read(const tyktree::FrameRef& frame, int camera,
                                      const tyktree::FrameListing& listing) {
    const std::vector<tyktree::FrameValue> values = values_.read(listing);
    CaptureFacts facts;
    const std::optional<double> exposure = numberOf(values[0]);
    // Zero means that the exposure was not set, and no exposure is longer than an hour.
    constexpr double kLongest = 3600e9;
    if (exposure && *exposure > 0 && *exposure <= kLongest) {
        facts.exposureNs = static_cast<uint64_t>(*exposure);
    }
    const std::optional<double> gain = numberOf(values[1]);
    if (gain && *gain > 0) facts.gain = *gain / kUnityGain;
    facts.biasEv = numberOf(values[2]);
    facts.taken = takenAt(frame);
    facts.description = identityOf(frame, camera);
    facts.software = "tyksim " TYKSIM_VERSION;
    return facts;
}

}  // namespace tyksim
