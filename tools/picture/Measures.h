// Measures images of frames, as values with names such as image.mean.
#pragma once

#include "tools/picture/PictureOptions.h"
#include "tree/read/FrameValues.h"
#include "tree/read/ValueSource.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tyksim {

/// Measures of some frames that are not to be measured again.
struct KnownMeasures {
    std::vector<std::string> names;
    /// By the path of the frame's folder, in the order of the names.
    std::unordered_map<std::string, std::vector<tyktree::FrameValue>> byFrame;
};

/// The measures of a frame's first image. One pass over the image, strip by strip, gives all
/// measures; comparisons also read the image of the frame before. Readers throw WrongUsage when the
/// stride is smaller than a row. Threads: several may make readers at once; one thread at a time
/// uses a reader.
class ImageMeasures : public tyktree::ValueSource {
public:
    /// `assumed` is the format of image files.
    explicit ImageMeasures(const AssumedPicture& assumed) : assumed_(assumed) {}

    /// Gives readers that are made from now on these values. Not while others use the object.
    void remember(KnownMeasures known) { known_ = std::move(known); }

    bool claims(std::string_view name) const override;
    tyktags::Status check(std::string_view name) const override;
    std::vector<std::string> names() const override;
    std::unique_ptr<Reader> reader(const std::vector<std::string>& names) const override;

private:
    AssumedPicture assumed_;
    KnownMeasures known_;
};

}  // namespace tyksim
