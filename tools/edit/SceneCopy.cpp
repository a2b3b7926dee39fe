#include "tools/edit/SceneCopy.h"

#include "tools/console/Console.h"
#include "tree/read/SceneText.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace tyksim {

SceneCopy::SceneCopy(const tyktree::FrameListing& listing, const Edits& edits, FrameTurn turn)
    : set_(edits.sceneBytes()), sources_(readScene(listing)) {
    const tyktree::SceneRecord* const record = sources_.record();
    if (record) after_ = *record;
    EditResult result = edits.apply(turn, after_);
    if (record) changes_ = std::move(result.changes);
}

std::optional<std::string> SceneCopy::contentOf(const tyktree::FileEntry& file,
                                                const std::vector<uint8_t>& bytes,
                                                std::string& problem) const {
    if (file.kind == tyktree::FileEntry::Kind::kSceneXml) return textOf(bytes, problem);
    const auto* const block = std::find_if(
        std::begin(kSceneBlocks), std::end(kSceneBlocks),
        [&file](const SceneBlock& candidate) { return file.name == candidate.fileName; });
    return blockOf(*block, bytes, problem);
}

std::optional<std::string> SceneCopy::textOf(const std::vector<uint8_t>& bytes,
                                             std::string& problem) const {
    problem = sources_.problem;
    tyktree::SceneText text(bytes);
    for (const ::SceneField& field : kSceneFields) {
        if (problem.empty() && isSet(field)) problem = text.set(field, after_);
    }
    if (!problem.empty()) return std::nullopt;
    return std::string(text.bytes());
}

std::optional<std::string> SceneCopy::blockOf(const ::SceneBlock& block,
                                              const std::vector<uint8_t>& bytes,
                                              std::string& problem) const {
    const auto size = static_cast<size_t>(block.bytes);
    if (bytes.size() != size) {
        problem = fmt::format("expected {} bytes, found {}", size, bytes.size());
        return std::nullopt;
    }
    std::string content(bytes.begin(), bytes.end());
    for (size_t i = 0; i < size; ++i) {
        const size_t at = static_cast<size_t>(block.offset) + i;
        if (set_.test(at)) content[i] = static_cast<char>(after_.bytes[at]);
    }
    return content;
}

bool SceneCopy::isSet(const ::SceneField& field) const {
    const auto first = static_cast<size_t>(field.offset);
    for (size_t i = 0; i < static_cast<size_t>(field.width()); ++i) {
        if (set_.test(first + i)) return true;
    }
    return false;
}

}  // namespace tyksim
