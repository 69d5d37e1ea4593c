// Conversions that lose nothing, or are not made.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quzo::platform {

// `bytes` of that charset in UTF-8; nothing when they are none of it, or the charset is not known.
std::optional<std::string> decodedText(std::string_view bytes, const std::string& charset);

// UTF-8 in that charset; nothing when it lacks a character.
std::optional<std::string> encodedText(std::string_view utf8, const std::string& charset);

// The same, if it comes back as it was when it is decoded.
std::optional<std::string> encodedForGood(std::string_view utf8, const std::string& charset);

// Whether a text part can be labelled with the charset: it is known, and ASCII text is part of it.
bool canLabelText(const std::string& charset);

} // namespace quzo::platform
