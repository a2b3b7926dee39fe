// What all verbs over trees have in common: how they open trees, how they say what cannot be read,
// and what that means for their exit status.
#pragma once

#include "tools/json/Json.h"
#include "tools/tyksim/Commands.h"
#include "tools/tyksim/TreeOptions.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace tyksim {

/// Nothing that the verb was given picks anything in a tree: a selection, or a name. The text says
/// what there is.
class PicksNothing : public WrongUsage {
public:
    using WrongUsage::WrongUsage;
};

/// One run of a verb. Trees are opened in it, and only runReading() makes one: so every verb says
/// what it cannot read, and ends with kFindings at least.
class Reading {
public:
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    /// The document of the run, or null where the verb prints text.
    JsonDocument* json() const { return json_; }

    /// Says one thing that could not be read, in a line without control characters: a note, and an
    /// error of the document. One thread at a time.
    void problem(const std::string& line);

    /// Says what of a tag table could not be read, because only later versions know it.
    void problems(const tyktree::TagCatalog& catalog);

    /// Whether there was such a thing so far.
    bool anyProblem() const { return problems_ > 0; }

private:
    friend ExitStatus runReading(const char* schema, const std::function<ExitStatus(Reading&)>&);
    explicit Reading(JsonDocument* json) : json_(json) {}

    JsonDocument* const json_;
    uint64_t problems_ = 0;
};

/// Runs a verb. `schema` names its document ("tyksim.info", version 1) and is null where it prints
/// text. The status is the verb's, or kFindings where the verb has kClean and something could not
/// be read. What the verb throws comes out here and stands in the document.
ExitStatus runReading(const char* schema, const std::function<ExitStatus(Reading&)>& verb);

/// runReading() for one of several trees: says what goes wrong with it and returns the status, so
/// that the others are still read. Wrong usage that concerns all of them is thrown.
ExitStatus readOne(const char* schema, const std::function<ExitStatus(Reading&)>& verb);

/// The status of two together: a failure counts for more than wrong usage, which counts for more
/// than findings, which count for more than none.
ExitStatus worse(ExitStatus a, ExitStatus b);

/// What a verb needs of a tree.
enum class Need {
    kFrames,   ///< at least one frame
    kNothing,  ///< a tree without frames is fine
};

/// Who says what the index of a tree could not read.
enum class IndexProblems {
    kSaidHere,
    kSaidByCheck,  ///< the verb runs checkTree(), which makes findings of them
};

/// A tree that a verb opened.
struct OpenedTree {
    tyktree::TreeIndex index;
    tyktree::TagCatalog catalog;
    std::vector<tyktree::FrameRef> frames;  ///< the selected ones; they point into `index`

    /// Says what the index could not read of the selected part. Throws PicksNothing where the
    /// selection picks none of the tree's frames, Failure where the verb needs frames and the tree
    /// has none, or if the tree or its tag table cannot be read.
    OpenedTree(Reading& reading, const std::string& given, const TreeOptions& options,
               Need need = Need::kFrames, IndexProblems problems = IndexProblems::kSaidHere);
    OpenedTree(const OpenedTree&) = delete;
    OpenedTree& operator=(const OpenedTree&) = delete;
};

/// What no output may touch: of each tree the folder that was named, the folders from there to its
/// pipes, wherever links lead them, and all of the dump root that it belongs to.
std::vector<std::string> foldersOf(std::initializer_list<const OpenedTree*> trees);

/// The names of the tags that the selected frames have, for a tree without a tag table. The first
/// frames tell; a tag that only later ones have can be named once it is in a table.
std::vector<std::string> tagNamesOf(const OpenedTree& tree);

/// Options of a verb that takes any number of trees.
struct ReadingOptions {
    std::vector<std::string> trees;
    TreeOptions tree;
    bool json = false;
};

/// Adds TREE..., the selection and --json. `options` must outlive the reading of the options.
void addReadingOptions(VerbOptions& verb, ReadingOptions& options);

/// What a verb does with one tree.
using ReadTree = std::function<ExitStatus(const OpenedTree& tree, Reading& reading)>;

/// Opens one tree after the other and runs `read` on it, each in a run of its own with a document
/// of its own where --json is given. A tree that fails, or in which nothing is picked, is said, and
/// the others are still read; the status is the worst of the trees'.
ExitStatus readTrees(const ReadingOptions& options, const char* schema, const ReadTree& read,
                     Need need = Need::kFrames, IndexProblems problems = IndexProblems::kSaidHere);

}  // namespace tyksim
