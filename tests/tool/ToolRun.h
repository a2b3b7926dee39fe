// The form of a test of tyksim: a row with a name, lines of shell, and texts of their output.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace tooltest {

/// One behaviour of tyksim. The script runs with `sh -e` in a folder that holds
///   base, r   two copies of a recorded tree of three frames of 64x48 in one task,
///   *.jpg     photographs: good a b c long can be recorded, cut head cmyk wide cannot,
///   tmp       where temporary files are; it must be empty at the end,
/// and knows the variables
///   D K F2 F3  in r: the dump root, the task, the frames 2 and 3,
///   P S        the folder of processors, the library that lets calls fail,
/// and the commands
///   tyksim ...        runs the tool; any status but 0 fails the row,
///   fails N tyksim    expects the status N,
///   any tyksim        expects nothing of the status, and returns it,
///   under WORDS tyksim  runs the tool as the last argument of these words,
///   bg ...            replaces the shell by the tool, for a process of its own: bg ... &
///   await 'COMMAND'   repeats it until it succeeds,
///   both TREE ...     prints the status of a verified replay by either entry,
///   snap              lists the content of r, with sizes, times and kinds.
struct Row {
    std::string name;  ///< letters and digits
    std::string script;
    std::vector<std::string> texts{};  ///< texts of the output; "!text": not in the output
};
using Rows = std::vector<Row>;

/// The rows, with `setup` before each script.
inline Rows after(const std::string& setup, Rows rows) {
    for (Row& row : rows) row.script.insert(0, setup);
    return rows;
}

std::string readAll(const std::filesystem::path& path);
void writeAll(const std::filesystem::path& path, const std::string& bytes);

/// The folder in which rows run. The destructor removes it.
class ToolFolder {
public:
    ToolFolder();
    ToolFolder(const ToolFolder&) = delete;
    ToolFolder& operator=(const ToolFolder&) = delete;
    ~ToolFolder();

    /// Runs the row's script and expects its statuses and texts.
    void run(const Row& row) const;
    const std::filesystem::path& path() const { return path_; }

private:
    void clear() const;

    std::filesystem::path path_;
    std::set<std::filesystem::path> kept_;  ///< entries before a row runs
};

// The tables, one function for each instantiation in ToolTest.cpp.
Rows commandLineRows();
Rows suggestionRows();
Rows recordRows();
Rows recordRefusesRows();
Rows recordRootsRows();
Rows replayRows();
Rows replayDamageRows();
Rows replayFaultRows();
Rows copyRows();
Rows copySetRows();
Rows valueRows();
Rows outputRows();
Rows infoRows();
Rows showRows();
Rows trackRows();
Rows diffRows();
Rows selectionRows();
Rows processorRows();
Rows processorEndRows();
Rows tagsRows();

}  // namespace tooltest
