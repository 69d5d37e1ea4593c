// Addresses that stand for those of mail fetched by POP3, which has no envelope.
#pragma once

namespace quzo {

// The recipient that such a message has instead of its own.
inline constexpr char kPop3Recipient[] = "POP3_Mail_Recipient";

// Whether one of the labels occurs anywhere in the text, which may be null. For the host; nothing in this
// library calls it.
bool _is_pop3_email(const char* text);

} // namespace quzo
