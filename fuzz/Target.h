// A fuzz target: a name, and a function for an input. Main.cpp passes the inputs of libFuzzer to
// the only target of a fuzzer; SeedTest passes every target its corpus.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

struct Target {
    const char* name;
    void (*run)(std::string_view input);
    void (*finish)();  ///< after the last input
};

inline std::vector<Target>& targets() {
    static std::vector<Target> all;
    return all;
}

/// Registers a target before main() begins.
struct Known {
    explicit Known(const Target& target) { targets().push_back(target); }
};

/// Removes the first line from `text` and returns it without its end.
inline std::string takeLine(std::string_view& text) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

}  // namespace fuzz
