// The data of the desktop's parameter-set service: its tag table and the values that a simulated
// camera reports.
//
// Threads: every operation from any thread. Ownership: the service copies values; of a block that
// the caller owns it keeps only the descriptor. Errors: std::bad_alloc, which leaves the service
// unchanged.
#pragma once

#include "core/BlockParamDesc.h"
#include "tags/TagTable.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tykhost {

/// Replaces the tag table. The next registerPsTag() or, if the tags are registered already, the
/// next getTagInfo() shows it. Clears live values and published values. The entries are not
/// checked, so that a program can test the library with impossible sizes: getSize() returns a
/// negative size as it is, and the service then moves no value. Of several entries with one id the
/// last counts.
void setTagTable(std::vector<tyktags::TagEntry> tags);

/// The tag table in force, in ascending order of id.
std::vector<tyktags::TagEntry> tagTable();

/// Sets the live value that getParam() returns for camera `camId` and tag `tag` at every sof id: on
/// the pipe type `pipe` if given, else on all pipe types without a value of their own. The value of
/// a fixed-size tag is padded with zeros or cut to the tag's size. Of a block the service keeps a
/// copy, which stays valid until the value is set again or the table is replaced. Returns false
/// when there is no such tag, its size is negative, a block exceeds 4 GiB - 1, or `data` is null
/// and `size` is not 0.
bool setLiveValue(uint32_t camId, uint32_t tag, const void* data, size_t size,
                  std::optional<int> pipe = std::nullopt);

/// Like setLiveValue() without a copy: the caller owns the block's data, which must stay valid
/// until the value is set again. Returns false when there is no such block tag.
bool setLiveBlock(uint32_t camId, uint32_t tag, const BlockParamDesc& block);

}  // namespace tykhost
