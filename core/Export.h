// Marks what clients of the library see; the build hides everything else.
#pragma once

#define TYK_EXPORT __attribute__((visibility("default")))
