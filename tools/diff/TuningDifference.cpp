#include "tools/diff/TuningDifference.h"

#include "tools/diff/FileDifference.h"

#include <set>
#include <string>
#include <utility>

namespace tyksim {

namespace {

std::set<std::string> namesOf(const tyktree::PipeEntry& pipe) {
    std::set<std::string> names;
    for (const tyktree::SideFile& file : pipe.tuningCopies) names.insert(file.name);
    return names;
}

void compare(const tyktree::PipeEntry& a, const tyktree::PipeEntry& b,
             std::vector<ContentDifference>& differences) {
    const std::set<std::string> namesA = namesOf(a);
    const std::set<std::string> namesB = namesOf(b);
    std::set<std::string> all = namesA;
    all.insert(namesB.begin(), namesB.end());
    FileComparer comparer;
    for (const std::string& name : all) {
        ContentDifference copy;
        copy.name = name;
        copy.inA = namesA.count(name) != 0;
        copy.inB = namesB.count(name) != 0;
        if (copy.inA && copy.inB) {
            copy.bytes = comparer.compare(a.path + "/" + name, b.path + "/" + name);
            if (copy.bytes.same()) continue;
        }
        differences.push_back(std::move(copy));
    }
}

bool hasCopies(const tyktree::TreeIndex& index) {
    using Kind = tyktree::TreePath::Kind;
    const Kind kind = index.path().kind;
    return kind != Kind::kTask && kind != Kind::kFrame;
}

}  // namespace

std::vector<ContentDifference> differentTuning(const tyktree::TreeIndex& a,
                                               const tyktree::TreeIndex& b) {
    std::vector<ContentDifference> differences;
    if (!hasCopies(a) || !hasCopies(b)) return differences;
    for (const tyktree::PipeEntry& pipeA : a.pipes()) {
        for (const tyktree::PipeEntry& pipeB : b.pipes()) {
            if (pipeA.id == pipeB.id) compare(pipeA, pipeB, differences);
        }
    }
    return differences;
}

}  // namespace tyksim
