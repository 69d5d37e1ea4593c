// The envelope of a message that comes from a file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/mail_message.h"

namespace quzo::host {

struct Envelope {
    std::string sender; // without angle brackets; empty for the null sender
    std::vector<std::string> recipients;
};

// The received header counts, whatever edits were made. What the caller says wins; of what it does not say,
// the sender is taken from Return-Path, else From, and the recipients are all addresses of To, Cc and Bcc,
// each once. An address that could not stand in an SMTP command is left out.
Envelope envelopeOf(const platform::MailMessage& msg, const std::optional<std::string>& from,
                    const std::vector<std::string>& to);

// The bare addresses in a raw field value such as "A <a@x>, Group: b@x, c@x;", in order, duplicates
// included; those that could not stand in an SMTP command are left out. Time in proportion to the value.
std::vector<std::string> addressesIn(std::string_view value);

} // namespace quzo::host
