// Edit distance over short words: one row of the usual table, with case and '_' against '-' ignored, since
// those are the slips that happen.
#include "platform/base/nearest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "platform/base/ascii.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kMaxWord = 64;

char folded(char c) { return c == '_' ? '-' : asciiLower(c); }

std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (folded(a[i]) == folded(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row[b.size()];
}

} // namespace

std::string_view nearestWord(std::string_view word, std::span<const std::string_view> known) {
    word = word.substr(0, kMaxWord);
    std::string_view best;
    std::size_t bestDistance = std::max<std::size_t>(word.size() / 3, 1) + 1;
    for (const std::string_view candidate : known) {
        const std::size_t d = distance(word, candidate);
        if (d < bestDistance) {
            bestDistance = d;
            best = candidate;
        }
    }
    return best;
}

std::string suggestion(std::string_view word, std::span<const std::string_view> known) {
    const std::string_view near = nearestWord(word, known);
    if (!near.empty()) {
        return "did you mean '" + std::string(near) + "'?";
    }
    std::string text = "known are: ";
    for (const std::string_view candidate : known) {
        text += candidate == known.front() ? "" : ", ";
        text += candidate;
    }
    return text;
}

} // namespace quzo::platform
