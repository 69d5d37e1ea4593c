// Helping with misspelt words.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quzo::platform {

// The known word that is nearest to `word`, when it is near enough to have been meant (at most a third of
// its letters differ); else an empty view. Only the first 64 bytes of `word` are looked at.
std::string_view nearestWord(std::string_view word, std::span<const std::string_view> known);

// "did you mean 'X'?", or, when nothing is near, "known are: A, B, C".
std::string suggestion(std::string_view word, std::span<const std::string_view> known);

} // namespace quzo::platform
