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

tyktags::Result<std::string> SceneCopy::contentOf(const tyktree::FileEntry& file,
                                                  const std::vector<uint8_t>& bytes) const {
    if (file.kind == tyktree::FileEntry::Kind::kSceneXml) return textOf(bytes);
    const auto* const block = std::find_if(
        std::begin(kSceneBlocks), std::end(kSceneBlocks),
        [&file](const SceneBlock& candidate) { return file.name == candidate.fileName; });
    return blockOf(*block, bytes);
}

tyktags::Result<std::string> SceneCopy::textOf(const std::vector<uint8_t>& bytes) const {
    if (!sources_.status.ok()) return tyktags::flaw("", "", sources_.status.problem().reason);
    tyktree::SceneText text(bytes);
    for (const ::SceneField& field : kSceneFields) {
        if (!isSet(field)) continue;
        if (const tyktags::Status set = text.set(field, after_); !set.ok()) return set.problem();
    }
    return std::string(text.bytes());
}

tyktags::Result<std::string> SceneCopy::blockOf(const ::SceneBlock& block,
                                                const std::vector<uint8_t>& bytes) const {
    const auto size = static_cast<size_t>(block.bytes);
    if (bytes.size() != size) {
        return tyktags::flaw(fmt::format("{} bytes", size), fmt::to_string(bytes.size()));
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
