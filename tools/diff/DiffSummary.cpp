#include "tools/diff/DiffSummary.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

namespace tyksim {

namespace {

/// A field's name without the numbers of its element: "gains" of "gains[2]", all of "roi[1].x".
std::string fieldOf(const std::string& name) {
    size_t end = name.size();
    while (end > 0 && name[end - 1] == ']') {
        const size_t open = name.rfind('[', end - 1);
        if (open == std::string::npos) break;
        end = open;
    }
    return name.substr(0, end);
}

void addContents(const std::vector<ContentDifference>& contents,
                 std::map<std::string, DiffSummary::Content>& sums) {
    std::set<std::string> counted;
    std::set<std::pair<std::string, std::string>> countedFields;
    for (const ContentDifference& content : contents) {
        DiffSummary::Content& sum = sums[content.name];
        // A tag of two cameras counts as one frame.
        if (counted.insert(content.name).second) ++sum.frames;
        if (!content.inB) ++sum.onlyA;
        if (!content.inA) ++sum.onlyB;
        sum.mostBytes = std::max(sum.mostBytes, content.bytes.different);
        for (const ValueDifference& field : content.fields) {
            const std::string name = fieldOf(field.name);
            if (countedFields.emplace(content.name, name).second) ++sum.fields[name];
        }
    }
}

/// The order of pairs: the distance of the images, then the number of differences.
std::tuple<double, size_t> badness(const FrameDifference& difference) {
    double distance = 0;
    for (const ImageDifference& image : difference.images) {
        distance = std::max(distance, image.distance());
    }
    size_t values = difference.scene.size() + difference.files.size() + difference.names.size() +
                    difference.problems.size() + (difference.overtaken ? 1 : 0);
    for (const ContentDifference& tag : difference.tags) {
        values += std::max<size_t>(1, tag.fields.size());
    }
    return {distance, values};
}

bool worse(const DifferentPair& a, const DifferentPair& b) {
    const auto badnessA = badness(a.difference);
    const auto badnessB = badness(b.difference);
    return badnessA != badnessB ? badnessA > badnessB : a.order < b.order;
}

}  // namespace

void DiffSummary::add(const FramePair& frames, FrameDifference difference) {
    if (!frames.a || !frames.b) {
        (frames.a ? onlyA : onlyB).push_back(frames.either().frame->parsed.requestId);
        return;
    }
    ++matched;
    if (difference.same()) return;
    ++different;
    count(difference);
    keep({frames, std::move(difference), matched});
}

void DiffSummary::count(const FrameDifference& difference) {
    problems += difference.problems.size();
    addContents(difference.tags, tags);
    addContents(difference.files, files);
    for (const ValueDifference& field : difference.scene) ++scene[field.name];
    const auto withSofs = [](const NameDifference& name) { return name.sofs().has_value(); };
    const auto& names = difference.names;
    if (std::any_of(names.begin(), names.end(), withSofs)) ++sofs;
    if (!std::all_of(names.begin(), names.end(), withSofs)) ++otherNames;
    if (difference.overtaken) ++moved;
    if (!difference.images.empty()) ++images.frames;
    for (const ImageDifference& image : difference.images) {
        if (!image.samples || !image.samples->problem.empty()) {
            ++images.notCompared;
            continue;
        }
        images.samples.y.add(image.samples->y);
        images.samples.u.add(image.samples->u);
        images.samples.v.add(image.samples->v);
    }
}

void DiffSummary::keep(DifferentPair pair) {
    const auto place = std::upper_bound(worst_.begin(), worst_.end(), pair, worse);
    worst_.insert(place, std::move(pair));
    if (worst_.size() > most_) worst_.pop_back();
}

std::vector<const DifferentPair*> DiffSummary::worst() const {
    std::vector<const DifferentPair*> pairs;
    for (const DifferentPair& pair : worst_) pairs.push_back(&pair);
    return pairs;
}

}  // namespace tyksim
