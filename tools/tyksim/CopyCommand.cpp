// tyksim copy: copies a part of a tree as a tree of its own, with edits.
#include "tools/console/Jobs.h"
#include "tools/console/Units.h"
#include "tools/edit/TreeCopy.h"
#include "tools/files/Files.h"
#include "tools/files/OutputPath.h"
#include "tools/tyksim/Reading.h"
#include "tree/read/Escape.h"

#include <fmt/format.h>
#include <memory>
#include <string>
#include <vector>

namespace tyksim {

namespace {

constexpr const char* kFooter = R"(
OUT becomes a device root like that of record, with the frames in
OUT/data/vendor/cameraserver/tykdump, the dump configuration and tuning copies of their pipes, and
the tag table, if there is one, as OUT/tags.xml. Unchanged files share storage with the source if the
file system supports it.

--set NAME=VALUE sets a value in every selected frame and may be given more than once:

  TAG.field=4.25         a field (TAG.field=1,2,3 all elements, TAG.field[2]=3 one of them,
                         TAG.field[1][2]=3 of two dimensions, TAG.roi[1].x=3 a part)
  TAG.field=AUTO         a number by its name in the field's enum
  total_gain=800         a field of the scene record, in its XML file, its blocks and its
                         parameter file
  total_gain=100..800    a ramp over the selected frames, both ends included
  TAG=@FILE, TAG=0x00ff  a whole value

Nothing else changes. In iSceneInfo.xml only the text of the field's element changes; a missing
element is added. A value without a file in the selected frames is wrong usage.

--only-tags GLOB copies only the files of matching tags, and images.

Exit status: 0 copied, 1 failed (OUT is unchanged), 2 wrong usage, 3 copied without something that
could not be read.

Examples:
  tyksim copy /tmp/phone -o part --frames 3..9
  tyksim copy pulled/tykdump -o parameters --no-images
  tyksim copy /tmp/phone -o gains --only-tags '*GAIN*' --no-images
  tyksim copy /tmp/phone -o ramp --set total_gain=100..800
)";

struct Options {
    std::string tree;
    std::string out;
    TreeOptions selection;
    CopyOptions copy;
    bool noImages = false;
    std::vector<std::string> settings;
    bool force = false;
};

class Copy {
public:
    Copy(const Options& options, Reading& reading) : options_(options), reading_(reading) {}

    ExitStatus run() {
        refusePattern();
        const OpenedTree tree(reading_, options_.tree, options_.selection);
        const Edits edits(options_.settings, tree.catalog, tagNamesOf(tree));
        requireFiles(options_.copy, edits, tree.frames);
        OutputFolder out({options_.out, foldersOf({&tree}), options_.force});
        TreeCopy copy(out.path(), options_.copy, edits);
        for (const std::string& problem : copy.prepare(tree.index, tree.frames, tree.catalog)) {
            reading_.problem(problem);
        }
        Progress progress;
        forEachOnJobs<FrameCopy>(
            tree.frames.size(), options_.selection.jobs,
            [&](FrameCopy& frame, size_t index) {
                frame = copy.copyFrame(tree.frames[index], {index, tree.frames.size()});
            },
            [&](const FrameCopy& frame, size_t index) {
                report(tree.frames[index], frame);
                progress.count("copied", index + 1, tree.frames.size(), "frames");
            });
        out.commit();
        printResult(fmt::format("{}, {}, {}", counted(tree.frames.size(), "frame", "frames"),
                                counted(files_, "file", "files"), humanBytes(bytes_)));
        if (!options_.settings.empty()) {
            printResult(fmt::format("{} in {}",
                                    counted(changes_, "value changed", "values changed"),
                                    counted(changedFrames_, "frame", "frames")));
        }
        return ExitStatus::kClean;
    }

private:
    /// Refuses a pattern as the value of --tags, which earlier versions accepted.
    void refusePattern() const {
        const std::string& given = options_.selection.tagsFile;
        if (given.find_first_of("*?[") == std::string::npos || isThere(given)) return;
        throw WrongUsage(fmt::format(
            "--tags: expected a tag table, found the pattern {}; --only-tags takes patterns",
            tyktree::escaped(given)));
    }

    void report(const tyktree::FrameRef& frame, const FrameCopy& copied) {
        files_ += copied.files;
        bytes_ += copied.bytes;
        for (const std::string& problem : copied.problems) reading_.problem(problem);
        changes_ += copied.changes.size();
        if (!copied.changes.empty()) ++changedFrames_;
        for (const Change& change : copied.changes) {
            printResult(fmt::format("task {} frame {}: {}: {} -> {}", frame.task->position,
                                    frame.frame->position, tyktree::escaped(change.name),
                                    tyktree::escaped(change.before),
                                    tyktree::escaped(change.after)));
        }
    }

    const Options& options_;
    Reading& reading_;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
    uint64_t changes_ = 0;
    uint64_t changedFrames_ = 0;
};

}  // namespace

Action defineCopy(VerbOptions& verb) {
    const auto options = std::make_shared<Options>();
    verb.option("TREE", options->tree, "A tree, or part of one").required();
    verb.option("-o,--output", options->out, "Folder to make").required().valueName("OUT");
    addTreeOptions(verb, options->selection);
    verb.option("--only-tags", options->copy.onlyTags,
                "Only tags whose names match this shell pattern")
        .valueName("GLOB");
    verb.flag("--no-images", options->noImages, "Omit the images");
    verb.option("--set", options->settings, "Set a value in every selected frame")
        .valueName("NAME=VALUE")
        .oneValueEach();
    addForce(verb, options->force);
    verb.footer(kFooter);
    return [options] {
        options->copy.images = !options->noImages;
        return runReading(nullptr,
                          [&options](Reading& reading) { return Copy(*options, reading).run(); });
    };
}

}  // namespace tyksim
