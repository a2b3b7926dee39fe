// Reads a video in the YUV4MPEG2 format as frames.
#include "tools/camera/FrameConverter.h"
#include "tools/camera/FrameSource.h"
#include "tools/camera/Y4mHeader.h"
#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/console/Interruption.h"
#include "tools/files/InputStream.h"

#include <fmt/format.h>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktags::Problem;

/// The problem of a line without its newline.
Problem endless(const std::string& line) {
    if (line.size() < kMaxY4mLine) return {"", "a newline", "the end of the video"};
    return {"", fmt::format("a newline in the first {} bytes", kMaxY4mLine), "none"};
}

Y4mHeader readHeader(InputStream& input) {
    bool complete = false;
    const std::string line = input.readLine(kMaxY4mLine, complete);
    throwIfInterrupted();
    orFail(input.status());
    if (line.empty() && !complete) fail({input.name(), "a YUV4MPEG2 video", "nothing"});
    auto header = parseY4mHeader(line);
    if (header.ok() && !complete) {
        Problem problem = endless(line);
        problem.where = "header";
        header = problem;
    }
    if (header.ok()) return header.value();
    Problem problem = header.problem();
    problem.path = input.name();
    fail(problem);
}

ColourRule ruleOf(const Y4mHeader& header, const GivenSamples& given) {
    const SampleRange declared = header.range.value_or(SampleRange::kLimited);
    return {given.matrix, given.range.value_or(declared)};
}

class Y4mSource : public FrameSource {
public:
    Y4mSource(const std::string& path, const GivenSamples& given)
        : input_(path),
          given_(given),
          header_(readHeader(input_)),
          rule_(ruleOf(header_, given)),
          converter_(rule_),
          bytes_(nv21FullBytes(header_.width, header_.height)) {}

    const Photo* next() override {
        if (ended_ || !takeFrameLine() || !takeSamples()) {
            ended_ = true;
            return nullptr;
        }
        ++number_;
        const int across = chromaLength(header_.width);
        const int down = chromaLength(header_.height);
        const uint8_t* const y = bytes_.data();
        const uint8_t* const u = y + size_t(header_.width) * size_t(header_.height);
        const uint8_t* const v = u + size_t(across) * size_t(down);
        converter_.convert({{y, header_.width, header_.width, header_.height},
                            {u, across, across, down},
                            {v, across, across, down}},
                           photo_.image);
        return &photo_;
    }

    std::optional<FrameRate> rate() const override { return header_.rate; }

    std::string description() const override {
        std::string line = fmt::format("{}: {}x{}", input_.name(), header_.width, header_.height);
        line += header_.rate ? fmt::format(", {} frames a second", rateText(*header_.rate))
                             : ", no frame rate";
        line += ", " + rangeText();
        if (rule_.matrix == ColourMatrix::kBt709) line += ", converted from BT.709 to BT.601";
        if (*header_.siting != 0) {
            line += fmt::format("; chroma samples {}, not moved", header_.siting);
        }
        if (!header_.aspect.empty()) {
            line += fmt::format("; pixels of {}, recorded as square", header_.aspect);
        }
        return line;
    }

private:
    static std::string rateText(const FrameRate& rate) {
        return rate.seconds == 1 ? fmt::format("{}", rate.frames)
                                 : fmt::format("{}/{}", rate.frames, rate.seconds);
    }

    std::string rangeText() const {
        const bool isFull = rule_.range == SampleRange::kFull;
        const char* const origin = given_.range    ? "by --range"
                                   : header_.range ? "by its header"
                                                   : "by default (--range sets it)";
        return fmt::format("{} range {}{}", isFull ? "full" : "limited", origin,
                           isFull ? "" : ", converted to full");
    }

    void report(Problem problem) {
        problem.path = input_.name();
        problem.where = fmt::format("frame {}", number_ + 1);
        addProblem(std::move(problem));
    }

    /// Returns false at the end of the video.
    bool takeFrameLine() {
        bool complete = false;
        const std::string line = input_.readLine(kMaxY4mLine, complete);
        if (!goesOn() || (line.empty() && !complete)) return false;
        const tyktags::Status status = checkY4mFrameLine(line);
        if (!status.ok()) {
            report(status.problem());
        } else if (!complete) {
            report(endless(line));
        }
        return status.ok() && complete;
    }

    bool takeSamples() {
        const size_t count = input_.read(bytes_.data(), bytes_.size());
        if (!goesOn()) return false;
        if (count == bytes_.size()) return true;
        report({"", fmt::format("{} bytes", bytes_.size()), fmt::format("{}", count)});
        return false;
    }

    /// Returns false after an error, which is reported, and when the run is interrupted.
    bool goesOn() {
        if (!input_.status().ok()) report(input_.status().problem());
        return input_.status().ok() && interruption() == 0;
    }

    InputStream input_;
    const GivenSamples given_;
    const Y4mHeader header_;
    const ColourRule rule_;
    FrameConverter converter_;
    std::vector<uint8_t> bytes_;  ///< planes Y, U and V of a frame
    int number_ = 0;              ///< frames read so far
    bool ended_ = false;
    Photo photo_;
};

}  // namespace

std::unique_ptr<FrameSource> makeY4mSource(const std::string& path, const GivenSamples& given) {
    return std::make_unique<Y4mSource>(path, given);
}

}  // namespace tyksim
