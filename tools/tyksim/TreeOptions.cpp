#include "tools/tyksim/TreeOptions.h"

#include "tools/output/Ordered.h"
#include "tree/FrameListing.h"

#include <climits>

#include <algorithm>
#include <set>
#include <stdexcept>

namespace tyksim {

namespace {

tyktree::NumberRanges parseRanges(const char* option, const std::string& words) {
    if (words.empty()) return {};
    try {
        return tyktree::NumberRanges::parse(words);
    } catch (const std::invalid_argument& error) {
        throw WrongUsage(text(option, ": ", error.what()));
    }
}

tyktree::TreeIndex readIndex(const std::string& given, const TreeOptions& options) {
    return tyktree::TreeIndex::read(tyktree::resolveTree(given), options.pipe);
}

}  // namespace

tyktree::FrameSelection TreeOptions::selection() const {
    tyktree::FrameSelection selection;
    selection.pipe = pipe;
    selection.task = task;
    selection.frames = parseRanges("--frames", frames);
    selection.requests = parseRanges("--requests", requests);
    selection.sofs = parseRanges("--sofs", sofs);
    return selection;
}

void addTreeOptions(CLI::App& verb, TreeOptions& options, const char* tagsOption) {
    verb.add_option("--pipe", options.pipe, "Only this pipe, by its id")->type_name("ID");
    verb.add_option("--task", options.task, "Only this task of a pipe, counted from 1")
        ->check(CLI::Range(1U, UINT_MAX))
        ->type_name("N");
    verb.add_option("--frames", options.frames, "Only these frames of a task: 3..9,12, from 1")
        ->type_name("RANGES");
    verb.add_option("--requests", options.requests, "Only frames with these request ids")
        ->type_name("RANGES");
    verb.add_option("--sofs", options.sofs, "Only frames with these sof ids")->type_name("RANGES");
    verb.add_option(tagsOption, options.tagsFile,
                    "Tag table (default: tags.xml in the device root, where there is one)")
        ->type_name("FILE");
    options.jobs = availableJobs();
    verb.add_option("--jobs", options.jobs, "Threads (default: one per core)")
        ->check(CLI::Range(1, 1024))
        ->type_name("N");
}

void addForce(CLI::App& verb, bool& force) {
    verb.add_flag("--force", force, "Replace what stands where the output goes");
}

OpenedTree::OpenedTree(const std::string& given, const TreeOptions& options)
    : index(readIndex(given, options)),
      catalog(tyktree::TagCatalog::find(index, options.tagsFile)),
      frames(tyktree::select(index, options.selection())) {}

std::vector<std::string> tagNamesOf(const OpenedTree& tree) {
    constexpr size_t kLooked = 64;
    std::set<std::string> names;
    tyktree::FrameListing listing;
    for (size_t i = 0; i < std::min(kLooked, tree.frames.size()); ++i) {
        static_cast<void>(listing.read(tree.frames[i].path()));
        for (const tyktree::FileEntry& file : listing.files()) {
            if (file.kind == tyktree::FileEntry::Kind::kParameter) {
                names.emplace(file.parameter.tagName);
            }
        }
    }
    return {names.begin(), names.end()};
}

}  // namespace tyksim
