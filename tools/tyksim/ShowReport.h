// Prints the results of `tyksim show`, as text or as JSON.
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

/// A plane of an image, with the samples in its file.
struct PlaneFacts {
    const char* name;
    uint64_t samples;  ///< of the whole plane
    Histogram counts;  ///< of the samples in the file
};

/// A frame's image and its assumed format.
struct ShownImage {
    const tyktree::FileEntry* file;
    AssumedPicture assumed;
    std::vector<PlaneFacts> planes;  ///< empty if the file cannot be read

    /// The size in bytes of a complete file with the image; for rows without gaps the size of a
    /// dump. Throws WrongUsage when the assumed stride is smaller than a row.
    int64_t expectedBytes() const;
};

/// Takes one frame: its head, its parameters one by one, its scene record and its image. One thread
/// uses an object.
class ShowReport {
public:
    virtual ~ShowReport() = default;
    virtual void begin(const tyktree::FrameRef& frame) = 0;

    virtual void beginParameters() = 0;
    virtual void addParameter(const tyktree::Parameter& parameter,
                              const std::vector<tyktree::DecodedField>& fields) = 0;
    virtual void endParameters() = 0;

    /// Whether the report shows a parameter's bytes; if not, the next two functions do nothing.
    virtual bool showsBytes() const { return false; }
    virtual void beginBytes(std::string_view /*fileName*/) {}
    /// Takes at most 16 bytes of the file from `offset` on.
    virtual void addBytes(uint64_t /*offset*/, const uint8_t* /*bytes*/, size_t /*count*/) {}

    virtual void addScene(const tyktree::SceneSources& sources) = 0;

    /// `image` is null if the frame has none.
    virtual void addImage(const ShownImage* image) = 0;
};

/// Makes a report into `json`, which must outlive the object, or as text if it is null. Text has
/// only the first elements of a long field, unless `whole`.
std::unique_ptr<ShowReport> makeShowReport(JsonDocument* json, bool whole);

}  // namespace tyksim
