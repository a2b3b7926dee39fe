// The camera framework as the benchmark provides it: every call does what its contract asks for and
// nothing more, so that what is measured is the library and the file system.
//
// Threads: one.
#pragma once

#include "replay/BlockParamDesc.h"

#include <string>
#include <vector>

/// One tag of the parameter-set service, with what was published under it last.
struct Tag {
    std::string name;
    bool isBlock;
    std::vector<unsigned char> value;      ///< what getParam() delivers
    std::vector<unsigned char> published;  ///< a fixed-size value that setParam() brought
    BlockParamDesc publishedBlock;         ///< a block that setParam() brought
};

/// What the framework holds.
struct Framework {
    std::vector<Tag> tags;              ///< by tag id, from kFirstTag on
    std::vector<unsigned char> pixels;  ///< of the pool's only buffer, handed out every time
};

/// Clear of the ids that the library treats in a way of their own.
constexpr unsigned int kFirstTag = 200000;

Framework& framework();
