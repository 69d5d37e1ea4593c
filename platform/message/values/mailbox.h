// One address of the envelope: what may stand in an SMTP command, and how it is read from the forms in
// which people write it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

struct Mailbox {
    std::string address;     // bare; empty for the null sender
    std::string displayName; // UTF-8, may be empty
};

constexpr std::size_t kMaxAddressBytes = 512;

// Whether the address may stand between the angle brackets of an SMTP command: 1 to kMaxAddressBytes
// bytes, valid UTF-8, no control characters, no angle brackets, blanks and quotes only in a quoted local
// part. A domain is not asked for: "postmaster" is an address.
bool validAddress(std::string_view address);

// The same, and no list of several or anything else with marks that only a quoted local part or a domain
// literal may hold: what stands where one address is asked for.
bool isOneAddress(std::string_view address);

// Reads "addr", "<addr>", "Name <addr>" or "addr (Name)". "<>" and the empty text are the null sender,
// an address of no length. A text with names or comments that is longer than 4096 bytes, or has more than 32
// of the marks that address lists are made of (colons, commas, brackets), or a comment behind a domain
// literal, is no address. Returns 0 or kErrorInvalidArgument, and `out` is then untouched. Any text is safe,
// and the time in proportion.
int parseMailbox(std::string_view text, Mailbox& out);

// The entries of a list of recipients: separated by ';' outside quotes, blanks around them dropped, empty
// ones left out.
std::vector<std::string_view> splitRecipients(std::string_view list);

} // namespace quzo::platform
