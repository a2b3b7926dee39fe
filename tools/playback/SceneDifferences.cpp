#include "tools/playback/SceneDifferences.h"

#include "tools/console/Console.h"

#include <array>

namespace tyksim {

namespace {

/// What a byte of the record belongs to.
enum class Owner : uint8_t { nobody, block, field };
using Owners = std::array<Owner, kSceneRecordBytes>;

Owners ownersOfBytes() {
    Owners owners{};
    const auto mark = [&owners](int offset, int size, Owner owner) {
        for (int i = offset; i < offset + size; ++i) owners[static_cast<size_t>(i)] = owner;
    };
    for (const ::SceneBlock& block : kSceneBlocks) mark(block.offset, block.bytes, Owner::block);
    for (const ::SceneField& field : kSceneFields) mark(field.offset, field.width(), Owner::field);
    return owners;
}

void compareFields(const tyktree::SceneRecord& dumped, const tyktree::SceneRecord& arrived,
                   std::vector<SceneDifference>& out) {
    for (const ::SceneField& field : kSceneFields) {
        const std::string before = tyktree::sceneText(field, dumped);
        const std::string after = tyktree::sceneText(field, arrived);
        if (before == after) continue;
        out.push_back({text(field.path, " = ", before, " as dumped"), text(after, " arrived")});
    }
}

void compareBlocks(const tyktree::SceneRecord& dumped, const tyktree::SceneRecord& arrived,
                   const Owners& owners, std::vector<SceneDifference>& out) {
    for (const ::SceneBlock& block : kSceneBlocks) {
        for (int i = block.offset; i < block.offset + block.bytes; ++i) {
            const auto at = static_cast<size_t>(i);
            if (owners[at] == Owner::field || dumped.bytes[at] == arrived.bytes[at]) continue;
            out.push_back({text(block.fileName, " as in the dumped record"),
                           text("others from offset ", i - block.offset, " on")});
            break;
        }
    }
}

}  // namespace

std::vector<SceneDifference> sceneDifferences(const std::optional<tyktree::SceneRecord>& dumped,
                                              const tyktree::SceneRecord& arrived) {
    static const Owners owners = ownersOfBytes();
    std::vector<SceneDifference> differences;
    if (dumped) {
        compareFields(*dumped, arrived, differences);
        compareBlocks(*dumped, arrived, owners, differences);
    }
    for (size_t i = 0; i < owners.size(); ++i) {
        if (owners[i] != Owner::nobody || arrived.bytes[i] == 0) continue;
        differences.push_back({text("0 at offset ", i, " of the record"), text(+arrived.bytes[i])});
        break;
    }
    return differences;
}

}  // namespace tyksim
