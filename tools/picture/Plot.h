// A small drawing of values over frames, as an SVG file. One thread at a time uses an object.
#pragma once

#include "tools/files/OutputPath.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// One panel per series, one above the other, over the same frames; a line separates tasks.
class Plot {
public:
    void addLine(std::string name);

    /// Adds the values of the next frame, one per series; none leaves a gap.
    void addPoint(uint32_t task, const std::vector<std::optional<double>>& values);

    /// Writes the drawing. Throws Failure like ResultFile.
    void write(ResultFile& file) const;

private:
    struct Line {
        std::string name;
        std::vector<std::optional<double>> values;
    };
    std::string panel(const Line& line, double top) const;

    std::vector<Line> lines_;
    std::vector<uint32_t> tasks_;
};

}  // namespace tyksim
