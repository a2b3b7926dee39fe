#include "tags/NearestNames.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

namespace tyktags {

namespace {

constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr size_t kLeastPart = 3;  ///< letters of a part; shorter ones are in too many names

std::string lower(std::string_view text) {
    std::string copy(text);
    for (char& c : copy) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return copy;
}

std::vector<std::string> wordsOf(const std::string& name) {
    std::vector<std::string> words;
    for (size_t at = 0; (at = name.find_first_of(kLetters, at)) != std::string::npos;) {
        const size_t end = std::min(name.find_first_not_of(kLetters, at), name.size());
        words.push_back(name.substr(at, end - at));
        at = end;
    }
    return words;
}

/// The number of insertions, deletions, replacements and swaps of neighbours that turn `a` into
/// `b`.
size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> last, row, next(b.size() + 1);
    std::iota(next.begin(), next.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        last = std::move(row);
        row = std::move(next);
        next.assign(1, i);
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = row[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            next.push_back(std::min({next[j - 1] + 1, row[j] + 1, replaced}));
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) next[j] = std::min(next[j], last[j - 2] + 1);
        }
    }
    return next.back();
}

/// Whether `name` may be a misspelling of `other`. Equal beginnings do not count, because many
/// names have them.
bool isNear(size_t distance, const std::string& name, const std::string& other) {
    const auto ends = std::mismatch(name.begin(), name.end(), other.begin(), other.end());
    const auto unlike = static_cast<size_t>(name.end() - ends.first);
    const size_t letters = std::max(unlike, std::min<size_t>(name.size(), 4));
    return distance * 3 <= letters + 1;
}

/// Whether `other` contains the words of `name` in a row.
bool hasWords(const std::vector<std::string>& name, const std::vector<std::string>& other) {
    return !name.empty() &&
           std::search(other.begin(), other.end(), name.begin(), name.end()) != other.end();
}

/// The similarity of a name: its kind, then the edit distance. Lower is more similar.
using Rank = std::pair<int, size_t>;

std::optional<Rank> rankOf(const std::string& name, const std::string& other) {
    const size_t whole = editDistance(name, other);
    if (whole == 0) return Rank{0, 0};
    const std::vector<std::string> words = wordsOf(other);
    if (hasWords(wordsOf(name), words)) return Rank{1, whole};
    if (isNear(whole, name, other)) return Rank{2, whole};
    if (name.size() >= kLeastPart && other.find(name) != std::string::npos) return Rank{3, whole};
    for (const std::string& word : words) {
        const size_t distance = editDistance(name, word);
        if (name.size() > kLeastPart && isNear(distance, name, word)) return Rank{4, whole};
    }
    return std::nullopt;
}

}  // namespace

std::vector<std::string> nearestNames(std::string_view name, const std::vector<std::string>& among,
                                      size_t count) {
    // A longer text is not a misspelled name, and comparing it would take long.
    constexpr size_t kMostLetters = 256;
    if (name.size() > kMostLetters) return {};
    const std::string given = lower(name);
    std::set<std::pair<Rank, std::string>> ranked;
    for (const std::string& other : among) {
        if (const auto rank = rankOf(given, lower(other))) ranked.emplace(*rank, other);
    }
    std::vector<std::string> names;
    for (const auto& entry : ranked) {
        if (names.size() == count) break;
        names.push_back(entry.second);
    }
    return names;
}

std::string joinedByOr(const std::vector<std::string>& words) {
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        if (i > 0) text += i + 1 == words.size() ? " or " : ", ";
        text += words[i];
    }
    return text;
}

}  // namespace tyktags
