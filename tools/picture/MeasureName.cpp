#include "tools/picture/MeasureName.h"

#include "tags/Digits.h"
#include "tags/NearestNames.h"
#include "tags/Words.h"

#include <array>
#include <fmt/format.h>

namespace tyksim {

namespace {

constexpr std::string_view kImage = "image";

struct MeasureText {
    const char* text;
    Measure measure;
};

constexpr MeasureText kMeasures[] = {
    {"mean", Measure::kMean},
    {"std", Measure::kStd},
    {"clipped.low", Measure::kClippedLow},
    {"clipped.high", Measure::kClippedHigh},
    {"sharpness", Measure::kSharpness},
    {"noise", Measure::kNoise},
    {"flicker", Measure::kFlicker},
    {"motion", Measure::kMotion},
    {"temporal_noise", Measure::kTemporalNoise},
};

struct PlaneText {
    const char* text;  ///< between "image" and the measure
    PlaneId plane;
};

// The name of luma is optional.
constexpr PlaneText kPlanes[] = {
    {".", PlaneId::kY}, {".y.", PlaneId::kY}, {".u.", PlaneId::kU}, {".v.", PlaneId::kV}};

/// Parses "X,Y,W,H" as a region.
std::optional<Region> regionIn(std::string_view text) {
    std::array<int, 4> numbers{};
    for (size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0) {
            if (text.empty() || text.front() != ',') return std::nullopt;
            text.remove_prefix(1);
        }
        const auto number = tyktags::takeDigits<int>(text);
        if (!number) return std::nullopt;
        numbers[i] = *number;
    }
    if (!text.empty()) return std::nullopt;
    const auto [x, y, width, height] = numbers;
    if (x < 0 || y < 0 || width < 1 || height < 1) return std::nullopt;
    return Region{x, y, width, height};
}

/// Parses the measure and its plane from `rest`, the text after "image" and a region.
std::optional<MeasureName> measureIn(std::string_view rest) {
    for (const PlaneText& plane : kPlanes) {
        for (const MeasureText& measure : kMeasures) {
            if (rest == std::string(plane.text) + measure.text) {
                return MeasureName{measure.measure, plane.plane, std::nullopt};
            }
        }
    }
    return std::nullopt;
}

/// Suggests similar names: `head`, which is right, with a measure.
std::string adviceFor(std::string_view head, std::string_view rest) {
    std::vector<std::string> nearest =
        tyktags::nearestNames(std::string(kImage).append(rest), measureNames());
    if (nearest.empty()) {
        return fmt::format("the measures are {}", fmt::join(measureNames(), ", "));
    }
    for (std::string& name : nearest) name.replace(0, kImage.size(), head);
    return "nearest: " + fmt::format("{}", fmt::join(nearest, ", "));
}

}  // namespace

bool comparesNeighbours(Measure measure) {
    return measure == Measure::kFlicker || measure == Measure::kMotion ||
           measure == Measure::kTemporalNoise;
}

bool claimsMeasure(std::string_view name) {
    if (name.substr(0, kImage.size()) != kImage) return false;
    const std::string_view rest = name.substr(kImage.size());
    return rest.empty() || rest.front() == '.' || rest.front() == '[';
}

tyktags::Result<MeasureName> parseMeasureName(std::string_view name) {
    std::string_view rest = name.substr(kImage.size());
    std::optional<Region> region;
    if (!rest.empty() && rest.front() == '[') {
        const size_t close = rest.find(']');
        if (close != std::string_view::npos) region = regionIn(rest.substr(1, close - 1));
        if (!region) {
            return tyktags::Problem{"", "image[X,Y,W,H] with four whole numbers, W and H from 1",
                                    tyktags::quoted(name)};
        }
        rest.remove_prefix(close + 1);
    }
    std::optional<MeasureName> result = measureIn(rest);
    if (!result) {
        const std::string_view head = name.substr(0, name.size() - rest.size());
        return tyktags::Problem{"", "", "", "no measure of this name; " + adviceFor(head, rest),
                                tyktags::quoted(name)};
    }
    result->region = region;
    return *result;
}

std::vector<std::string> measureNames() {
    std::vector<std::string> names;
    for (const PlaneText& plane : kPlanes) {
        if (std::string_view(plane.text) == ".y.") continue;
        for (const MeasureText& measure : kMeasures) {
            names.push_back(std::string(kImage) + plane.text + measure.text);
        }
    }
    return names;
}

}  // namespace tyksim
