// tyksim show: shows one frame in full.
#include "core/File.h"
#include "tags/NearestNames.h"
#include "tools/picture/Histogram.h"
#include "tools/picture/PictureOptions.h"
#include "tools/tyksim/Reading.h"
#include "tools/tyksim/ShowReport.h"
#include "tree/read/Escape.h"

#include <array>
#include <cerrno>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;
using tyktree::Parameter;

constexpr const char* kFooter = R"(
TREE is a frame folder, or a tree with a selection of one frame. Parameters have their fields if the
tag table (--tags, else tags.xml in the device root) describes them.

--order and --stride tell how the image's planes are stored, as for 'tyksim export'. --matrix and
--range do not affect the values, which are those of the stored samples.

Exit status: 0 everything was read, 1 the tree could not be read, 2 wrong usage or no such frame, 3
something in the frame could not be read (see standard error).

Examples:
  tyksim show /tmp/phone --frames 3
  tyksim show pulled/tykdump --pipe 1 --requests 42 --tag KELV_TAG_WB_GAINS
)";

struct ShowOptions {
    ReadingOptions reading;
    std::string tag;
};

/// The planes of the image at `path`. Throws NoPicture.
std::vector<PlaneFacts> planesOf(const std::string& path, const PictureLayout& layout) {
    PictureFile file(path, layout);
    const PlaneHistograms counts = histogramsOf(file);
    const SampleCounts whole = layout.samplesIn(layout.bytes());
    return {{"y", whole.y, counts.y}, {"u", whole.u, counts.u}, {"v", whole.v, counts.v}};
}

/// Reads one frame and passes its contents to a report.
class Show {
public:
    Show(const ShowOptions& options, const OpenedTree& tree, Reading& reading)
        : options_(options),
          tree_(tree),
          frame_(tree.frames.front()),
          reading_(reading),
          report_(makeShowReport(reading.json(), !options.tag.empty())) {}

    ExitStatus run() {
        const tyktags::Status& listed = listing_.read(frame_.path());
        if (!listed.ok()) problem(frame_.path(), listed.problem().reason);
        report_->begin(frame_);
        readParameters();
        if (options_.tag.empty()) {
            readScene();
            readImage();
        }
        return ExitStatus::kClean;
    }

private:
    std::string pathOf(const FileEntry& file) const {
        return fmt::format("{}/{}", listing_.path(), file.name);
    }

    void readParameters() {
        report_->beginParameters();
        std::vector<const FileEntry*> shownWhole;
        bool any = false;
        for (const FileEntry& file : listing_.files()) {
            if (file.kind != FileEntry::Kind::kParameter) continue;
            if (!options_.tag.empty() && file.parameter.tagName != options_.tag) continue;
            any = true;
            if (readParameter(file) && !options_.tag.empty()) shownWhole.push_back(&file);
        }
        report_->endParameters();
        if (!any && !options_.tag.empty()) refuseTag();
        if (!report_->showsBytes()) return;
        for (const FileEntry* const file : shownWhole) readBytes(*file);
    }

    /// Reads a parameter file; returns whether that succeeded.
    bool readParameter(const FileEntry& file) {
        const Parameter parameter = tyktree::readParameter(listing_, file, tree_.catalog);
        const bool isRead = parameter.status.ok();
        if (!isRead) problem(pathOf(file), parameter.status.problem().reason);
        const std::vector<tyktree::DecodedField> fields = parameter.fields();
        for (const tyktree::DecodedField& field : fields) {
            if (field.problem.empty() || !isRead) continue;
            reading_.problem(fmt::format("{}: {}: {}", tyktree::escaped(pathOf(file)),
                                         tyktree::escaped(field.field->name), field.problem));
        }
        report_->addParameter(parameter, fields);
        return isRead;
    }

    void readBytes(const FileEntry& entry) {
        report_->beginBytes(entry.name);
        const std::string path = pathOf(entry);
        errno = 0;
        std::array<uint8_t, 16> line{};
        InputFile file(path.c_str());
        uint64_t offset = 0;
        while (const size_t count = file.read(line.data(), line.size())) {
            report_->addBytes(offset, line.data(), count);
            offset += count;
        }
        if (!file.isOpen() || file.failed()) problem(path, systemReason(errno));
    }

    [[noreturn]] void refuseTag() const {
        std::vector<std::string> names;
        for (const FileEntry& file : listing_.files()) {
            if (file.kind == FileEntry::Kind::kParameter)
                names.emplace_back(file.parameter.tagName);
        }
        const std::vector<std::string> nearest = tyktags::nearestNames(options_.tag, names);
        std::string advice;
        if (names.empty()) {
            advice = "; the frame has no parameters";
        } else if (!nearest.empty()) {
            advice = "; did you mean " + tyktags::joinedByOr(nearest) + "?";
        }
        throw PicksNothing(fmt::format("{}: expected the tag {}, found none{}",
                                       tyktree::escaped(frame_.path()),
                                       tyktree::escaped(options_.tag), tyktree::escaped(advice)));
    }

    void readScene() {
        const tyktree::SceneSources sources = tyktree::readScene(listing_);
        if (!sources.status.ok()) {
            problem(sources.status.problem().path, sources.status.problem().reason);
        }
        report_->addScene(sources);
    }

    void readImage() {
        const FileEntry* const image = listing_.image();
        if (!image) {
            report_->addImage(nullptr);
            return;
        }
        const ShownImage shown{image, options_.reading.tree.assumed, readPlanes(*image)};
        report_->addImage(&shown);
    }

    /// Returns the planes; if the file cannot be read, reports the reason and returns none.
    std::vector<PlaneFacts> readPlanes(const FileEntry& image) {
        try {
            return planesOf(pathOf(image), options_.reading.tree.assumed.layoutOf(image.image));
        } catch (const NoPicture& error) {
            reading_.problem(error.what());
            return {};
        }
    }

    void problem(const std::string& path, const std::string& reason) {
        reading_.problem(fmt::format("{}: cannot be read: {}", tyktree::escaped(path), reason));
    }

    const ShowOptions& options_;
    const OpenedTree& tree_;
    const FrameRef frame_;
    Reading& reading_;
    const std::unique_ptr<ShowReport> report_;
    tyktree::FrameListing listing_;
};

}  // namespace

Action defineShow(VerbOptions& verb) {
    const auto options = std::make_shared<ShowOptions>();
    addReadingOptions(verb, options->reading);
    verb.option("--tag", options->tag, "Only this parameter, with its bytes").valueName("NAME");
    addColourRule(verb, options->reading.tree.assumed);
    verb.footer(kFooter);
    return [options] {
        return readTrees(options->reading, "tyksim.show",
                         [&options](const OpenedTree& tree, Reading& reading) {
                             if (tree.frames.size() == 1) {
                                 return Show(*options, tree, reading).run();
                             }
                             const std::string where = tyktree::escaped(tree.index.path().given);
                             throw WrongUsage(
                                 fmt::format("{}: expected one frame, the selection picks {}; "
                                             "pick one with --pipe, --task, --frames",
                                             where, tree.frames.size()));
                         });
    };
}

}  // namespace tyksim
