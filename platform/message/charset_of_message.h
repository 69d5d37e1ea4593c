// What charset a message is written in, and its subject.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

class MessageImpl;

// The charset of the first text part of the body; empty when it says no more than us-ascii, is not known, or
// is one whose text cannot be a C string with ASCII in it (utf-16, utf-32, EBCDIC).
std::string bodyCharset(MessageImpl& message);

// The charset in which text of the message may be written: that of the first text part, else that of the
// first encoded word in the Subject; empty when neither says anything useful.
//
// Where the Subject has a charset of its own that cannot take every text, and another one than the body, its
// own goes first; with several Subjects of different ones it is us-ascii. Whoever writes a text into a
// Subject gives it the name of the Subject's own charset, so one that does not fit into that must not fit
// into this one either; it is then written in utf-8. A Subject of raw 8-bit text that comes without a charset
// (RawValues::AsTheyCame) counts as well, whatever reads it: the charset is one that does.
std::string charsetOfMessage(MessageImpl& message);

// The first Subject in `localCharset` (empty: utf-8); characters that it lacks become '?'. Raw 8-bit text
// is read as UTF-8 when it is that, else in the first of these that can read it: `mailCharset`, the charset
// of the body, `localCharset`, windows-1252. False when there is no Subject, or `localCharset` is not known.
bool subjectOfMessage(MessageImpl& message, const std::string& localCharset, const std::string& mailCharset,
                      std::string& out);

} // namespace quzo::platform
