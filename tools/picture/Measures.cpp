#include "tools/picture/Measures.h"

#include "tools/picture/MeasureName.h"
#include "tools/picture/PictureFile.h"
#include "tools/picture/SampleMeter.h"
#include "tree/read/FrameListing.h"
#include "tree/read/FrameValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <fmt/format.h>
#include <optional>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameListing;
using tyktree::FrameValue;

constexpr int kRowsAtOnce = 64;

/// A part of a plane with its measures.
struct Area {
    struct Asked {
        Measure measure;
        size_t place;  ///< index of the name
    };

    PlaneId plane;
    std::optional<Region> region;
    std::vector<Asked> asked;

    bool comparesNeighbours() const {
        return std::any_of(asked.begin(), asked.end(), [](const Asked& one) {
            return tyksim::comparesNeighbours(one.measure);
        });
    }
};

/// What one pass over an image measures.
struct Pass {
    std::vector<Area> areas;
    WantedPlanes wanted{false, false};
    bool comparesNeighbours = false;
};

std::vector<MeasureName> parsed(const std::vector<std::string>& names) {
    std::vector<MeasureName> parsed;
    parsed.reserve(names.size());
    for (const std::string& name : names) parsed.push_back(parseMeasureName(name).value());
    return parsed;
}

/// The pass for the names at these places.
Pass passFor(const std::vector<MeasureName>& names, const std::vector<size_t>& places) {
    Pass pass;
    std::vector<Area>& areas = pass.areas;
    for (const size_t place : places) {
        const MeasureName& name = names[place];
        (name.plane == PlaneId::kY ? pass.wanted.luma : pass.wanted.chroma) = true;
        pass.comparesNeighbours = pass.comparesNeighbours || comparesNeighbours(name.measure);
        auto at = std::find_if(areas.begin(), areas.end(), [&name](const Area& area) {
            return area.plane == name.plane && area.region == name.region;
        });
        if (at == areas.end()) at = areas.insert(at, Area{name.plane, name.region, {}});
        at->asked.push_back({name.measure, place});
    }
    return pass;
}

/// The area's samples in its plane.
Region samplesOf(const Area& area, const PictureLayout& layout) {
    const Region pixels = area.region.value_or(Region{0, 0, layout.width, layout.height});
    if (area.plane == PlaneId::kY) return pixels;
    const int left = pixels.x / 2;
    const int top = pixels.y / 2;
    return {left, top, chromaLength(pixels.x + pixels.width) - left,
            chromaLength(pixels.y + pixels.height) - top};
}

uint64_t countOf(const SampleCounts& counts, PlaneId id) {
    if (id == PlaneId::kU) return counts.u;
    return id == PlaneId::kV ? counts.v : counts.y;
}

/// The number, rounded to the precision of a measure.
double rounded(double number) {
    constexpr int kDigits = 9;
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.data(), text.data() + text.size(), number,
                                       std::chars_format::general, kDigits);
    std::from_chars(text.data(), written.ptr, number);
    return number;
}

/// Measures one area of one picture, strip by strip.
class AreaRun {
public:
    AreaRun(const Area& area, const PictureFile& file, const PictureFile* before)
        : area_(area),
          samples_(samplesOf(area, file.layout())),
          held_(countOf(file.samples(), area.plane)),
          meter_(static_cast<size_t>(samples_.width), measuresOf(area)) {
        if (!before || !area.comparesNeighbours()) return;
        neighbours_.emplace(static_cast<size_t>(samples_.width),
                            static_cast<size_t>(samples_.height));
        heldBefore_ = countOf(before->samples(), area.plane);
    }

    /// Adds the area's part of a strip that begins at row `pixelRow` of the picture, which must be
    /// even.
    void add(const Picture& strip, const Picture* before, int pixelRow) {
        const Plane& plane = strip.plane(area_.plane);
        const int first = area_.plane == PlaneId::kY ? pixelRow : pixelRow / 2;
        const int from = std::max(samples_.y, first);
        const int to = std::min(samples_.y + samples_.height, first + plane.height);
        for (int row = from; row < to; ++row) {
            const uint8_t* const now = rowOf(plane, row - first);
            const size_t held = heldOf(held_, plane, row);
            meter_.addRow(now, held);
            if (!neighbours_ || !before || held < width()) continue;
            const Plane& other = before->plane(area_.plane);
            if (heldOf(heldBefore_, other, row) < width()) continue;
            neighbours_->addRow(now, rowOf(other, row - first));
        }
    }

    /// Stores the measures in `values`.
    void take(const PictureFile& file, std::vector<FrameValue>& values) {
        const auto all =
            static_cast<uint64_t>(samples_.width) * static_cast<uint64_t>(samples_.height);
        std::string problem;
        if (file.isShort() && meter_.samples() < all) {
            problem = fmt::format("the image file ends after {} of {} bytes", file.bytes(),
                                  file.layout().dumpedBytes());
        }
        for (const Area::Asked& asked : area_.asked) {
            FrameValue& value = values[asked.place];
            if (value.problem.empty()) value.problem = problem;
            const std::optional<double> number = measured(asked.measure);
            if (number) value.values = {rounded(*number)};
        }
    }

private:
    static std::vector<Measure> measuresOf(const Area& area) {
        std::vector<Measure> measures;
        for (const Area::Asked& asked : area.asked) measures.push_back(asked.measure);
        return measures;
    }

    size_t width() const { return static_cast<size_t>(samples_.width); }

    const uint8_t* rowOf(const Plane& plane, int row) const {
        return plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride) +
               samples_.x;
    }

    /// The number of samples of the area's row among the first `held` samples of the plane.
    size_t heldOf(uint64_t held, const Plane& plane, int row) const {
        const uint64_t before = static_cast<uint64_t>(row) * static_cast<uint64_t>(plane.width) +
                                static_cast<uint64_t>(samples_.x);
        return held > before ? static_cast<size_t>(std::min<uint64_t>(held - before, width())) : 0;
    }

    std::optional<double> measured(Measure measure) {
        if (!comparesNeighbours(measure)) return meter_.value(measure);
        return neighbours_ ? neighbours_->value(measure) : std::nullopt;
    }

    const Area& area_;
    const Region samples_;
    const uint64_t held_;
    uint64_t heldBefore_ = 0;
    SampleMeter meter_;
    std::optional<NeighbourMeter> neighbours_;
};

class MeasureReader : public tyktree::ValueSource::Reader {
public:
    MeasureReader(const AssumedPicture& assumed, const KnownMeasures& known,
                  const std::vector<std::string>& names)
        : assumed_(assumed), known_(known), count_(names.size()) {
        const std::vector<MeasureName> wanted = parsed(names);
        const std::vector<MeasureName> there = parsed(known.names);
        std::vector<size_t> all;
        std::vector<size_t> others;
        for (size_t i = 0; i < wanted.size(); ++i) {
            all.push_back(i);
            const auto at = std::find(there.begin(), there.end(), wanted[i]);
            if (at == there.end()) {
                others.push_back(i);
            } else {
                taken_.emplace_back(i, static_cast<size_t>(at - there.begin()));
            }
        }
        all_ = passFor(wanted, all);
        others_ = passFor(wanted, others);
    }

    std::vector<FrameValue> read(const FrameListing& frame, const std::string& before) override {
        std::vector<FrameValue> values(count_);
        const auto known = known_.byFrame.find(frame.path());
        const bool isKnown = known != known_.byFrame.end();
        measure(isKnown ? others_ : all_, frame, before, values);
        if (!isKnown) return values;
        for (const auto& [place, from] : taken_) values[place] = known->second[from];
        return values;
    }

private:
    void measure(const Pass& pass, const FrameListing& frame, const std::string& before,
                 std::vector<FrameValue>& values) {
        const FileEntry* const image = pass.areas.empty() ? nullptr : frame.image();
        if (!image) return;
        const bool several =
            std::count_if(frame.files().begin(), frame.files().end(), [](const FileEntry& file) {
                return file.kind == FileEntry::Kind::kImage;
            }) > 1;
        for (FrameValue& value : values) value.several = several;
        try {
            const std::unique_ptr<PictureFile> file = open(frame, *image);
            const std::unique_ptr<PictureFile> other = openBefore(pass, *file, before, values);
            measure(pass, *file, other.get(), values);
        } catch (const NoPicture& problem) {
            for (FrameValue& value : values) value.problem = problem.reason();
        }
    }

    std::unique_ptr<PictureFile> open(const FrameListing& frame, const FileEntry& image) const {
        auto file = std::make_unique<PictureFile>(fmt::format("{}/{}", frame.path(), image.name),
                                                  assumed_.layoutOf(image.image));
        file->requireSamples();
        return file;
    }

    /// Opens the image of the frame before if it is needed and has the same size. A failure is a
    /// problem of the values that need it.
    std::unique_ptr<PictureFile> openBefore(const Pass& pass, const PictureFile& file,
                                            const std::string& before,
                                            std::vector<FrameValue>& values) {
        if (!pass.comparesNeighbours || before.empty()) return nullptr;
        try {
            if (const tyktags::Status& listed = listing_.read(before); !listed.ok()) {
                throw NoPicture(before, "cannot be listed: " + listed.problem().reason);
            }
            const FileEntry* const image = listing_.image();
            const bool fits = image && image->image.width == file.layout().width &&
                              image->image.height == file.layout().height;
            if (!fits) return nullptr;
            return open(listing_, *image);
        } catch (const NoPicture& problem) {
            for (const Area& area : pass.areas) {
                for (const Area::Asked& asked : area.asked) {
                    if (!tyksim::comparesNeighbours(asked.measure)) continue;
                    values[asked.place].problem = "the frame before: " + problem.reason();
                }
            }
            return nullptr;
        }
    }

    static void measure(const Pass& pass, PictureFile& file, PictureFile* before,
                        std::vector<FrameValue>& values) {
        const PictureLayout& layout = file.layout();
        std::vector<AreaRun> runs;
        int first = layout.height;
        int end = 0;
        for (const Area& area : pass.areas) {
            if (!liesIn(area, layout, values)) continue;
            runs.emplace_back(area, file, before);
            const Region pixels = area.region.value_or(Region{0, 0, layout.width, layout.height});
            first = std::min(first, pixels.y / 2 * 2);
            end = std::max(end, pixels.y + pixels.height);
        }
        end = std::min(layout.height, (end + 1) / 2 * 2);
        for (int row = first; row < end; row += kRowsAtOnce) {
            const int rows = std::min(kRowsAtOnce, end - row);
            const Picture strip = file.rows(row, rows, pass.wanted);
            std::optional<Picture> other;
            if (before) other = before->rows(row, rows, pass.wanted);
            for (AreaRun& run : runs) run.add(strip, other ? &*other : nullptr, row);
        }
        for (AreaRun& run : runs) run.take(file, values);
    }

    /// Whether the area lies in the picture; else sets a problem of its values.
    static bool liesIn(const Area& area, const PictureLayout& layout,
                       std::vector<FrameValue>& values) {
        if (!area.region) return true;
        const Region& region = *area.region;
        const bool lies =
            region.x <= layout.width - region.width && region.y <= layout.height - region.height;
        for (const Area::Asked& asked : area.asked) {
            if (lies) break;
            values[asked.place].problem = fmt::format(
                "the region is not within the image of {}x{} pixels", layout.width, layout.height);
        }
        return lies;
    }

    const AssumedPicture& assumed_;
    const KnownMeasures& known_;
    const size_t count_;
    std::vector<std::pair<size_t, size_t>> taken_;  ///< places of known names, here and in known_
    Pass all_;
    Pass others_;  ///< without the known names
    FrameListing listing_;
};

}  // namespace

bool ImageMeasures::claims(std::string_view name) const {
    return claimsMeasure(name);
}

tyktags::Status ImageMeasures::check(std::string_view name) const {
    const auto parsed = parseMeasureName(name);
    return parsed.ok() ? tyktags::Status() : tyktags::Status(parsed.problem());
}

std::vector<std::string> ImageMeasures::names() const {
    return measureNames();
}

std::unique_ptr<tyktree::ValueSource::Reader> ImageMeasures::reader(
    const std::vector<std::string>& names) const {
    return std::make_unique<MeasureReader>(assumed_, known_, names);
}

}  // namespace tyksim
