// The bytes of a message and what the scan found in them, each part of it made when it is first needed.
//
// Most messages are only asked for their envelope and a few header fields, so the root's header block is
// indexed on first use and the tree only when somebody looks below the root.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/message/structure/limit_reached.h"
#include "platform/message/structure/limits.h"
#include "platform/message/structure/structure.h"

namespace quzo::platform {

// Owns its bytes. The lazy scans change nothing that a caller can see, hence the const operations; one
// thread at a time all the same.
class ScannedText {
public:
    ScannedText(std::string bytes, const Limits& limits);
    // One part, at `begin` of the bytes, which must not be 0; see scanPart().
    ScannedText(std::string bytes, std::size_t begin, const PartPlace& place, const Limits& limits,
                std::size_t& end);
    // The body of a multipart without parts: its close delimiter line, which the bytes get.
    ScannedText(std::string_view boundary, std::string_view lineBreak);
    ScannedText(const ScannedText&) = delete;
    ScannedText& operator=(const ScannedText&) = delete;

    std::string_view text() const { return bytes_; }

    const Limits& limits() const { return limits_; }

    // Zero, or kErrorLimit for a text that is larger than the limits allow; its scans find nothing then.
    int error() const { return error_; }

    // The header block of an entity. Entity 0, the root, does not need the tree.
    const HeaderSpan& header(std::uint32_t index) const;

    // The whole tree, entity 0 being the root.
    const Structure& structure() const;

    // Why what has been scanned so far is not readable or was cut.
    LimitReached limitReached() const;

    // The end of the first line: what new lines end with. CRLF for a text of one unfinished line.
    std::string_view lineBreak() const;

private:
    const std::string bytes_;
    const Limits limits_;
    int error_ = 0;
    mutable std::string_view lineBreak_;
    mutable std::optional<HeaderSpan> rootHeader_; // empty again once the tree holds it
    mutable std::optional<Structure> structure_;
};

} // namespace quzo::platform
