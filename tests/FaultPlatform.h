// The least platform that a frame needs, for tests that let calls of the library fail: it allocates
// nothing while the library runs, and nothing of its own fails.
//
// Every value follows from its tag and sof id, so that a published one is judged on the spot.
#pragma once

#include "platform/BufferManager.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace device {

struct Tag {
    uint32_t id;
    const char* name;
    uint32_t bytes;
    bool isBlock;
};
constexpr Tag kTags[] = {{7, "plain", 100, false},     {8, "wide", 9000, false},
                         {9, "block", 7777, true},     {10, "block_2", 7778, true},
                         {65622, "mfnr", 4096, false}, {2118, "KELV_TAG_ISCENE_INFO", 8512, false}};
constexpr const char* kTuning = "/vendor/firmware/my_mfnr5.2_tuning.xml";

/// A tag's value in frame `sofId`.
std::string valueOf(const Tag& tag, uint32_t sofId);

/// What the library did since the last forget().
struct Record {
    int published;        ///< values
    int wrong;            ///< of them, those that are not their tag's
    int failures;         ///< lines at level 1
    const char* failure;  ///< the format of the last
};
extern Record record;
inline void forget() {
    record = {0, 0, 0, "none"};
}

/// The buffers that are out of the pool.
std::set<tyk::Buffer*> buffersOut();

}  // namespace device
