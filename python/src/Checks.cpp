// The findings of a tree, and the differences of two trees, as Python's values.
#include "python/src/Errors.h"
#include "python/src/Frames.h"
#include "python/src/Text.h"
#include "python/src/Waiting.h"
#include "tools/diff/FrameDifference.h"
#include "tools/diff/FrameMatch.h"
#include "tools/diff/TuningDifference.h"
#include "tree/check/TreeCheck.h"

#include <optional>
#include <pybind11/stl.h>
#include <string_view>
#include <utility>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyksim::ContentDifference;
using tyksim::FrameDifference;
using tyksim::FramePair;
using tyktree::Finding;
using tyktree::FrameRef;

py::str pythonWord(std::string_view word) {
    return {word.data(), word.size()};
}

/// A position; None for 0.
py::object positionOf(uint32_t position) {
    return position == 0 ? py::object(py::none()) : py::object(py::int_(position));
}

py::tuple pythonFinding(const Finding& finding) {
    const tyktree::Rule& rule = ruleOf(finding.rule);
    return py::make_tuple(
        pythonWord(rule.name), pythonWord(nameOf(rule.severity)), pythonText(finding.path),
        pythonText(finding.expected), pythonText(finding.found), pythonText(finding.reason),
        pythonText(finding.hint.empty() ? rule.hint : finding.hint), finding.place.pipe,
        positionOf(finding.place.task), positionOf(finding.place.frame));
}

/// Collects findings.
class FindingList : public tyktree::FindingSink {
public:
    void add(const Finding& finding) override { list.push_back(finding); }
    std::vector<Finding> list;
};

py::list check(const Frames& frames, bool deep, int jobs, const py::object& progress) {
    FindingList findings;
    Waiting waiting(jobs, progress);
    tyktree::CheckOptions options;
    options.deep = deep;
    options.execution = waiting.execution();
    options.progress = [&waiting](uint64_t done, uint64_t of) { waiting.count(done, of); };
    waiting.run([&] {
        tyktree::checkTree(frames.tree().index, frames.selection(), frames.tree().names.catalog(),
                           options, findings);
    });
    py::list list;
    for (const Finding& finding : findings.list) list.append(pythonFinding(finding));
    return list;
}

/// The options of diff().
struct DiffArguments {
    bool byOrder;
    int tolerance;
    std::vector<std::string> ignored;
    int stride;
    bool uFirst;
};

tyksim::DiffRules rulesOf(const Frames& a, const Frames& b, const DiffArguments& arguments) {
    tyksim::DiffRules rules;
    rules.assumed.order =
        arguments.uFirst ? tyksim::ChromaOrder::kNv12 : tyksim::ChromaOrder::kNv21;
    rules.assumed.stride = arguments.stride;
    rules.tolerance = arguments.tolerance;
    const auto& catalog = tyksim::commonTable(a.tree().names.catalog(), b.tree().names.catalog());
    const Frames& named = &catalog == &a.tree().names.catalog() ? a : b;
    for (const std::string& name : arguments.ignored) {
        if (name == "image") {
            rules.ignoreImages = true;
        } else if (name == "sof") {
            rules.ignoreSofs = true;
        } else {
            rules.ignored.push_back(named.resolve({name}).front());
        }
    }
    return rules;
}

py::list pythonValues(const std::vector<tyksim::ValueDifference>& values) {
    py::list list;
    for (const tyksim::ValueDifference& value : values) {
        list.append(
            py::make_tuple(pythonText(value.name), pythonScalar(value.a), pythonScalar(value.b)));
    }
    return list;
}

/// The name, whether A and B have it, the bytes of both, the number of different bytes, and the
/// fields.
py::list pythonContents(const std::vector<ContentDifference>& contents) {
    py::list list;
    for (const ContentDifference& content : contents) {
        list.append(py::make_tuple(pythonText(content.name), content.inA, content.inB,
                                   content.bytes.bytesA, content.bytes.bytesB,
                                   content.bytes.different, pythonValues(content.fields)));
    }
    return list;
}

/// PSNR, largest and mean difference, and the number of different samples; None if none was
/// compared.
py::object pythonPlane(const tyksim::PlaneDifference& plane) {
    if (plane.samples == 0) return py::none();
    return py::make_tuple(plane.psnr(), plane.largest, plane.mean(), plane.different);
}

py::list pythonImages(const std::vector<tyksim::ImageDifference>& images) {
    py::list list;
    for (const tyksim::ImageDifference& image : images) {
        py::object planes = py::none();
        if (image.samples) {
            planes = py::make_tuple(pythonPlane(image.samples->y), pythonPlane(image.samples->u),
                                    pythonPlane(image.samples->v));
        }
        list.append(py::make_tuple(
            image.inA, image.inB, py::make_tuple(image.sizeA.width, image.sizeA.height),
            py::make_tuple(image.sizeB.width, image.sizeB.height), image.camera, planes));
    }
    return list;
}

/// The index of a frame on its side; None if the side does not have it.
py::object indexOf(const Frames& frames, const std::optional<FrameRef>& frame) {
    if (!frame) return py::none();
    for (size_t i = 0; i < frames.refs().size(); ++i) {
        if (frames.refs()[i].frame == frame->frame) return py::int_(i);
    }
    return py::none();
}

/// A pair of frames that differ.
py::tuple pythonPair(const Frames& a, const Frames& b, const FramePair& pair,
                     const FrameDifference& difference) {
    py::list names, problems;
    for (const tyksim::NameDifference& name : difference.names) {
        names.append(py::make_tuple(pythonText(name.a), pythonText(name.b)));
    }
    for (const std::string& problem : difference.problems) problems.append(pythonText(problem));
    return py::make_tuple(indexOf(a, pair.a), indexOf(b, pair.b), pythonContents(difference.tags),
                          pythonValues(difference.scene), pythonImages(difference.images),
                          pythonContents(difference.files), names, difference.overtaken.has_value(),
                          problems);
}

/// The number of matched pairs, the pairs that differ, and the tuning copies that differ.
py::tuple diff(const Frames& a, const Frames& b, const DiffArguments& arguments, int jobs,
               const py::object& progress) {
    const tyksim::DiffRules rules = rulesOf(a, b, arguments);
    const std::vector<FramePair> pairs = tyksim::matchFrames(
        {&a.tree().index.path(), &a.refs()}, {&b.tree().index.path(), &b.refs()},
        arguments.byOrder ? tyksim::MatchBy::kOrder : tyksim::MatchBy::kRequest);
    const auto& catalog = tyksim::commonTable(a.tree().names.catalog(), b.tree().names.catalog());
    std::vector<std::pair<size_t, FrameDifference>> different;
    std::vector<ContentDifference> tuning;
    uint64_t matched = 0;
    Waiting waiting(jobs, progress);
    waiting.run([&] {
        tuning = tyksim::differentTuning(a.tree().index, b.tree().index);
        tyktree::forEachInOrder<FrameDifference>(
            pairs.size(), waiting.execution(),
            [&] { return tyksim::FrameComparer(rules, catalog); },
            [&](tyksim::FrameComparer& comparer, FrameDifference& difference, size_t index) {
                const FramePair& pair = pairs[index];
                difference = pair.a && pair.b ? comparer.compare(pair) : FrameDifference();
            },
            [&](FrameDifference& difference, size_t index) {
                const FramePair& pair = pairs[index];
                const bool isPair = pair.a && pair.b;
                if (isPair) ++matched;
                if (!isPair || !difference.same()) {
                    different.emplace_back(index, std::move(difference));
                }
                waiting.count(index + 1, pairs.size());
            });
    });
    py::list list;
    for (const auto& [index, difference] : different) {
        list.append(pythonPair(a, b, pairs[index], difference));
    }
    return py::make_tuple(matched, list, pythonContents(tuning));
}

}  // namespace

void bindChecks(py::module_& module, py::class_<Frames>& frames) {
    frames.def("check", &check);
    module.def("diff", [](const Frames& a, const Frames& b, bool byOrder, int tolerance,
                          const std::vector<py::str>& ignored, int stride, bool uFirst, int jobs,
                          const py::object& progress) {
        DiffArguments arguments{byOrder, tolerance, {}, stride, uFirst};
        for (const py::str& name : ignored) arguments.ignored.push_back(bytesOf(name));
        return diff(a, b, arguments, jobs, progress);
    });
    module.def("rules", [] {
        py::list list;
        for (const tyktree::Rule& rule : tyktree::rules()) {
            list.append(py::make_tuple(pythonWord(rule.name), pythonWord(nameOf(rule.severity)),
                                       pythonWord(rule.summary), pythonWord(rule.hint)));
        }
        return list;
    });
}

}  // namespace tykpython
