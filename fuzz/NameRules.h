// A second, independent implementation of the rules for the names of the dump tree.
#pragma once

#include "fuzz/LibraryTarget.h"

#include <array>
#include <cstdlib>
#include <optional>
#include <tuple>

namespace fuzz {

/// The pieces of a name: each of the first five underscores ends one, and the first dot after them
/// ends the sixth.
struct Pieces {
    std::array<std::string_view, 6> piece;
    size_t count = 0;

    explicit Pieces(std::string_view name) {
        for (size_t i = 0, start = 0; i < name.size() && count < 6; ++i) {
            if (name[i] != (count < 5 ? '_' : '.')) continue;
            piece[count++] = name.substr(start, i - start);
            start = i + 1;
        }
    }

    int number(size_t index) const {
        const long value = std::strtol(std::string(piece[index]).c_str(), nullptr, 10);
        return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
    }
    uint32_t id(size_t index) const { return static_cast<uint32_t>(number(index)); }
};

inline std::optional<PipelineSimulation::tagInfo> paramName(std::string_view name) {
    const Pieces pieces(name);
    if (name.substr(0, 5) != "FCPDT" || pieces.count != 6) return {};
    uint32_t id = 0;
    for (const fake::Tag& tag : fake::kTags) {
        if (pieces.piece[5] == tag.name) id = tag.id;
    }
    return {{id, pieces.number(3), pieces.id(2), pieces.id(1), pieces.number(4)}};
}

inline std::optional<PipelineSimulation::imageInfo> imageName(std::string_view name) {
    const Pieces pieces(name);
    if (name.size() < 4 || name.substr(name.size() - 4) != ".yuv" || pieces.count < 5) return {};
    return {
        {nullptr, 0, pieces.number(1), pieces.number(2), 0, pieces.number(3), pieces.number(4), 0}};
}

inline auto fields(const PipelineSimulation::tagInfo& info) {
    return std::tie(info.tag, info.pipe, info.camId, info.sofId, info.dumpType);
}

inline auto fields(const PipelineSimulation::imageInfo& info) {
    return std::tie(info.sofId, info.camId, info.width, info.height, info.spare);
}

}  // namespace fuzz
