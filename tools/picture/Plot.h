// A small drawing of values over frames, as an SVG file.
#pragma once

#include "tools/files/OutputPath.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// One panel a line, one above the other, over the same frames; tasks are set apart by a rule.
class Plot {
public:
    void addLine(std::string name);

    /// The values of the next frame, one a line; none leaves a gap.
    void addPoint(uint32_t task, const std::vector<std::optional<double>>& values);

    /// Writes the drawing. Failure as of OutputFile.
    void write(OutputFile& file) const;

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
