// tyksim sheet: makes a page to look at a tree.
#include "tags/Digits.h"
#include "tools/console/FindingPrinter.h"
#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"
#include "tools/console/Units.h"
#include "tools/diff/FrameDifference.h"
#include "tools/sheet/PagePlan.h"
#include "tools/sheet/SheetOrder.h"
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
#include <string_view>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameRef;

constexpr const char* kFooter = R"(
Writes one page with everything in it: frames as thumbnails, exposure, gain and EV over the frames,
the findings of 'tyksim check' beside their frames, and for each frame a larger picture, its
parameters, its scene record and the histograms of its planes. It opens in a browser without a server
and without a network; its address has the current frame and view. Press ? for its keys.

--against adds a second tree, frame by frame as 'tyksim diff' matches them, with the differences of
each pair and with the findings of both trees.
NAME in --plot is any NAME of 'tyksim track', such as TAG.field, a field of the scene record or a
measure of the image: image.sharpness.
--order, --stride, --matrix and --range tell how images are stored, as for 'tyksim export'.

Pictures are as large as --size allows, with the same size and quality for all frames. If the page
has at most 400 images (200 frames of two trees), each has a window: a part of the image with every
sample as in the file. It is where the two images differ most, or where a single image has most
detail; --window sets another place, and --full includes whole images of some frames. If not even
thumbnails fit, only every Nth frame has its picture. --thumb-width, --window and --full have
precedence over --size.

Exit status: 0 clean, 1 failed, 2 wrong usage, 3 the page was written with errors or warnings, or
not everything could be read (see standard error).

Examples:
  tyksim sheet /tmp/phone -o phone.html
  tyksim sheet pulled/tykdump -o night.html --tags tags.xml --plot KELV_TAG_WB_GAINS.gains[1]
  tyksim sheet before -o change.html --against after
  tyksim sheet before -o tuning.html --against after --size 60 --full 12,40
)";

constexpr size_t kMeasured = 6;          ///< frames that pictures' sizes are measured on
constexpr size_t kMostWithEffort = 400;  ///< pictures made with Effort::kFull

struct SheetOptions {
    std::string tree;
    TreeOptions reading;
    std::string output;
    std::string against;
    std::vector<std::string> plots;
    uint32_t every = 1;
    int thumbWidth = 0;
    int megabytes = 20;
    std::string window;
    std::string full;
    bool force = false;
};

/// "256x256+1024+512": width, height, and the place of the left upper corner.
PixelArea parseArea(const char* option, const std::string& words) {
    PixelArea area;
    const std::pair<int*, std::string_view> parts[] = {
        {&area.width, "x"}, {&area.height, "+"}, {&area.x, "+"}, {&area.y, ""}};
    constexpr int kMost = 1 << 20;  // more than any image has; sums of two fit an int
    std::string_view rest = words;
    bool valid = true;
    for (const auto& [number, separator] : parts) {
        *number = tyktags::takeDigits<int>(rest).value_or(-1);
        valid = *number >= 0 && *number <= kMost && rest.substr(0, separator.size()) == separator;
        if (!valid) break;
        rest.remove_prefix(separator.size());
    }
    if (valid && rest.empty() && !area.empty()) return area;
    throw WrongUsage(
        fmt::format("{}: expected WxH+X+Y in pixels such as 256x256+1024+512, found {}", option,
                    shellWord(words)));
}

tyktree::NumberRanges parseFrames(const char* option, const std::string& words) {
    auto ranges = tyktree::NumberRanges::parse(words, 1);
    if (ranges.ok()) return std::move(ranges.value());
    throw WrongUsage(fmt::format("{}: {}", option, toLine(ranges.problem())));
}

/// Adds the findings of one tree to the page and counts them.
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
        planPictures();
    }

    ExitStatus run() {
        SheetHead head;
        head.tree = options_.tree;
        if (other_) head.against = options_.against;
        head.onlyOther = onlyOther_;
        head.every = options_.every;
        head.plots = plots_;
        head.pictures = plan_;
        const OutputRequest output{options_.output, foldersOf({&tree_, other_ ? &*other_ : &tree_}),
                                   options_.force};
        SheetWriter writer(output, head, table());
        addFrames(writer);
        writer.endFrames();
        const tyktree::FindingCounts mine = addFindings(tree_, Side::kMine, writer);
        std::optional<tyktree::FindingCounts> other;
        if (other_) other = addFindings(*other_, Side::kOther, writer);
        writer.commit();
        reportOmissions(writer.bytes());
        return report(mine, other);
    }

private:
    struct Readers {
        SheetFrameReader frames;
        FrameComparer comparer;
    };

    /// The tag table for both trees.
    const tyktree::TagCatalog& table() const {
        return other_ ? commonTable(tree_.catalog, other_->catalog) : tree_.catalog;
    }

    void chooseFrames() {
        const std::vector<FrameRef> none;
        const tyktree::TreePath* const otherPath = other_ ? &other_->index.path() : nullptr;
        const std::vector<FramePair> all = matchFrames(
            {&tree_.index.path(), &tree_.frames},
            {otherPath ? otherPath : &tree_.index.path(), other_ ? &other_->frames : &none},
            MatchBy::kRequest);
        pairs_ = inTheirPlaces(all, options_.every);
        for (const FramePair& pair : all) onlyOther_ += pair.a ? 0U : 1U;
        for (const PlacedPair& pair : pairs_) shown_ += pair.frames.a ? 1U : 0U;
    }

    /// Chooses sizes by what pictures of some frames cost.
    void planPictures() {
        plots_ = plots();
        plan_.assumed = options_.reading.assumed;
        if (!options_.window.empty()) plan_.window = parseArea("--window", options_.window);
        if (!options_.full.empty()) plan_.whole = parseFrames("--full", options_.full);
        PageNeeds needs;
        needs.bytes = static_cast<uint64_t>(options_.megabytes) * 1'000'000;
        needs.frames = pairs_.size();
        for (const PlacedPair& pair : pairs_) {
            needs.pictures += static_cast<size_t>(pair.frames.a.has_value()) +
                              static_cast<size_t>(pair.frames.b.has_value());
        }
        needs.thumbWidth = options_.thumbWidth;
        needs.windows = !plan_.window;
        plan_.effort = needs.pictures > kMostWithEffort ? Effort::kQuick : Effort::kFull;
        measure(needs);
        planned_ = true;
        plan_.sizes = planSizes(needs);
    }

    /// Measures the sizes of the rows and pictures of some frames.
    void measure(PageNeeds& needs) {
        SheetFrameReader reader(table(), plots_, plan_);
        const size_t count = std::min(pairs_.size(), kMeasured);
        size_t bytes = 0;
        for (size_t i = 0; i < count; ++i) {
            const size_t at = i * pairs_.size() / count;
            SheetTags tags;
            SheetRows mine(tags);
            SheetRows other(tags);
            // A row omits values that equal those of the row before.
            if (at > 0) rowBytes(readValues(pairs_[at - 1].frames, reader), mine, other);
            const SheetPair pair = readValues(pairs_[at].frames, reader);
            bytes += rowBytes(pair, mine, other);
            for (const auto& [frame, beside] :
                 {std::pair(&pair.mine, &pair.other), std::pair(&pair.other, &pair.mine)}) {
                if (!*frame || (*frame)->image.path.empty()) continue;
                if (const auto cost = reader.pictures().measure(
                        (*frame)->image, *beside ? &(*beside)->image : nullptr)) {
                    needs.measured.push_back(*cost);
                }
            }
        }
        if (count > 0) needs.rowBytes = static_cast<double>(bytes) / static_cast<double>(count);
    }

    SheetPair readValues(const FramePair& refs, SheetFrameReader& reader) {
        SheetPair pair;
        if (refs.a) pair.mine = reader.readValues(*refs.a);
        if (refs.b) pair.other = reader.readValues(*refs.b);
        for (const auto* frame : {&pair.mine, &pair.other}) {
            if (!*frame) continue;
            for (const std::string& line : (*frame)->problems) reportOnce(line);
        }
        return pair;
    }

    static size_t rowBytes(const SheetPair& pair, SheetRows& mine, SheetRows& other) {
        size_t bytes = 0;
        if (pair.mine) bytes += elementText(mine.row(*pair.mine)).size();
        if (pair.other) bytes += elementText(other.row(*pair.other)).size();
        return bytes;
    }

    std::vector<tyktree::ValueName> plots() const {
        std::vector<std::string> names = {"exp_time", "total_gain", "cur_ev"};
        names.insert(names.end(), options_.plots.begin(), options_.plots.end());
        return resolveNames(tree_, table(), names, "--plot: ");
    }

    void addFrames(SheetWriter& writer) {
        forEachOnJobs<SheetPair>(
            pairs_.size(), jobs_,
            [&] {
                return Readers{SheetFrameReader(table(), plots_, plan_),
                               FrameComparer(everything_, table())};
            },
            [&](Readers& readers, SheetPair& pair, size_t index) {
                pair = readPair(pairs_[index].frames, index % plan_.sizes.every == 0, readers);
            },
            [&](const SheetPair& pair, size_t index) {
                reportUnread(pair);
                writer.addFrame(pairs_[index], pair);
                if (pair.mine && pair.other) ++compared_;
                if (!pair.difference.same()) ++different_;
                progress_.count("read", index + 1, pairs_.size(), "frames");
            });
    }

    SheetPair readPair(const FramePair& refs, bool drawn, Readers& readers) const {
        SheetPair pair;
        if (refs.a) pair.mine = readers.frames.read(*refs.a, drawn);
        if (refs.b) pair.other = readers.frames.read(*refs.b, drawn);
        if (refs.a && refs.b) pair.difference = readers.comparer.compare(refs);
        SheetFrame& first = pair.mine ? *pair.mine : *pair.other;
        const bool both = pair.mine && pair.other;
        const bool whole =
            !plan_.whole.empty() && plan_.whole.contains(refs.either().frame->position);
        if (drawn || whole) {
            readers.frames.pictures().addWindows(first.image, both ? &pair.other->image : nullptr,
                                                 whole);
        }
        return pair;
    }

    /// Reports items that the page cannot show or compare.
    void reportUnread(const SheetPair& pair) {
        std::set<std::string> lines;
        if (pair.mine) lines = pair.mine->problems;
        if (pair.other) lines.insert(pair.other->problems.begin(), pair.other->problems.end());
        lines.insert(pair.difference.problems.begin(), pair.difference.problems.end());
        for (const std::string& line : lines) reportOnce(line);
    }

    /// Reports an item that cannot be read. The measuring of pictures reads some frames before the
    /// page does; an item that it has reported is not reported again.
    void reportOnce(const std::string& line) {
        if (measuredProblems_.count(line) > 0) return;
        if (!planned_) measuredProblems_.insert(line);
        reading_.problem(line);
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

    /// Reports missing pictures, and a page that exceeds its limit.
    void reportOmissions(uint64_t bytes) const {
        const PictureSizes& sizes = plan_.sizes;
        if (sizes.every > 1) {
            printNote(
                fmt::format("every {}th frame has a picture, and all have their values; --size, "
                            "--every or --frames make room",
                            sizes.every));
        }
        const double megabytes = static_cast<double>(bytes) / 1e6;
        if (megabytes <= options_.megabytes) return;
        printNote(fmt::format("the page has {:.1f} MB, more than the {} MB of --size", megabytes,
                              options_.megabytes));
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

    /// The result of comparing the frames.
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
    std::vector<PlacedPair> pairs_;  ///< that the page shows
    std::vector<tyktree::ValueName> plots_;
    PicturePlan plan_;
    bool planned_ = false;
    std::set<std::string> measuredProblems_;
    uint64_t shown_ = 0;      ///< frames of the first tree
    uint64_t onlyOther_ = 0;  ///< frames that only the second tree has
    uint64_t compared_ = 0;   ///< frames with a counterpart
    uint64_t different_ = 0;  ///< those of them that differ
    DiffRules everything_;    ///< rules for comparing frames: nothing is ignored
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
    verb.option("--against", options->against, "A second tree to compare with").valueName("OTHER");
    verb.option("--plot", options->plots, "Another value to plot over the frames")
        .valueName("NAME")
        .oneValueEach();
    verb.option("--every", options->every, "Show every Nth frame of a task")
        .takes(wholeNumber(1, 1000000))
        .valueName("N")
        .showDefault();
    verb.option("--thumb-width", options->thumbWidth, "Width of the thumbnails, pixels")
        .takes(wholeNumber(16, 2048))
        .valueName("N");
    verb.option("--size", options->megabytes, "Largest size of the page, MB")
        .takes(wholeNumber(1, 10000))
        .valueName("MB")
        .showDefault();
    verb.option("--window", options->window, "Size and place of the windows, pixels")
        .valueName("WxH+X+Y");
    verb.option("--full", options->full, "Frames with whole images: 3..9,12").valueName("FRAMES");
    addColourRule(verb, options->reading.assumed);
    addTreeOptions(verb, options->reading);
    addForce(verb, options->force);
    verb.footer(kFooter);
    return [options] {
        return runReading(nullptr,
                          [&options](Reading& reading) { return Sheet(*options, reading).run(); });
    };
}

}  // namespace tyksim
