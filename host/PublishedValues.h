// What was published through the desktop's parameter-set service, for a program to inspect.
//
// Threads: every operation from any thread. Ownership: values are copied out; a block stays its
// publisher's. Errors: std::bad_alloc, which leaves the service as it was.
#pragma once

#include "core/BlockParamDesc.h"
#include "tags/TagTable.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tykhost {

/// Under what a value is stored.
struct ParamKey {
    uint32_t camId;
    int32_t pipe;
    uint32_t sofId;
    uint32_t tag;
    bool operator<(const ParamKey& other) const;
    bool operator==(const ParamKey& other) const;
};

/// One value that setParam() or setPsParam() published.
struct PublishedValue {
    ParamKey key;
    tyktags::TagKind kind;
    std::vector<uint8_t> bytes;  ///< the copied value of a fixed-size tag
    BlockParamDesc block;        ///< the copied descriptor of a block tag
    uint64_t serial;             ///< counts publications, from 1
};

/// The published values in order of publication, at most `historyLimit` per tag (the oldest are
/// forgotten first). `newerThan` leaves out those up to that serial.
std::vector<PublishedValue> publishedValues(uint64_t newerThan = 0);

/// The newest value published under `key`; false when there is none (any more).
bool publishedValue(const ParamKey& key, PublishedValue& out);

/// How many values are kept per tag; initially 16. Smaller than what is kept drops the oldest.
void setHistoryLimit(size_t valuesPerTag);

/// Forgets published values and resets the counts below; serials go on.
void clearPublished();

/// What the service did and what it refused; a refused call gives -1 and touches nothing.
/// setPsParam() counts as setParam().
struct ParamServiceCounts {
    uint64_t set;  ///< successful setParam() calls
    uint64_t
        refusedSet;  ///< unknown tag, null data, fixed size negative or above 512000, no memory
    uint64_t got;    ///< successful getParam() calls
    uint64_t refusedGet;     ///< unknown tag, no live value for the camera, null destination
    uint64_t registrations;  ///< registerPsTag() calls
};
ParamServiceCounts paramServiceCounts();

}  // namespace tykhost
