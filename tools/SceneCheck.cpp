#include "tools/SceneCheck.h"

#include "tools/Bytes.h"
#include "tools/Console.h"
#include "tools/SceneFields.h"

namespace tyksim {

namespace {

/// What a byte of the record belongs to.
enum class Part : uint8_t { opaque, block, field };

std::vector<Part> partsOfRecord() {
    std::vector<Part> parts(kSceneRecordBytes, Part::opaque);
    for (const SceneBlock& block : kSceneBlocks) {
        for (size_t i = 0; i < block.bytes; ++i) parts[block.offset + i] = Part::block;
    }
    for (const SceneField& field : kSceneFields) {
        for (size_t i = 0; i < field.bytes(); ++i) parts[field.offset + i] = Part::field;
    }
    return parts;
}

void compareFields(const std::vector<uint8_t>& dumped, const std::vector<uint8_t>& arrived,
                   std::vector<std::string>& out) {
    for (const SceneField& field : kSceneFields) {
        if (loadBits(dumped, field.offset, field.bytes()) ==
            loadBits(arrived, field.offset, field.bytes())) {
            continue;
        }
        out.push_back(text(field.path, ": dumped ", sceneValue(field, dumped), ", arrived ",
                           sceneValue(field, arrived)));
    }
}

void compareBlocks(const std::vector<uint8_t>& dumped, const std::vector<uint8_t>& arrived,
                   const std::vector<Part>& parts, std::vector<std::string>& out) {
    for (const SceneBlock& block : kSceneBlocks) {
        for (size_t i = block.offset; i < block.offset + block.bytes; ++i) {
            if (parts[i] == Part::field || dumped[i] == arrived[i]) continue;
            out.push_back(text(block.fileName, ": differs from the dumped record at offset ",
                               i - block.offset));
            break;
        }
    }
}

void compareRest(const std::vector<uint8_t>& arrived, const std::vector<Part>& parts,
                 std::vector<std::string>& out) {
    for (size_t i = 0; i < arrived.size(); ++i) {
        if (parts[i] != Part::opaque || arrived[i] == 0) continue;
        out.push_back(text("offset ", i, " of the record: expected 0, arrived ", +arrived[i]));
        return;
    }
}

}  // namespace

std::vector<std::string> compareSceneRecords(const std::vector<uint8_t>& dumped,
                                             const std::vector<uint8_t>& arrived) {
    static const std::vector<Part> parts = partsOfRecord();
    std::vector<std::string> differences;
    if (!dumped.empty()) {
        compareFields(dumped, arrived, differences);
        compareBlocks(dumped, arrived, parts, differences);
    }
    compareRest(arrived, parts, differences);
    return differences;
}

std::vector<std::string> describeSceneRecord(const std::vector<uint8_t>& record) {
    std::vector<std::string> lines;
    for (const SceneField& field : kSceneFields) {
        lines.push_back(text(field.path, " = ", sceneValue(field, record)));
    }
    return lines;
}

}  // namespace tyksim
