// The tag table, the dump configuration and the firmware files of a simulated camera.
#pragma once

#include "tags/TagTable.h"

#include <string>
#include <vector>

namespace tyksim {

/// The set-up of a simulated camera below a device root. A user's file replaces an existing one;
/// otherwise an existing file is kept, or a default is used. One thread at a time uses an object.
class CameraSetup {
public:
    /// Reads and checks everything and writes nothing. `tagsFile` and `configFile` are the user's
    /// files, or "". Reports the parts of the configuration that do not have their apparent effect.
    /// Throws Failure when a file is not valid, or when an entry's dump type does not fit its tag's
    /// kind: the library would take the bytes of a value for the address of a block.
    CameraSetup(const std::string& root, int pipe, const std::string& tagsFile,
                const std::string& configFile);

    const std::vector<tyktags::TagEntry>& tags() const { return tags_; }

    /// Makes the root's folders and files, and reports which table and configuration are used.
    /// Throws Failure.
    void install() const;

    /// Makes the tuning files, as far as they do not exist, and the folder for their copies. Throws
    /// Failure.
    void installTuningFiles() const;

private:
    enum class Origin { user, kept, builtIn };
    struct Part {
        std::string path;  ///< its place in the root
        Origin origin;
        std::string source;   ///< the user's file
        std::string content;  ///< content to write, unless the file is kept; "" for a table from a
                              ///< pipe, which is written from the entries
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
