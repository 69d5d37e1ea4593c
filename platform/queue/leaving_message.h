// What changes about a message when it leaves this system for good.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/message/mail_message.h"
#include "platform/queue/queue_store.h"

namespace quzo::platform {

// The envelope sender as it leaves: "QUZO", which notifications bear inside, gets "@hostname". Without a
// hostname nothing changes.
std::string leavingSender(const std::string& sender, const std::string& hostname);

// The message without the reprocessing marks, which mean something inside only, and without the last
// `markEnd` bytes; no other byte changes. A message whose header cannot be read stays as it is.
std::string withoutMarks(std::string message, std::uint32_t markEnd);

// Takes the marks off the first message that is attached to this one; nothing when there is none, or its
// header cannot be read.
void removeAttachedMarks(MailMessage& msg);

// A message that ends inside its header, without a line break, gets one when a mark is put behind it, and the
// stored bytes do not tell any more that it was not there. This is the size of that line break, to be kept
// with the message; 0 for nearly all.
std::uint32_t markEndOf(MailMessage& msg);

// Writes the message as it now stands, with or without its marks. The message itself is not changed and
// outlives the writer.
MessageWriter writerOf(MailMessage& msg);
MessageWriter leavingWriterOf(MailMessage& msg);

// Writes a text, which outlives the writer.
MessageWriter writerOf(std::string_view message);

} // namespace quzo::platform
