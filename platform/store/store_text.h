// The texts that the store takes.
//
// The two databases differ in what they hold: one cuts a text at a NUL and refuses bytes that are no UTF-8,
// the other keeps both. The store refuses both itself, so that a store can move from one to the other.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

constexpr std::size_t kMaxObjectName = 255;              // bytes; also of authors
constexpr std::size_t kMaxObjectContent = 1024UL * 1024; // bytes
constexpr std::size_t kMaxRuleName = 4096;               // bytes

// Names and authors: UTF-8, not empty, without control characters, line separators, and the marks that turn
// the direction of writing (a name could look like another). Throws StoreFailure; `what` is "name" or
// "author".
void checkName(std::string_view text, const char* what);

// Contents: UTF-8 without NUL, not empty; line ends and byte 0x03 may stand there. `name` is for the message.
void checkContent(std::string_view content, std::string_view name);

// The name of a rule: UTF-8 without NUL.
void checkRuleName(std::string_view name, unsigned ruleId);

} // namespace quzo::platform
