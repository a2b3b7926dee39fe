// The options by which a user says what pictures mean and what is to be made of them.
#pragma once

#include "core/TreeNames.h"
#include "tools/console/VerbOptions.h"
#include "tools/json/Json.h"
#include "tools/picture/PictureRenderer.h"

#include <string>

namespace tyksim {

/// What an image file's bytes are taken for, as a tree does not say it. The defaults are what
/// cameras write: NV21 by BT.601 in full range, rows without gaps.
struct AssumedPicture {
    ChromaOrder order = ChromaOrder::kNv21;
    int stride = 0;
    ColourRule rule;

    /// How the picture of a file with this name lies in it. Throws WrongUsage when the stride is
    /// smaller than a row.
    PictureLayout layoutOf(const ImageFileName& name) const;

    /// Nothing was said: the image is taken for what cameras write.
    bool isUsual() const;

    /// "assumed: NV21, BT.601, full range, rows without gaps"
    std::string toText() const;
    Json toJson() const;
};

/// Adds --order, --stride, --matrix and --range to a verb that looks at images. `assumed` takes the
/// values and must outlive their reading.
void addAssumedPicture(VerbOptions& verb, AssumedPicture& assumed);

/// Adds --format, --quality, --plane, --scale and --rotate to a verb. `style` takes the values and
/// must outlive their reading.
void addPictureStyle(VerbOptions& verb, PictureStyle& style);

/// End of the name of a file with a picture of that style.
std::string fileEnding(const PictureStyle& style, const PictureSize& size);

}  // namespace tyksim
