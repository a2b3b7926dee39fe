// The tag table, the dump configuration and the firmware files of a simulated camera.
#pragma once

#include "tags/TagTable.h"

#include <string>
#include <vector>

namespace tyksim {

/// What a simulated camera below a device root works with. What the user brings replaces what is
/// there, what is there is kept, and where there is nothing a default is used.
class CameraSetup {
public:
    /// Reads and checks everything and writes nothing. `tagsFile` and `configFile` are the user's,
    /// or "". Says what in the configuration will not do what it seems to say. Failure when one of
    /// them is not what it should be, or an entry's dump type is not that of its tag's kind: the
    /// library would take the bytes of the value for the address of a block.
    CameraSetup(const std::string& root, int pipe, const std::string& tagsFile,
                const std::string& configFile);

    const std::vector<tyktags::TagEntry>& tags() const { return tags_; }

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
        std::string content;  ///< to be written, unless it is kept; of a table that came through
                              ///< a pipe "": it is written anew
    };
    static Part choose(const std::string& path, const std::string& userFile);
    void readTags();
    void checkConfiguration() const;
    static void place(const Part& part, const char* what);

    std::string root_;
    Part tagTable_;
    Part configuration_;
    std::vector<tyktags::TagEntry> tags_;
};

}  // namespace tyksim
