// What the verbs that only read trees have in common: any number of trees, text or JSON, and going
// on where one of them cannot be read.
#pragma once

#include "tools/output/Json.h"
#include "tools/tyksim/Commands.h"
#include "tools/tyksim/TreeOptions.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tyksim {

struct ReadingOptions {
    std::vector<std::string> trees;
    TreeOptions tree;
    bool json = false;
};

/// The status of two together: a failure counts for more than findings, which count for more than
/// none.
ExitStatus worse(ExitStatus a, ExitStatus b);

/// Adds TREE..., the selection and --json. `options` must outlive the reading of the options.
void addReadingOptions(CLI::App& verb, ReadingOptions& options);

/// What a verb does with one tree. `json` is null for text. What could not be read it says with
/// sayUnread().
using ReadTree = std::function<ExitStatus(const OpenedTree& tree, JsonDocument* json)>;

/// Opens one tree after the other and runs `read` on it. With --json each gets a document of its
/// own, `schema` (version 1) in its head. A tree that fails is said, the rest is still read;
/// the status is kFailed then, else the worst of the trees'.
ExitStatus readTrees(const ReadingOptions& options, const char* schema, const ReadTree& read);

/// Says what the index could not read: a note each, or an error of the document. Whether there was
/// anything.
bool sayUnread(const OpenedTree& tree, JsonDocument* json);

/// Says one thing that could not be read.
void sayProblem(const std::string& line, JsonDocument* json);

}  // namespace tyksim
