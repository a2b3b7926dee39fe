// The options for the interpretation of images and for the pictures to make. Threads: values; the
// functions that add options: one.
#pragma once

#include "core/TreeNames.h"
#include "tools/console/VerbOptions.h"
#include "tools/json/JsonFwd.h"
#include "tools/picture/PictureRenderer.h"

#include <optional>
#include <string>

namespace tyksim {

/// The assumed format of image files, which a tree does not tell. The defaults are those of
/// cameras: NV21 by BT.601 in full range, rows without gaps. A value.
struct AssumedPicture {
    ChromaOrder order = ChromaOrder::kNv21;
    int stride = 0;
    ColourRule rule;

    /// The layout of an image file with this name. Throws WrongUsage when the stride is smaller
    /// than a row.
    PictureLayout layoutOf(const ImageFileName& name) const;

    /// Whether all values are the defaults.
    bool isUsual() const;

    /// "assumed: NV21, BT.601, full range, rows without gaps"
    std::string toText() const;
    Json toJson() const;
};

/// Adds --order and --stride to a verb. `assumed` receives the values and must exist until the
/// command line is parsed.
void addImageLayout(VerbOptions& verb, AssumedPicture& assumed);

/// Adds --matrix and --range to a verb that makes pictures from images. `assumed` receives the
/// values and must exist until the command line is parsed.
void addColourRule(VerbOptions& verb, AssumedPicture& assumed);

/// Adds --matrix and --range to a verb whose input may define the range. `matrix` and `range`
/// receive the values and must exist until the command line is parsed; without the option `range`
/// stays empty.
void addGivenSamples(VerbOptions& verb, ColourMatrix& matrix, std::optional<SampleRange>& range);

/// Adds --format, --quality, --plane, --scale and --rotate to a verb. `style` receives the values
/// and must exist until the command line is parsed.
void addPictureStyle(VerbOptions& verb, PictureStyle& style);

/// The end of the name of a file with a picture in that style.
std::string fileEnding(const PictureStyle& style, const PictureSize& size);

}  // namespace tyksim
