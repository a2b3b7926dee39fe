// Common code of all verbs over trees: opening trees, reporting unreadable files, and the exit
// status. Threads: one, except where noted.
#pragma once

#include "tools/picture/Measures.h"
#include "tools/tyksim/Commands.h"
#include "tools/tyksim/TreeOptions.h"
#include "tree/read/Condition.h"
#include "tree/read/ValueName.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// A selection or a name matches nothing in a tree. The text lists the valid ones.
class PicksNothing : public WrongUsage {
public:
    using WrongUsage::WrongUsage;
};

/// One run of a verb. Opening a tree needs a Reading, and only runReading() makes one. Therefore
/// every verb reports unreadable files, and then ends with kFindings or worse.
class Reading {
public:
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    /// The document of the run, or null if the verb prints text.
    JsonDocument* json() const { return json_; }

    /// Reports one unreadable item, in a line without control characters, as a note and as an error
    /// of the document. One thread at a time.
    void problem(const std::string& line);

    /// Reports the parts of a tag table that only later versions can read.
    void problems(const tyktree::TagCatalog& catalog);

    /// Whether there was an unreadable item so far.
    bool anyProblem() const { return problems_ > 0; }

private:
    friend ExitStatus runReading(const char* schema, const std::function<ExitStatus(Reading&)>&);
    explicit Reading(JsonDocument* json) : json_(json) {}

    JsonDocument* const json_;
    uint64_t problems_ = 0;
};

/// Runs a verb. `schema` is the name of its document ("tyksim.info", version 1), or null if it
/// prints text. Returns the verb's status, or kFindings instead of kClean if something could not be
/// read. Adds an exception of the verb to the document and rethrows it.
ExitStatus runReading(const char* schema, const std::function<ExitStatus(Reading&)>& verb);

/// Like runReading(), for one of several trees: reports a failure and returns its status, so that
/// the others are still read. Throws WrongUsage if it concerns all trees.
ExitStatus readOne(const char* schema, const std::function<ExitStatus(Reading&)>& verb);

/// The worse of two statuses: a failure is worse than wrong usage, which is worse than findings,
/// which are worse than none.
ExitStatus worse(ExitStatus a, ExitStatus b);

/// The requirement of a verb for a tree.
enum class Need {
    kFrames,   ///< at least one frame
    kNothing,  ///< a tree may have no frames
};

/// Which part of the verb reports the problems of a tree's index.
enum class IndexProblems {
    kReportedHere,
    kReportedByCheck,  ///< the verb runs checkTree(), which turns them into findings
};

/// A tree that a verb has opened.
struct OpenedTree {
    tyktree::TreeIndex index;
    tyktree::TagCatalog catalog;
    ImageMeasures measures;                 ///< values beside those of the catalog
    tyktree::FrameSelection selection;      ///< by which `frames` are selected
    std::vector<tyktree::FrameRef> frames;  ///< the selected frames; they point into `index`

    /// Reports the index's problems in the selected part, and values of --where that cannot be
    /// read. Throws PicksNothing if the selection matches none of the tree's frames. Throws Failure
    /// if the verb needs frames and the tree has none, and if the tree or its tag table cannot be
    /// read.
    OpenedTree(Reading& reading, const std::string& given, const TreeOptions& options,
               Need need = Need::kFrames, IndexProblems problems = IndexProblems::kReportedHere);
    OpenedTree(const OpenedTree&) = delete;
    OpenedTree& operator=(const OpenedTree&) = delete;

private:
    /// Keeps the frames for which the condition holds.
    void keepWhere(const std::string& expression, const tyktree::Condition& condition, int jobs,
                   Reading& reading);
};

/// What no output may touch: tyktree::foldersOf() of each tree.
std::vector<std::string> foldersOf(std::initializer_list<const OpenedTree*> trees);

/// Resolves NAMEs in a tree with `catalog` and the tree's measures. Throws PicksNothing for an
/// unknown name; its message begins with `prefix`.
std::vector<tyktree::ValueName> resolveNames(const OpenedTree& tree,
                                             const tyktree::TagCatalog& catalog,
                                             const std::vector<std::string>& names,
                                             const std::string& prefix = "");

/// tyktree::tagNamesIn() of the selected frames.
std::vector<std::string> tagNamesOf(const OpenedTree& tree);

/// The options of a verb that takes any number of trees.
struct ReadingOptions {
    std::vector<std::string> trees;
    TreeOptions tree;
    bool json = false;
};

/// Adds TREE..., the selection and --json. `options` must exist until the options are parsed.
void addReadingOptions(VerbOptions& verb, ReadingOptions& options);

/// The action of a verb for one tree.
using ReadTree = std::function<ExitStatus(const OpenedTree& tree, Reading& reading)>;

/// Opens the trees one after the other and calls `read` for each, in a run of its own, with a
/// document of its own if --json is given. Reports a tree that fails or in which nothing is
/// selected, and still reads the others. Returns the worst status of all trees.
ExitStatus readTrees(const ReadingOptions& options, const char* schema, const ReadTree& read,
                     Need need = Need::kFrames,
                     IndexProblems problems = IndexProblems::kReportedHere);

}  // namespace tyksim
