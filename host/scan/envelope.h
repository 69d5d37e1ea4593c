// The envelope of a message that comes from a file.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/mail_message.h"
#include "platform/message/structure/limits.h"

namespace quzo::host {

struct Envelope {
    std::string sender; // without angle brackets; empty for the null sender
    std::vector<std::string> recipients;

    // Why there are no recipients although the header names some: which limit they are beyond. A message
    // with half of its recipients must not go anywhere.
    std::string beyondLimit{};
};

// The received header counts, whatever edits were made. What the caller says wins; of what it does not say,
// the sender is taken from Return-Path, else From, and the recipients are all addresses of To, Cc and Bcc,
// each once. An address that could not stand in an SMTP command is left out.
Envelope envelopeOf(const platform::MailMessage& msg, const platform::Limits& limits,
                    const std::optional<std::string>& from, const std::vector<std::string>& to);

// Calls `take` with each bare address in a raw field value such as "A <a@x>, Group: b@x, c@x;", in order,
// duplicates included, until it returns false; those that could not stand in an SMTP command are left out.
// Returns whether it never did. Time in proportion to the value.
bool eachAddress(std::string_view value, const std::function<bool(std::string)>& take);

} // namespace quzo::host
