// Measures of the images of frames, as values under names of their own: image.mean and others.
#pragma once

#include "tools/picture/PictureOptions.h"
#include "tree/read/ValueSource.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// Brings the measures of a frame's first image. All that are asked of one frame come out of one
/// pass over its image, strip by strip; those that compare neighbours read the image of the frame
/// before as well. Readers throw WrongUsage when the stride is smaller than a row.
class ImageMeasures : public tyktree::ValueSource {
public:
    /// `assumed` says how images lie in their files.
    explicit ImageMeasures(const AssumedPicture& assumed) : assumed_(assumed) {}

    bool claims(std::string_view name) const override;
    tyktags::Status check(std::string_view name) const override;
    std::vector<std::string> names() const override;
    std::unique_ptr<Reader> reader(const std::vector<std::string>& names) const override;

private:
    AssumedPicture assumed_;
};

}  // namespace tyksim
