#include "tools/diff/DifferenceText.h"

#include "tools/console/Units.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <utility>

namespace tyksim {

namespace {

std::string planeText(const PlaneDifference& plane) {
    if (plane.samples == 0) return "not compared";
    if (plane.squares == 0) return "same";
    return fmt::format("{:.2f} dB, max {}, mean {:.3g}, {}", plane.psnr(), plane.largest,
                       plane.mean(), counted(plane.different, "pixel", "pixels"));
}

/// The compared share of each plane if one file ends before the other.
std::string comparedText(const ImageDifference& image) {
    const SampleCounts whole = image.layout.samplesIn(std::max(image.bytesA, image.bytesB));
    const auto part = [](const char* name, uint64_t compared, uint64_t of) {
        const bool some = compared > 0 && compared < of;
        return some ? fmt::format("compared {} of {} samples of {}; ", compared, of, name) : "";
    };
    return part("y", image.samples->y.samples, whole.y) +
           part("u", image.samples->u.samples, whole.u) +
           part("v", image.samples->v.samples, whole.v);
}

/// Adds names: those with the same change of sof id together, others one by one.
void addNames(const std::vector<NameDifference>& names, std::vector<DifferenceText>& texts) {
    std::map<std::pair<int, int>, size_t> files;
    for (const NameDifference& name : names) {
        if (const auto sofs = name.sofs()) ++files[*sofs];
    }
    for (const auto& [sofs, count] : files) {
        texts.push_back(
            {"sof", fmt::format("{} -> {} in the {} of {}", sofs.first, sofs.second,
                                count == 1 ? "name" : "names", counted(count, "file", "files"))});
    }
    for (const NameDifference& name : names) {
        if (name.sofs()) continue;
        texts.push_back({"name", tyktree::escaped(name.a) + " -> " + tyktree::escaped(name.b)});
    }
}

}  // namespace

DifferenceText textOf(const ImageDifference& image, bool several) {
    DifferenceText text;
    text.what = several ? fmt::format("image (camera {})", image.camera) : "image";
    if (!image.inB) {
        text.how = "only in A";
    } else if (!image.inA) {
        text.how = "only in B";
    } else if (!image.samples) {
        text.how = fmt::format("{}x{} -> {}x{}", image.sizeA.width, image.sizeA.height,
                               image.sizeB.width, image.sizeB.height);
    } else if (!image.samples->problem.empty()) {
        text.how = "cannot be read";
    } else {
        text.planes = &*image.samples;
        if (image.bytesA != image.bytesB) {
            text.how = comparedText(image);
            text.how += fmt::format("{} -> {} bytes", image.bytesA, image.bytesB);
        }
        if (image.samples->restDiffers) {
            text.how += text.how.empty() ? "" : "; ";
            text.how += "bytes after the picture differ";
        }
    }
    return text;
}

std::vector<DifferenceText> textsOf(const FrameDifference& difference) {
    std::vector<DifferenceText> texts;
    for (const ImageDifference& image : difference.images) {
        texts.push_back(textOf(image, difference.images.size() > 1));
    }
    if (!difference.scene.empty())
        texts.push_back({"scene record", "", nullptr, &difference.scene});
    for (const ContentDifference& tag : difference.tags) {
        texts.push_back({fmt::format("{} (pipe type {}, camera {})", tyktree::escaped(tag.name),
                                     tag.pipe, tag.camera),
                         contentText(tag), nullptr, &tag.fields});
    }
    for (const ContentDifference& file : difference.files) {
        texts.push_back({tyktree::escaped(file.name), contentText(file)});
    }
    addNames(difference.names, texts);
    if (difference.overtaken) {
        texts.push_back({"order", fmt::format("after {} in A, before it in B",
                                              frameText(*difference.overtaken))});
    }
    return texts;
}

std::string valueText(const tyktags::Value& value) {
    return tyktree::escaped(tyktags::toText(value));
}

std::string contentText(const ContentDifference& content) {
    if (!content.inB) return "only in A";
    if (!content.inA) return "only in B";
    const FileDifference& bytes = content.bytes;
    if (!bytes.problem.empty()) return "cannot be read";
    std::string words = fmt::format(
        "{} at {}", counted(bytes.different, "byte differs, it is", "bytes differ, the first is"),
        bytes.first.value_or(0));
    if (bytes.bytesA != bytes.bytesB) {
        words += fmt::format(", {} -> {} bytes", bytes.bytesA, bytes.bytesB);
    }
    return words;
}

std::string planesText(const PictureDifference& picture) {
    return fmt::format("y {}; u {}; v {}", planeText(picture.y), planeText(picture.u),
                       planeText(picture.v));
}

std::string frameText(const tyktree::FrameRef& frame) {
    const tyktree::FrameEntry& entry = *frame.frame;
    return entry.wellNamed ? fmt::format("request {}", entry.parsed.requestId)
                           : tyktree::escaped(entry.name);
}

}  // namespace tyksim
