#include "tree/check/IdentityCheck.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace tyktree {

namespace {

using Cameras = std::set<int>;

bool disjoint(const Cameras& a, const Cameras& b) {
    return std::none_of(a.begin(), a.end(), [&b](int camera) { return b.count(camera) > 0; });
}

std::string wordsFor(const Cameras& cameras) {
    std::string text = cameras.size() == 1 ? "camera " : "the cameras ";
    for (const int camera : cameras) {
        text += (camera == *cameras.begin() ? "" : ", ") + std::to_string(camera);
    }
    return text;
}

class IdentityChecker {
public:
    IdentityChecker(const TaskSummary& summary, const Positions& positions, TaskFindings& findings)
        : summary_(summary), positions_(positions), findings_(findings) {
        for (const ParameterColumn& column : summary.statistics.columns()) {
            if (!hasCameraOfItsOwn(column)) telling_.push_back(&column);
        }
    }

    void checkImages();
    void checkSofs();

private:
    bool hasCameraOfItsOwn(const ParameterColumn& column) const;
    Cameras ofImage(uint32_t position) const;
    Cameras ofParameters(uint32_t position) const;

    const TaskSummary& summary_;
    const Positions& positions_;
    TaskFindings& findings_;
    std::vector<const ParameterColumn*> telling_;  ///< whose camera is that of the frame
};

bool IdentityChecker::hasCameraOfItsOwn(const ParameterColumn& column) const {
    return std::any_of(summary_.config.begin(), summary_.config.end(),
                       [&column](const ConfigEntry& entry) {
                           return entry.camId != kFramesOwn && writes(entry, column);
                       });
}

Cameras IdentityChecker::ofImage(uint32_t position) const {
    Cameras cameras;
    for (const auto& [camera, frames] : summary_.statistics.imageCameras()) {
        if (bitAt(frames, position)) cameras.insert(camera);
    }
    return cameras;
}

Cameras IdentityChecker::ofParameters(uint32_t position) const {
    Cameras cameras;
    for (const ParameterColumn* column : telling_) {
        if (column->in(position)) cameras.insert(column->camId);
    }
    return cameras;
}

void IdentityChecker::checkImages() {
    Positions odd;
    size_t judged = 0;
    for (const uint32_t position : positions_) {
        const Cameras image = ofImage(position);
        const Cameras parameters = ofParameters(position);
        if (image.empty() || parameters.empty()) continue;
        ++judged;
        if (disjoint(image, parameters)) odd.push_back(position);
    }
    // Without the configuration, every parameter's camera may be a fixed one.
    if (odd.empty() || (summary_.config.empty() && odd.size() == judged)) return;
    findings_.spread(RuleId::kImageCamera, odd,
                     {"", "an image of the parameters' camera", "one of another camera"},
                     [this](uint32_t position) {
                         return Problem{findings_.pathOf(position),
                                        "an image of " + wordsFor(ofParameters(position)) +
                                            ", as the parameters",
                                        "one of " + wordsFor(ofImage(position))};
                     });
}

void IdentityChecker::checkSofs() {
    std::map<std::pair<int, int>, uint32_t> first;  // by camera and sof id
    std::map<uint32_t, uint32_t> repeated;          // to the earlier frame with the same ids
    Positions odd;
    for (const uint32_t position : positions_) {
        const FrameEntry& frame = findings_.frameAt(position);
        if (!frame.wellNamed) continue;
        Cameras cameras = ofImage(position);
        if (cameras.empty()) cameras = ofParameters(position);
        for (const int camera : cameras) {
            const auto [before, isNew] =
                first.emplace(std::pair(camera, frame.parsed.sofId), position);
            const int request = findings_.frameAt(before->second).parsed.requestId;
            if (isNew || request == frame.parsed.requestId) continue;
            if (repeated.emplace(position, before->second).second) odd.push_back(position);
        }
    }
    findings_.spread(RuleId::kSofRepeated, odd,
                     {"", "a unique sof id in each frame", "that of another frame"},
                     [this, &repeated](uint32_t position) {
                         const uint32_t before = repeated.at(position);
                         const FrameFolderName& other = findings_.frameAt(before).parsed;
                         return Problem{findings_.pathOf(position), "a unique sof id",
                                        "sof " + std::to_string(other.sofId) + ", which frame " +
                                            std::to_string(before) + " of request " +
                                            std::to_string(other.requestId) + " has"};
                     });
}

}  // namespace

void checkIdentities(const TaskSummary& summary, const Positions& positions,
                     TaskFindings& findings) {
    IdentityChecker checker(summary, positions, findings);
    checker.checkImages();
    checker.checkSofs();
}

}  // namespace tyktree
