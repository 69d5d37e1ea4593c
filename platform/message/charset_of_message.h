// What charset a message is written in, and its subject.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

class MessageImpl;

// The charset of the first text part of the body, else that of the first encoded word in the Subject;
// empty when neither says more than us-ascii.
std::string charsetOfMessage(MessageImpl& message);

// The first Subject in `localCharset` (empty: utf-8); characters that it lacks become '?'. Raw 8-bit text
// is read in the first of these that can read it: `mailCharset`, the message's charset, utf-8,
// `localCharset`. False when there is no Subject, or none of them can.
bool subjectOfMessage(MessageImpl& message, const std::string& localCharset, const std::string& mailCharset,
                      std::string& out);

} // namespace quzo::platform
