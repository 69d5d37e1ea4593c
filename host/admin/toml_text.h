// Strings and keys of TOML files, as a person likes to read them, and as nobody can be deceived by them.
#pragma once

#include <string>
#include <string_view>

namespace quzo::host {

// A key: bare when that is possible, else in quotation marks. `text` is UTF-8.
std::string tomlKey(std::string_view text);

// A string in quotation marks; one with line feeds over several lines in three of them. Control characters,
// CR among them, and characters that turn the writing direction or cannot be seen are written as escapes.
// Reading it gives `text` back, which is UTF-8.
std::string tomlString(std::string_view text);

} // namespace quzo::host
