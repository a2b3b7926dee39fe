#include "tree/check/SceneCheck.h"

#include "core/XmlFile.h"
#include "records/SceneXml.h"
#include "tags/Words.h"
#include "tree/read/FileBytes.h"
#include "tree/read/SceneReading.h"
#include "tree/read/XmlExtra.h"

#include <set>
#include <vector>

namespace tyktree {

namespace {

using Field = ::SceneField;

/// The index of the block that contains a field, or none.
std::optional<size_t> blockOf(const Field& field) {
    for (size_t i = 0; i < std::size(kSceneBlocks); ++i) {
        const SceneBlock& block = kSceneBlocks[i];
        if (field.offset >= block.offset && field.offset < block.offset + block.bytes) return i;
    }
    return std::nullopt;
}

std::string assignment(const Field& field, const SceneRecord& record) {
    return std::string(field.path) + " = " + sceneText(field, record);
}

class SceneChecker {
public:
    SceneChecker(const FrameListing& listing, const FramePlace& place, FindingSink& findings)
        : listing_(listing),
          place_(place),
          findings_(findings),
          reading_(readSceneFiles(listing)) {}

    void check() {
        checkParameter();
        for (size_t i = 0; i < std::size(kSceneBlocks); ++i) checkBlock(i);
        if (reading_.xml) {
            checkXml();
        } else if (hasPart_) {
            add(RuleId::kSceneFileMissing, kSceneXmlName, "the scene record's text file", "none");
        }
    }

private:
    void checkParameter() {
        if (!reading_.parameter.file) return;
        hasPart_ = true;
        checkReadable(reading_.parameter);
    }

    void checkBlock(size_t index) {
        const SceneBlock& block = kSceneBlocks[index];
        const ScenePart& part = reading_.blocks[index];
        if (!part.file) {
            if (hasPart_ || reading_.xml) {
                add(RuleId::kSceneFileMissing, block.fileName,
                    std::to_string(block.bytes) + " bytes of the scene record", "no file");
            }
            return;
        }
        hasPart_ = true;
        if (part.file->regular() && part.file->bytes != static_cast<uint64_t>(block.bytes)) {
            add(RuleId::kSceneBlockSize, block.fileName, std::to_string(block.bytes) + " bytes",
                std::to_string(part.file->bytes));
        } else {
            checkReadable(part);
        }
    }

    void checkReadable(const ScenePart& part) {
        if (part.status.ok()) return;
        add(RuleId::kFileUnreadable, part.file->name, "its bytes", "none",
            part.status.problem().reason);
    }

    /// Checks the XML file. One that cannot be opened is reported by the check of files.
    void checkXml() {
        if (!reading_.xml->regular() || !reading_.xml->readable) return;
        if (!reading_.sources.fromFiles) {
            findings_.add(
                makeFinding(RuleId::kSceneXml, place_, reading_.sources.status.problem()));
            return;
        }
        checkOutside();
        checkRepeated();
        for (const Field& field : kSceneFields) checkField(field);
        compareFields(*reading_.sources.fromFiles);
        if (reading_.sources.fromParameter) compareBlocks(*reading_.sources.fromParameter);
    }

    /// Looks for content outside the root, which the reading of the fields ignores.
    void checkOutside() {
        std::vector<uint8_t> bytes;
        if (!readFileBytes(pathOf(kSceneXmlName), kMaxXmlBytes, bytes).ok()) return;
        const auto extra = findOutsideRoot({bytes.begin(), bytes.end()});
        if (!extra) return;
        add(RuleId::kSceneXmlExtra, kSceneXmlName, "one root element and nothing outside it",
            extra->found);
    }

    /// Looks for repeated elements, of which only the first counts.
    void checkRepeated() {
        std::set<pugi::xml_node> repeated;
        for (const Field& field : kSceneFields) {
            pugi::xml_node element = findSceneElement(reading_.document, field);
            for (; element; element = element.parent()) {
                if (!element.next_sibling(element.name())) continue;
                if (element == reading_.document.document_element()) continue;  // outside the root
                if (!repeated.insert(element).second) continue;
                add(RuleId::kSceneXmlExtra, kSceneXmlName,
                    std::string("the element ") + element.name() + " once", "it twice");
            }
        }
    }

    void checkField(const Field& field) {
        const pugi::xml_node element = findSceneElement(reading_.document, field);
        if (!element) {
            add(RuleId::kSceneFieldMissing, kSceneXmlName, std::string("the element ") + field.path,
                "none");
            return;
        }
        // The XML library's conversions ignore white space.
        const std::string_view text = tyktags::trimmed(element.text().get());
        const tyktags::Status status = setSceneField(field, text, scratch_);
        if (status.ok()) return;
        add(RuleId::kSceneFieldRange, kSceneXmlName,
            status.problem().where + ": " + status.problem().expected, status.problem().found,
            "a replay publishes " + sceneText(field, *reading_.sources.fromFiles));
    }

    /// Compares the XML file with the dumped data: the parameter file, else the blocks. A value
    /// that the XML file cannot store is reported already.
    void compareFields(const SceneRecord& replayed) {
        for (const Field& field : kSceneFields) {
            const std::optional<size_t> block = blockOf(field);
            const bool isInBlock = block && reading_.blocks[*block].isRead;
            const SceneRecord* dumped = nullptr;
            if (reading_.sources.fromParameter) {
                dumped = &*reading_.sources.fromParameter;
            } else if (isInBlock) {
                dumped = &reading_.fromBlocks;
            }
            if (!dumped || !isInSceneRange(field, *dumped)) continue;
            if (!isSameField(field, replayed, *dumped)) {
                add(RuleId::kSceneEdited, kSceneXmlName, assignment(field, *dumped) + " as dumped",
                    sceneText(field, replayed));
            } else if (isInBlock && !isSameField(field, reading_.fromBlocks, *dumped)) {
                add(RuleId::kSceneDisagrees, kSceneBlocks[*block].fileName,
                    assignment(field, *dumped), sceneText(field, reading_.fromBlocks));
            }
        }
    }

    void compareBlocks(const SceneRecord& dumped) {
        for (size_t i = 0; i < std::size(kSceneBlocks); ++i) {
            if (!reading_.blocks[i].isRead) continue;
            const SceneBlock& block = kSceneBlocks[i];
            const std::optional<int> offset = firstDifference(block, dumped, reading_.fromBlocks);
            if (!offset) continue;
            add(RuleId::kSceneDisagrees, block.fileName, "the bytes of the parameter file",
                "others from offset " + std::to_string(*offset) + " on");
        }
    }

    std::string pathOf(std::string_view name) const {
        return listing_.path() + "/" + std::string(name);
    }

    void add(RuleId rule, std::string_view name, std::string expected, std::string found,
             std::string reason = "") {
        findings_.add(
            makeFinding(rule, place_,
                        {pathOf(name), std::move(expected), std::move(found), std::move(reason)}));
    }

    const FrameListing& listing_;
    const FramePlace place_;
    FindingSink& findings_;
    const SceneReading reading_;
    SceneRecord scratch_;   ///< for texts whose value is not used
    bool hasPart_ = false;  ///< the frame has a binary file of the record
};

}  // namespace

void checkScene(const FrameListing& listing, const FramePlace& place, FindingSink& findings) {
    SceneChecker(listing, place, findings).check();
}

}  // namespace tyktree
