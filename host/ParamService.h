// The desktop's parameter-set service: stands behind tyk::ParamSet, registerPsTag and setPsParam.
//
// It knows a table of tags, keeps the live values that a simulated camera reports, answers
// getParam() from them, and keeps what setParam() publishes for a program to inspect.
//
// Threads: every operation from any thread. Ownership: values are copied in and out; of blocks the
// service keeps only the descriptor, and the block's owner must keep the block alive. No exception
// leaves the platform's operations on values; those below may throw std::bad_alloc, which leaves
// the service as it was.
//
// getParam() and setParam() trust the tag table: of a fixed-size tag they copy exactly its size, of
// a block tag a BlockParamDesc, and nothing tells them that the caller meant the other kind.
// getSize() gives -1 for an unknown tag and the descriptor's size for a block tag.
#pragma once

#include "replay/BlockParamDesc.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tykhost {

/// How a tag's value travels.
enum class TagKind {
    fixed,  ///< `size` bytes, copied
    block,  ///< a BlockParamDesc; `size` is that of the descriptor's usual block, for information
};

/// One entry of the tag table.
struct TagEntry {
    uint32_t id;
    std::string name;
    int32_t size;  ///< bytes
    TagKind kind;
};

/// Reads a tag table from an XML file:
///
///   <tags>
///     <tag id="8208" name="KELV_TAG_STREAM_SIZE" size="8" kind="fixed"/>
///   </tags>
///
/// On failure returns false, leaves `out` alone and stores one sentence in `error` that names the
/// path, the place, what was expected and what was found. Ids must be unique and not 0, names
/// unique, without '/', '.' or NUL and not empty, sizes not negative; the tags that the library
/// itself writes must have the sizes it writes (2118: 8512, 65622: 4096, 8208: 8, 8198: 1, all
/// fixed). A fixed size may exceed 512000 bytes, which the library refuses to carry. Numbers are
/// decimal; an id may also be "0x" and hexadecimal. Elements and attributes of other names are
/// errors, and so is a file of more than 16 MiB.
bool readTagTable(const std::string& path, std::vector<TagEntry>& out, std::string& error);

/// Writes a tag table that readTagTable() reads back. Returns false with a sentence in `error`: for
/// a table that readTagTable() would refuse, and then there is no file, or when the file cannot be
/// written.
bool writeTagTable(const std::string& path, const std::vector<TagEntry>& tags, std::string& error);

/// Replaces the tag table. The next registerPsTag() or, where the service was registered already,
/// the next getTagInfo() shows it. Live values and published values are forgotten. The entries are
/// not checked, so that a program can show the library impossible sizes (a negative one is what
/// getSize() gives, and no value travels); of several entries with one id the last counts.
void setTagTable(std::vector<TagEntry> tags);

/// The tag table in force, in ascending order of id.
std::vector<TagEntry> tagTable();

/// Under what a value is stored.
struct ParamKey {
    uint32_t camId;
    int32_t pipe;
    uint32_t sofId;
    uint32_t tag;
    bool operator<(const ParamKey& other) const;
    bool operator==(const ParamKey& other) const;
};

/// Sets the live value that getParam() answers with for camera `camId` and tag `tag`, whatever pipe
/// and sof id are asked for. Of a fixed-size tag `data` is padded with zeros or cut to the tag's
/// size; of a block tag the service keeps its own copy, which stays valid until the value is set
/// again or the table replaced. Returns false when there is no such tag, its size is negative, a
/// block exceeds 4 GiB - 1, or `data` is null and `size` is not 0.
bool setLiveValue(uint32_t camId, uint32_t tag, const void* data, size_t size);

/// As above without a copy: the block at `data` is the caller's and must stay valid until it is
/// set again. Returns false when there is no such block tag.
bool setLiveBlock(uint32_t camId, uint32_t tag, const BlockParamDesc& block);

/// One value that setParam() or setPsParam() published.
struct PublishedValue {
    ParamKey key;
    TagKind kind;
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

/// Puts the service back to the state before its first use: getInstance() gives null again.
/// No other thread may use it.
void resetParamService();

}  // namespace tykhost
