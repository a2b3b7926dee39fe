// Loads and stores numbers at addresses of any alignment.
#pragma once

#include <cstring>

/// The number whose bytes begin at `from`.
template <typename Number>
Number loadNumber(const unsigned char* from) {
    Number number;
    std::memcpy(&number, from, sizeof(number));
    return number;
}

/// Stores the number's bytes from `to` on.
template <typename Number>
void storeNumber(unsigned char* to, Number number) {
    std::memcpy(to, &number, sizeof(number));
}
