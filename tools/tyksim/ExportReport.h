// What `tyksim export` prints, as text and as JSON.
#pragma once

#include "tools/picture/Picture.h"
#include "tools/picture/PictureOptions.h"
#include "tree/check/Finding.h"
#include "tree/read/FrameSelection.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// An image that was exported.
struct Exported {
    std::string name;    ///< of its file; "" for a video
    std::string sample;  ///< the image's bytes in a video
    PictureSize size{};
    int camera = 0;
    uint64_t bytes = 0;
};

struct FrameResult {
    std::vector<Exported> images;
    std::vector<tyktree::Finding> findings;
};

struct ExportTotals {
    uint64_t images = 0;
    uint64_t frames = 0;
    uint64_t bytes = 0;
    uint64_t findings = 0;
};

/// Reports one export: begin(), each frame in its order, end(). Called from one thread.
class ExportReport {
public:
    virtual ~ExportReport() = default;
    virtual void begin(const AssumedPicture& assumed) = 0;
    virtual void add(const tyktree::FrameRef& frame, const FrameResult& result) = 0;
    /// `place` is the folder or video as the user named it; "-" is standard output.
    virtual void end(const ExportTotals& totals, const std::string& place) = 0;
};

/// Reports into `json`, which must outlive the object. If it is null, reports as text: on standard
/// error if `toStandardOutput`, where the video goes to standard output.
std::unique_ptr<ExportReport> makeExportReport(JsonDocument* json, bool toStandardOutput);

}  // namespace tyksim
