// The two values that a folder replay publishes in addition to those of the folder.
#pragma once

#include <array>
#include <cstdint>

/// Pipe type and sof id of the overrides, whichever files the replay reads; the camera is the
/// replay's.
constexpr int kOverridePipe = 1;
constexpr uint32_t kOverrideSofId = 0;

constexpr uint32_t kOverrideSizeTag = 8208;
constexpr std::array<uint32_t, 2> kOverrideSize{320, 240};  ///< width and height

constexpr uint32_t kOverrideByteTag = 8198;
constexpr uint8_t kOverrideByte = 95;
