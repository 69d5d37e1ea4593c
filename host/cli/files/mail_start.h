// Telling mail from other files by its first line.
#pragma once

#include <cstddef>
#include <string_view>

namespace quzo::host {

// How much of a file decides; longer first lines are judged by their start.
constexpr std::size_t kMailStartBytes = 4096;

// Whether the text begins with a header field: a name of printable ASCII, blanks perhaps, a colon.
bool startsWithField(std::string_view text);

// Whether the text begins with "From ", the mark of a message in a mailbox.
bool startsWithFromLine(std::string_view text);

// How much of the text stands before the message or the mailbox: a byte order mark and empty lines, which
// some programs put there.
std::size_t prefaceLength(std::string_view text);

// Whether a file that begins so is mail: a header field or a mailbox line, quoted or not, behind the preface.
bool looksLikeMail(std::string_view start);

// Whether `line` (without its line break) separates messages of a mailbox: "From ", then a sender with
// an "@", or anything with a time of day in it, which no sentence that begins with "From" is likely to
// have.
bool isSeparatorLine(std::string_view line);

} // namespace quzo::host
