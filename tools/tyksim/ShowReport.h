// What `tyksim show` prints of a frame, as text and as JSON.
#pragma once

#include "tools/picture/Histogram.h"
#include "tools/picture/PictureOptions.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/Parameter.h"
#include "tree/read/SceneSources.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace tyksim {

class JsonDocument;

/// A plane of an image, and the samples of it that its file has.
struct PlaneFacts {
    const char* name;
    uint64_t samples;  ///< of the whole plane
    Histogram had;
};

/// A frame's image and what it is taken for.
struct ShownImage {
    const tyktree::FileEntry* file;
    AssumedPicture assumed;
    std::vector<PlaneFacts> planes;  ///< empty where the file cannot be read

    /// Bytes that a file with the image has; of rows without gaps those that the library dumps.
    int64_t expectedBytes() const;
};

/// Takes one frame: its head, its parameters one by one, its scene record and its image. Called
/// from one thread.
class ShowReport {
public:
    virtual ~ShowReport() = default;
    virtual void begin(const tyktree::FrameRef& frame) = 0;

    virtual void beginParameters() = 0;
    virtual void addParameter(const tyktree::Parameter& parameter,
                              const std::vector<tyktree::DecodedField>& fields) = 0;
    virtual void endParameters() = 0;

    /// Whether a parameter's bytes are shown; without it the two below do nothing.
    virtual bool showsBytes() const { return false; }
    virtual void beginBytes(std::string_view /*fileName*/) {}
    /// At most 16 bytes of the file, which begin at `offset`.
    virtual void addBytes(uint64_t /*offset*/, const uint8_t* /*bytes*/, size_t /*count*/) {}

    virtual void addScene(const tyktree::SceneSources& sources) = 0;

    /// `image` is null where the frame has none.
    virtual void addImage(const ShownImage* image) = 0;
};

/// Reports into `json`, which must outlive the object, or where it is null as text. Text names only
/// the first elements of a long field, unless `whole`.
std::unique_ptr<ShowReport> makeShowReport(JsonDocument* json, bool whole);

}  // namespace tyksim
