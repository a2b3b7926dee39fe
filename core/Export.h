// What of the library is visible to its clients; everything else is built hidden.
#pragma once

#define TYK_EXPORT __attribute__((visibility("default")))
