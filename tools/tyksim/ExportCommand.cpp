// tyksim export: exports the images of a tree as pictures and videos.
#include "tools/console/Jobs.h"
#include "tools/console/Units.h"
#include "tools/files/CloneFile.h"
#include "tools/files/OutputPath.h"
#include "tools/json/TreeJson.h"
#include "tools/picture/CaptureFacts.h"
#include "tools/picture/PictureOptions.h"
#include "tools/picture/PictureRenderer.h"
#include "tools/picture/VideoFile.h"
#include "tools/tyksim/ExportReport.h"
#include "tools/tyksim/Reading.h"
#include "tree/read/Escape.h"
#include "tree/read/ExactNames.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;
using tyktree::RuleId;

constexpr const char* kFooter = R"(
Writes every image of the selected frames into the folder DIR, with names of pipe, task, frame,
request, sof and camera, or the images of a task as a video. JPEG and PNG have exposure, gain (as ISO)
and bias of the frame's scene record as EXIF data, and the frame's identity as their description.

A tree does not tell the meaning of its samples. Cameras write NV21 by BT.601 in full range; export
assumes this and prints the assumption. --order, --matrix, --range and --stride change it.

An image whose file is short, long or has an odd side is exported with its existing samples, the rest
black or without colour, and is a finding. All images of a video must have the same size; others are
omitted and are findings.

Exit status: 0 all images were exported, 1 failed (DIR or FILE is unchanged), 2 wrong usage, 3
exported with findings.

Examples:
  tyksim export /tmp/phone -o pictures
  tyksim export pulled/tykdump -o small --pipe 1 --frames 3..9 --format png --scale 1/4
  tyksim export /tmp/phone --task 2 --y4m - --fps 15 | ffplay -
)";

struct Options {
    ReadingOptions reading;
    std::string tree;
    std::string folder;
    std::string video;
    std::string rate = "30";
    PictureStyle style;
    bool force = false;
};

/// Exports single frames.
class FrameExporter {
public:
    FrameExporter(const Options& options, const tyktree::TagCatalog& catalog)
        : options_(options), facts_(catalog), renderer_(options.style) {}

    /// Exports to the folder `folder`, or for a video if it is "".
    FrameResult run(const FrameRef& frame, const std::string& folder) {
        FrameResult result;
        if (const tyktags::Status& listed = listing_.read(frame.path()); !listed.ok()) {
            result.findings.push_back(
                makeFinding(RuleId::kFolderUnlisted, frame.place(),
                            {frame.path(), "", "no listing", listed.problem().reason}));
        }
        bool any = false;
        for (const FileEntry& file : listing_.files()) {
            if (file.kind == FileEntry::Kind::kBadImage) addNameFinding(frame, file, result);
            if (file.kind != FileEntry::Kind::kImage) continue;
            any = true;
            exportImage(frame, file, folder, result);
        }
        if (!any && listing_.status().ok()) {
            result.findings.push_back(makeFinding(RuleId::kImageMissing, frame.place(),
                                                  {frame.path(), "an image", "none"}));
        }
        return result;
    }

private:
    void addNameFinding(const FrameRef& frame, const FileEntry& file, FrameResult& result) const {
        result.findings.push_back(
            makeFinding(RuleId::kImageName, frame.place(),
                        {listing_.pathOf(file), "FCWH_<sof>_<camera>_<width>_<height>_nv21.yuv",
                         std::string(file.name)}));
    }

    void exportImage(const FrameRef& frame, const FileEntry& file, const std::string& folder,
                     FrameResult& result) {
        if (!tyktree::namesNv21(file.name)) addNameFinding(frame, file, result);
        try {
            PictureFile picture(listing_.pathOf(file),
                                options_.reading.tree.assumed.layoutOf(file.image));
            picture.requireSamples();
            addSizeFindings(frame, file, picture, result);
            Exported image;
            image.camera = file.image.camId;
            image.size = renderer_.sizeOf(file.image.width, file.image.height);
            const bool video = folder.empty();
            const std::string_view bytes = renderer_.render(picture, exifOf(frame, image.camera));
            image.bytes = bytes.size();
            if (video) {
                image.sample = bytes;
            } else {
                image.name = pictureName(frame, image.camera, result.images.size()) +
                             fileEnding(options_.style, image.size);
                writeNewFile(folder + "/" + image.name, bytes);
            }
            result.images.push_back(std::move(image));
        } catch (const NoPicture& problem) {
            result.findings.push_back(makeFinding(
                file.regular() ? RuleId::kFileUnreadable : RuleId::kFileKind, frame.place(),
                {listing_.pathOf(file), "an image", "none", problem.reason()}));
        }
    }

    /// EXIF data for the formats that can store it.
    std::vector<uint8_t> exifOf(const FrameRef& frame, int camera) {
        const PictureFormat format = options_.style.format;
        if (format != PictureFormat::kJpeg && format != PictureFormat::kPng) return {};
        return makeExif(facts_.read(frame, camera, listing_));
    }

    void addSizeFindings(const FrameRef& frame, const FileEntry& file, const PictureFile& picture,
                         FrameResult& result) const {
        const auto add = [&](RuleId rule, uint64_t expected, uint64_t found) {
            result.findings.push_back(
                makeFinding(rule, frame.place(),
                            {listing_.pathOf(file), fmt::format("{} bytes", expected),
                             fmt::format("{}", found)}));
        };
        const PictureLayout& layout = picture.layout();
        if (picture.isShort()) add(RuleId::kImageShort, layout.dumpedBytes(), picture.bytes());
        if (picture.isLong()) add(RuleId::kImageLong, layout.bytes(), picture.bytes());
        if (!picture.isShort() && picture.notDumped() > 0) {
            add(RuleId::kImageOdd, layout.usedBytes(), picture.bytes());
        }
    }

    const Options& options_;
    CaptureFactsReader facts_;
    PictureRenderer renderer_;
    tyktree::FrameListing listing_;
};

/// One run of the verb.
class Export {
public:
    Export(const Options& options, const OpenedTree& tree, Reading& reading)
        : options_(options),
          tree_(tree),
          report_(makeExportReport(reading.json(), options.video == kStandardOutput)) {}

    ExitStatus run() {
        report_->begin(options_.reading.tree.assumed);
        if (options_.video.empty()) {
            OutputFolder out(output());
            exportFrames(out.path());
            requireImages();
            out.commit();
        } else {
            VideoFile video(output(), rateOf(options_.rate), options_.style);
            video_ = &video;
            exportFrames("");
            requireImages();
            video.commit();
        }
        report_->end(totals_, place());
        return totals_.findings > 0 ? ExitStatus::kFindings : ExitStatus::kClean;
    }

private:
    OutputRequest output() const { return {place(), foldersOf({&tree_}), options_.force}; }

    const std::string& place() const {
        return options_.video.empty() ? options_.folder : options_.video;
    }

    void exportFrames(const std::string& folder) {
        forEachOnJobs<FrameResult>(
            tree_.frames.size(), options_.reading.tree.jobs,
            [this] { return FrameExporter(options_, tree_.catalog); },
            [&](FrameExporter& exporter, FrameResult& result, size_t index) {
                result = exporter.run(tree_.frames[index], folder);
            },
            [&](FrameResult& result, size_t index) {
                take(tree_.frames[index], result);
                progress_.count("exported", index + 1, tree_.frames.size(), "frames");
            });
    }

    void take(const FrameRef& frame, FrameResult& result) {
        if (video_) addToVideo(frame, result);
        for (const Exported& image : result.images) {
            ++totals_.images;
            totals_.bytes += image.bytes;
        }
        ++totals_.frames;
        totals_.findings += result.findings.size();
        report_->add(frame, result);
    }

    /// Adds images to the video; removes those that do not fit from the result.
    void addToVideo(const FrameRef& frame, FrameResult& result) {
        const auto left = [&](const Exported& image) {
            if (video_->add(image.sample, image.size)) return false;
            result.findings.push_back(makeFinding(
                RuleId::kImageSizeVaries, frame.place(),
                {frame.path(), fmt::format("{}x{}", video_->size().width, video_->size().height),
                 fmt::format("{}x{}", image.size.width, image.size.height),
                 "not added to the video"}));
            return true;
        };
        auto& images = result.images;
        images.erase(std::remove_if(images.begin(), images.end(), left), images.end());
    }

    void requireImages() const {
        if (totals_.images == 0) {
            throw Failure(tyktree::escaped(options_.tree) + ": no image to export was found");
        }
    }

    const Options& options_;
    const OpenedTree& tree_;
    const std::unique_ptr<ExportReport> report_;
    ExportTotals totals_;
    Progress progress_;
    VideoFile* video_ = nullptr;
};

/// Sets the values that depend on several options.
void finish(Options& options) {
    if (options.folder.empty() == options.video.empty()) {
        throw WrongUsage(fmt::format("expected one of -o DIR and --y4m FILE, found {}",
                                     options.folder.empty() ? "neither" : "both"));
    }
    options.style.rule = options.reading.tree.assumed.rule;
    options.reading.trees = {options.tree};
    if (options.video.empty()) return;
    options.style.format = PictureFormat::kY4mFrame;
    static_cast<void>(rateOf(options.rate));
    if (options.video == kStandardOutput && options.reading.json) {
        throw WrongUsage("--json: standard output has the video; give --y4m a file");
    }
}

}  // namespace

Action defineExport(VerbOptions& verb) {
    const auto options = std::make_shared<Options>();
    verb.option("TREE", options->tree, "A tree, or part of one").required();
    verb.option("-o,--output", options->folder, "Folder to make").valueName("DIR");
    verb.option("--y4m", options->video, "Video to make instead; - is standard output")
        .valueName("FILE");
    verb.option("--fps", options->rate, "Frames of the video per second")
        .valueName("RATE")
        .defaultText("30");
    addPictureStyle(verb, options->style);
    addColourRule(verb, options->reading.tree.assumed);
    addTreeOptions(verb, options->reading.tree);
    verb.flag("--json", options->reading.json, "One JSON document, on one line");
    addForce(verb, options->force);
    verb.footer(kFooter);
    return [options] {
        finish(*options);
        return readTrees(options->reading, "tyksim.export",
                         [&options](const OpenedTree& tree, Reading& reading) {
                             return Export(*options, tree, reading).run();
                         });
    };
}

}  // namespace tyksim
