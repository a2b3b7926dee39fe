// The tag table, the dump configuration and the firmware files of a simulated camera.
#pragma once

#include "host/ParamService.h"

#include <string>
#include <vector>

namespace tyksim {

/// Where the tag table of a device root lies. Beside the device's own folders: a device has its
/// table built in and would not know the file.
std::string tagTablePath(const std::string& root);

/// Reads a tag table. Failure when it is none.
std::vector<tykhost::TagEntry> readTags(const std::string& path);

/// What a simulated camera below a device root works with. What the user brings replaces what is
/// there, what is there is kept, and where there is nothing a default is used.
class CameraSetup {
public:
    /// Reads and checks everything and writes nothing. `tagsFile` and `configFile` are the user's,
    /// or "". Failure when one is not what it should be.
    CameraSetup(const std::string& root, int pipe, const std::string& tagsFile,
                const std::string& configFile);

    const std::vector<tykhost::TagEntry>& tags() const { return tags_; }

    /// Makes the root's folders and files, and says which table and configuration are used.
    void install() const;

    /// Makes what the copy of a tuning file needs: the files to copy, unless they are there, and
    /// the folder to copy to.
    void installTuningFiles() const;

private:
    enum class Origin { user, kept, builtIn };
    struct Part {
        std::string path;  ///< where it belongs
        Origin origin;
        std::string source;   ///< the user's file
        std::string content;  ///< to be written, unless it is kept
    };
    static Part choose(const std::string& path, const std::string& userFile);
    static void place(const Part& part, const char* what);

    std::string root_;
    Part tagTable_;
    Part configuration_;
    std::vector<tykhost::TagEntry> tags_;
};

}  // namespace tyksim
