#include "tools/playback/SceneDifferences.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace tyksim {

namespace {

void compareFields(const tyktree::SceneRecord& dumped, const tyktree::SceneRecord& arrived,
                   std::vector<SceneDifference>& out) {
    for (const ::SceneField& field : kSceneFields) {
        if (isSameField(field, dumped, arrived)) continue;
        out.push_back({fmt::format("{} = {} as dumped", field.path, sceneText(field, dumped)),
                       fmt::format("{} arrived", sceneText(field, arrived))});
    }
}

void compareBlocks(const tyktree::SceneRecord& dumped, const tyktree::SceneRecord& arrived,
                   std::vector<SceneDifference>& out) {
    for (const ::SceneBlock& block : kSceneBlocks) {
        const std::optional<int> offset = firstDifference(block, dumped, arrived);
        if (!offset) continue;
        out.push_back({fmt::format("{} as in the dumped record", block.fileName),
                       fmt::format("others from offset {} on", *offset)});
    }
}

/// Checks that bytes outside fields and blocks are zero.
void compareRest(const tyktree::SceneRecord& arrived, std::vector<SceneDifference>& out) {
    std::array<uint8_t, kSceneRecordBytes> rest = arrived.bytes;
    const auto clear = [&rest](int offset, int bytes) {
        std::fill_n(rest.begin() + offset, bytes, uint8_t{0});
    };
    for (const ::SceneBlock& block : kSceneBlocks) clear(block.offset, block.bytes);
    for (const ::SceneField& field : kSceneFields) clear(field.offset, field.width());
    const auto* const found =
        std::find_if(rest.begin(), rest.end(), [](uint8_t byte) { return byte != 0; });
    if (found == rest.end()) return;
    out.push_back({fmt::format("0 at offset {} of the record", found - rest.begin()),
                   fmt::format("{}", *found)});
}

}  // namespace

std::vector<SceneDifference> sceneDifferences(const std::optional<tyktree::SceneRecord>& dumped,
                                              const tyktree::SceneRecord& arrived) {
    std::vector<SceneDifference> differences;
    if (dumped) {
        compareFields(*dumped, arrived, differences);
        compareBlocks(*dumped, arrived, differences);
    }
    compareRest(arrived, differences);
    return differences;
}

}  // namespace tyksim
