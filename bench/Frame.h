// The frame to dump and replay, as the camera framework holds it.
#pragma once

#include "core/BlockParamDesc.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// The parts of a frame.
struct Shape {
    int fixedCount;
    int fixedBytes;  ///< of each
    int blockCount;
    int blockBytes;  ///< of each
    int width;       ///< pixels; 0: no image
    int height;

    int files() const { return fixedCount + blockCount + (width > 0 ? 1 : 0); }
    int64_t allBlocks() const { return int64_t{blockCount} * blockBytes; }
    int64_t imageBytes() const { return int64_t{width} * height * 3 / 2; }
    int64_t bytes() const { return int64_t{fixedCount} * fixedBytes + allBlocks() + imageBytes(); }
};

/// One of the four kinds of frame with a goal: the library's time as a multiple of the time of the
/// bare system calls on full paths.
struct Regime {
    const char* name;
    Shape shape;
    double dumpGoal;
    double replayGoal;
    int rounds;  ///< of a full run; a short one has an eighth
};

constexpr std::array<Regime, 4> kRegimes{{
    {"full18", {64, 4096, 8, 65536, 4000, 3000}, 1.02, 1.02, 80},
    {"full75", {64, 4096, 8, 65536, 8640, 5760}, 1.01, 1.01, 40},
    {"small", {64, 4096, 8, 65536, 0, 0}, 0.98, 1.15, 400},
    {"tiny1000", {1000, 256, 0, 0, 0, 0}, 0.96, 1.03, 120},
}};

constexpr int kReqId = 42;
constexpr int kSofId = 17;
constexpr int kCamId = 0;
constexpr int kPipe = 1;

/// Above the ids that the library treats specially.
constexpr unsigned int kFirstTag = 200000;

/// One tag of the parameter-set service, with the values last published under it.
struct Tag {
    std::string name;
    bool isBlock;
    std::vector<unsigned char> value;      ///< that the service delivers
    std::vector<unsigned char> published;  ///< the last fixed-size value that it got
    BlockParamDesc publishedBlock;         ///< the last block that it got
};

/// Values and image with pseudo-random bytes, the same in every run. The benchmark's platform
/// answers from the newest frame. Threads: one.
struct Frame {
    explicit Frame(const Shape& made);

    /// The file names of the frame: one per tag in the order of their ids, then the image's. They
    /// are made independently of the library, to check its names.
    std::vector<std::string> fileNames() const;

    /// A dump configuration with the tags in the order of their ids.
    std::string configuration() const;

    /// Clears the published and read data.
    void clearPublished();

    /// Throws std::runtime_error, which names `side`, unless every value, block and pixel of this
    /// frame was published and read.
    void requirePublished(const std::string& side) const;

    static Frame* newest;

    const Shape shape;
    std::vector<Tag> tags;              ///< by tag id, from kFirstTag on
    std::vector<unsigned char> image;   ///< the image to dump
    std::vector<unsigned char> pixels;  ///< of the pool's only buffer
};
