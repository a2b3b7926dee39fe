// The two values that a folder replay lays over what the folder brought.
#pragma once

#include <array>
#include <cstdint>

/// Pipe type and sof id stand for the whole replay, whichever files it reads; the camera is the
/// replay's.
constexpr int kOverridePipe = 1;
constexpr uint32_t kOverrideSofId = 0;

constexpr uint32_t kOverrideSizeTag = 8208;
constexpr std::array<uint32_t, 2> kOverrideSize{320, 240};  ///< width and height

constexpr uint32_t kOverrideByteTag = 8198;
constexpr uint8_t kOverrideByte = 95;
