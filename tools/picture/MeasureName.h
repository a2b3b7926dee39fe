// Names of measures: image.mean, image.u.std, image[X,Y,W,H].noise.
//
// Threads: any.
#pragma once

#include "tags/Problem.h"
#include "tools/picture/Picture.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// The measures; docs/measures.md has the formulas.
enum class Measure {
    kMean,
    kStd,
    kClippedLow,
    kClippedHigh,
    kSharpness,
    kNoise,
    kFlicker,
    kMotion,
    kTemporalNoise,
};

/// Whether a measure compares a picture with the one before it.
bool comparesNeighbours(Measure measure);

/// A rectangle of pixels.
struct Region {
    int x = 0;
    int y = 0;
    int width = 0;   ///< at least 1
    int height = 0;  ///< at least 1

    bool operator==(const Region& other) const {
        return x == other.x && y == other.y && width == other.width && height == other.height;
    }
};

struct MeasureName {
    Measure measure = Measure::kMean;
    PlaneId plane = PlaneId::kY;
    std::optional<Region> region;  ///< none: the whole picture

    bool operator==(const MeasureName& other) const {
        return measure == other.measure && plane == other.plane && region == other.region;
    }
};

/// Whether a name is that of a measure: it is "image" or begins like one.
bool claimsMeasure(std::string_view name);

/// Parses a name for which claimsMeasure() is true. The problem has no path and suggests similar
/// names.
tyktags::Result<MeasureName> parseMeasureName(std::string_view name);

/// All names without a region.
std::vector<std::string> measureNames();

}  // namespace tyksim
