// The operation of the system properties that this library calls.
//
// Declaration only: on a device the system defines it, on a desktop host/ does.
#pragma once

/// Size in bytes of the buffer `value`, terminator included.
constexpr int kPropertyValueSize = 92;

/// Copies the value of property `key`, or `default_value` if it is unset, to `value`
/// (kPropertyValueSize bytes, always terminated). Returns the length of the value in bytes.
/// Threads: any.
extern "C" int property_get(const char* key, char* value, const char* default_value);
