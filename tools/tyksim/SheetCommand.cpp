// tyksim sheet: a page to look at a tree with.
#include "tools/console/FindingPrinter.h"
#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"
#include "tools/console/Units.h"
#include "tools/diff/FrameDifference.h"
#include "tools/sheet/SheetWriter.h"
#include "tools/tyksim/Reading.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameRef;

constexpr const char* kFooter = R"(
Writes one page with everything in it: frames as thumbnails, exposure, gain and EV over the frames,
what 'tyksim check' finds beside the frame it belongs to, and of each frame a larger picture, its
parameters, its scene record and the histogram of its luma. It opens in a browser without a server
and without a network; its address names the frame that is looked at. Press ? for its keys.

--against puts a second tree beside it, frame by frame as 'tyksim diff' matches them, with what that
says of each pair and with the findings of both trees.
NAME in --plot is TAG, TAG.field, TAG.field[2] or a field of the scene record.
--order, --stride, --matrix and --range say how images are stored, as for 'tyksim export'.

A page of 1,000 frames stays below 20 MB: pictures get smaller the more there are. For more frames
there is --every; --thumb-width is kept whatever the page comes to.

Exit status: 0 clean, 1 failed, 2 wrong usage, 3 the page was written and shows errors or warnings,
or not all could be read, which standard error says.

Examples:
  tyksim sheet /tmp/phone -o phone.html
  tyksim sheet pulled/tykdump -o night.html --tags tags.xml --plot KELV_TAG_WB_GAINS.gains[1]
  tyksim sheet before -o change.html --against after
)";

struct SheetOptions {
    std::string tree;
    TreeOptions reading;
    std::string output;
    std::string against;
    std::vector<std::string> plots;
    uint32_t every = 1;
    int thumbWidth = 0;
    bool force = false;
};

/// Takes the findings of one tree into the page and counts them.
class PageSink : public tyktree::FindingSink {
public:
    PageSink(SheetWriter& page, Side side, std::string root)
        : page_(page), side_(side), root_(std::move(root)) {}
    void add(const tyktree::Finding& finding) override {
        counts_.count(severityOf(finding));
        page_.addFinding(finding, side_, root_);
    }
    const tyktree::FindingCounts& counts() const { return counts_; }

private:
    SheetWriter& page_;
    Side side_;
    std::string root_;
    tyktree::FindingCounts counts_;
};

/// One run of the verb.
class Sheet {
public:
    Sheet(const SheetOptions& options, Reading& reading)
        : options_(options),
          reading_(reading),
          jobs_(options.reading.jobs > 0 ? options.reading.jobs : availableJobs()),
          tree_(reading, options.tree, options.reading) {
        if (!options.against.empty()) other_.emplace(reading, options.against, options.reading);
        everything_.assumed = options.reading.assumed;
        chooseFrames();
    }

    ExitStatus run() {
        SheetHead head;
        head.tree = options_.tree;
        if (other_) head.against = options_.against;
        head.onlyOther = onlyOther_;
        head.every = options_.every;
        head.plots = plots();
        const OutputRequest output{options_.output, foldersOf({&tree_, other_ ? &*other_ : &tree_}),
                                   options_.force};
        SheetWriter writer(output, head, table());
        addFrames(writer, head.plots);
        writer.endFrames();
        const tyktree::FindingCounts mine = addFindings(tree_, Side::kMine, writer);
        std::optional<tyktree::FindingCounts> other;
        if (other_) other = addFindings(*other_, Side::kOther, writer);
        writer.commit();
        return report(mine, other);
    }

private:
    struct Readers {
        SheetFrameReader frames;
        FrameComparer comparer;
    };

    /// The page has one for both trees.
    const tyktree::TagCatalog& table() const {
        return other_ ? commonTable(tree_.catalog, other_->catalog) : tree_.catalog;
    }

    void chooseFrames() {
        const std::vector<FrameRef> none;
        const tyktree::TreePath* const otherPath = other_ ? &other_->index.path() : nullptr;
        const tyktree::TaskEntry* task = nullptr;
        uint32_t inTask = 0;
        for (const FramePair& pair : matchFrames(
                 {&tree_.index.path(), &tree_.frames},
                 {otherPath ? otherPath : &tree_.index.path(), other_ ? &other_->frames : &none},
                 MatchBy::kRequest)) {
            if (!pair.a) {
                ++onlyOther_;
                continue;
            }
            if (pair.a->task != task) inTask = 0;
            task = pair.a->task;
            if (inTask++ % options_.every == 0) pairs_.push_back(pair);
        }
    }

    std::vector<tyktree::ValueName> plots() const {
        std::vector<std::string> names = {"exp_time", "total_gain", "cur_ev"};
        names.insert(names.end(), options_.plots.begin(), options_.plots.end());
        return resolveNames(tree_, table(), names, "--plot: ");
    }

    void addFrames(SheetWriter& writer, const std::vector<tyktree::ValueName>& plots) {
        const PictureSizes sizes =
            PictureSizes::forPage(pairs_.size() * (other_ ? 2 : 1), options_.thumbWidth);
        forEachOnJobs<SheetPair>(
            pairs_.size(), jobs_,
            [&] {
                return Readers{SheetFrameReader(table(), plots, {sizes, options_.reading.assumed}),
                               FrameComparer(everything_, table())};
            },
            [&](Readers& readers, SheetPair& pair, size_t index) {
                pair = readPair(pairs_[index], readers);
            },
            [&](const SheetPair& pair, size_t index) {
                const FramePair& refs = pairs_[index];
                reportUnread(pair);
                writer.addFrame(refs, pair);
                if (pair.other) ++compared_;
                if (!pair.difference.same()) ++different_;
                progress_.count("read", index + 1, pairs_.size(), "frames");
            });
    }

    static SheetPair readPair(const FramePair& refs, Readers& readers) {
        SheetPair pair;
        pair.mine = readers.frames.read(*refs.a);
        if (!refs.b) return pair;
        pair.other = readers.frames.read(*refs.b);
        pair.difference = readers.comparer.compare(refs);
        return pair;
    }

    /// Says what the page cannot show or compare.
    void reportUnread(const SheetPair& pair) {
        std::set<std::string> lines = pair.mine.problems;
        if (pair.other) lines.insert(pair.other->problems.begin(), pair.other->problems.end());
        lines.insert(pair.difference.problems.begin(), pair.difference.problems.end());
        for (const std::string& line : lines) reading_.problem(line);
    }

    tyktree::FindingCounts addFindings(const OpenedTree& tree, Side side, SheetWriter& page) {
        tyktree::CheckOptions check;
        check.execution = executionOn(jobs_);
        check.progress = [this](uint64_t done, uint64_t of) {
            progress_.count("checked", done, of, "frames");
        };
        PageSink sink(page, side, tree.index.path().path);
        checkTree(tree.index, tree.selection, tree.catalog, check, sink);
        throwIfInterrupted();
        return sink.counts();
    }

    ExitStatus report(const tyktree::FindingCounts& mine,
                      const std::optional<tyktree::FindingCounts>& other) const {
        const bool streamed = options_.output == kStandardOutput;
        const auto print = [streamed](const std::string& words) {
            if (streamed) {
                printNote(words);
            } else {
                printResult(words);
            }
        };
        if (!options_.reading.assumed.isUsual()) print(options_.reading.assumed.toText());
        std::string line = fmt::format(
            "{}: {}, {}", streamed ? "standard output" : tyktree::escaped(options_.output),
            counted(pairs_.size(), "frame", "frames"), countsText(mine));
        if (other) {
            line += fmt::format("; {}: {}, {}", tyktree::escaped(options_.against), comparedText(),
                                countsText(*other));
        }
        print(line);
        const bool clean = !mine.any(tyktree::Severity::kWarning) &&
                           !(other && other->any(tyktree::Severity::kWarning));
        return clean ? ExitStatus::kClean : ExitStatus::kFindings;
    }

    /// What the comparison of the frames came to.
    std::string comparedText() const {
        if (compared_ == 0) return "no frame matches";
        return fmt::format("{} of {}{}", different_, counted(compared_, "frame", "frames"),
                           different_ == 1 ? " differs" : " differ");
    }

    const SheetOptions& options_;
    Reading& reading_;
    const int jobs_;
    OpenedTree tree_;
    std::optional<OpenedTree> other_;
    std::vector<FramePair> pairs_;  ///< that the page shows; each has a frame of the first tree
    uint64_t onlyOther_ = 0;        ///< frames that only the second tree has
    uint64_t compared_ = 0;         ///< frames that have a counterpart
    uint64_t different_ = 0;        ///< of those
    DiffRules everything_;          ///< by which the two trees' frames are compared
    Progress progress_;
};

}  // namespace

Action defineSheet(VerbOptions& verb) {
    const auto options = std::make_shared<SheetOptions>();
    verb.option("TREE", options->tree, "Device root, dump root, pipe, task or frame folder")
        .required();
    verb.option("-o,--output", options->output, "The page to write; - is standard output")
        .required()
        .valueName("FILE");
    verb.option("--against", options->against, "A second tree to put beside it").valueName("OTHER");
    verb.option("--plot", options->plots, "Further values over the frames")
        .valueName("NAME")
        .oneValueEach();
    verb.option("--every", options->every, "Show every Nth frame of a task")
        .takes(wholeNumber(1, 1000000))
        .valueName("N")
        .showDefault();
    verb.option("--thumb-width", options->thumbWidth, "Width of the thumbnails, pixels")
        .takes(wholeNumber(16, 2048))
        .valueName("N");
    addAssumedPicture(verb, options->reading.assumed);
    addTreeOptions(verb, options->reading);
    addForce(verb, options->force);
    verb.footer(kFooter);
    return [options] {
        return runReading(nullptr,
                          [&options](Reading& reading) { return Sheet(*options, reading).run(); });
    };
}

}  // namespace tyksim
