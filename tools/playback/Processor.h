// A user's processing in the pipeline's place: a shared object with the interface of
// tyksim_processor.h.
#pragma once

#include "tools/playback/tyksim_processor.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// A picture that a processor handed back, rows tightly packed.
struct ProcessedPicture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> bytes;
};

/// What a processor made of a frame.
struct Processed {
    std::optional<ProcessedPicture> picture;
    std::map<uint32_t, std::vector<uint8_t>> parameters;  ///< by tag
    std::string error;                                    ///< "": the frame was processed
};

/// A loaded processor, open from construction to destruction.
class Processor {
public:
    /// Loads and opens it. Failure, with the path and the reason, when it cannot be loaded, lacks a
    /// function, was built for another version, or refuses to open.
    Processor(const std::string& path, const std::vector<std::string>& options);
    ~Processor();
    Processor(const Processor&) = delete;
    Processor& operator=(const Processor&) = delete;

    /// Processes one frame. A processor that crashes ends the process; the last line on standard
    /// error names it and the frame.
    Processed process(const tyksim_frame& frame);

private:
    template <typename Function>
    Function* find(const char* name) const;

    std::string path_;
    void* library_ = nullptr;
    void* state_ = nullptr;
    decltype(&tyksim_process) process_ = nullptr;
    decltype(&tyksim_close) close_ = nullptr;
};

}  // namespace tyksim
