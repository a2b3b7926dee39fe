// The rules for the names of the dump tree once more, written down as the scan that they are.
#pragma once

#include "fuzz/FuzzDevice.h"

#include <climits>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <type_traits>

namespace fuzz {

/// The pieces of a name: each of the first five underscores closes one, and the first dot behind
/// them the sixth.
struct Pieces {
    std::array<std::string_view, 6> piece;
    size_t count = 0;

    explicit Pieces(std::string_view name) {
        size_t start = 0;
        for (size_t i = 0; i < name.size() && count < 6; ++i) {
            if (name[i] != (count < 5 ? '_' : '.')) continue;
            piece[count++] = name.substr(start, i - start);
            start = i + 1;
        }
    }

    int number(size_t index) const {
        const long value = std::strtol(std::string(piece[index]).c_str(), nullptr, 10);
        return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
    }
};

inline std::optional<PipelineSimulation::tagInfo> paramName(std::string_view name) {
    const Pieces pieces(name);
    if (name.substr(0, 5) != "FCPDT" || pieces.count != 6) return {};
    PipelineSimulation::tagInfo info{};
    for (const Tag& tag : kTags) {
        if (pieces.piece[5] == tag.name) info.tag = tag.id;
    }
    info.sofId = static_cast<uint32_t>(pieces.number(1));
    info.camId = static_cast<uint32_t>(pieces.number(2));
    info.pipe = pieces.number(3);
    info.dumpType = pieces.number(4);
    return info;
}

inline std::optional<PipelineSimulation::imageInfo> imageName(std::string_view name) {
    const Pieces pieces(name);
    if (name.size() < 4 || name.substr(name.size() - 4) != ".yuv" || pieces.count < 5) return {};
    PipelineSimulation::imageInfo info{};
    info.sofId = pieces.number(1);
    info.camId = pieces.number(2);
    info.width = pieces.number(3);
    info.height = pieces.number(4);
    return info;
}

inline bool same(const PipelineSimulation::tagInfo& a, const PipelineSimulation::tagInfo& b) {
    static_assert(std::has_unique_object_representations_v<PipelineSimulation::tagInfo>);
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

inline bool same(const PipelineSimulation::imageInfo& a, const PipelineSimulation::imageInfo& b) {
    return a.buffer == b.buffer && a.reqId == b.reqId && a.sofId == b.sofId && a.camId == b.camId &&
           a.pipeId == b.pipeId && a.width == b.width && a.height == b.height && a.spare == b.spare;
}

}  // namespace fuzz
