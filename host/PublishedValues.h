// The values published through the desktop's parameter-set service, for a program to inspect.
//
// Threads: every operation from any thread. Ownership: values are copied out; the publisher keeps
// owning a block. Errors: std::bad_alloc, which leaves the service unchanged.
#pragma once

#include "core/BlockParamDesc.h"
#include "tags/TagTable.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tykhost {

/// The key of a stored value.
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

/// The published values in order of publication: at most setHistoryLimit() per tag; a new value
/// replaces the oldest. Returns only values with a serial above `newerThan`.
std::vector<PublishedValue> publishedValues(uint64_t newerThan = 0);

/// Stores the newest value published under `key` in `out`; returns false when the service has none,
/// or has dropped it.
bool publishedValue(const ParamKey& key, PublishedValue& out);

/// Sets how many values are kept per tag; initially 16. A smaller limit drops the oldest values.
void setHistoryLimit(size_t valuesPerTag);

/// Clears published values and resets the counts below; serials continue.
void clearPublished();

/// Counts of successful and refused calls. A refused call returns -1 and changes nothing.
/// setPsParam() counts as setParam().
struct ParamServiceCounts {
    /// Successful setParam() calls.
    uint64_t set;
    /// Unknown tag, null data, a fixed size that is negative or above 512000, or no memory.
    uint64_t refusedSet;
    /// Successful getParam() calls.
    uint64_t got;
    /// Unknown tag, no live value for the camera, or a null destination.
    uint64_t refusedGet;
    /// registerPsTag() calls.
    uint64_t registrations;
};
ParamServiceCounts paramServiceCounts();

}  // namespace tykhost
