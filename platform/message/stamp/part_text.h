// A text part as it is stored, and the forms in which it can be stored with a stamp in it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/message/edit/entity.h"
#include "platform/message/stamp/placement.h"
#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {

// What is to stand in the message for a part.
struct StoredText {
    std::string bytes;
    std::string encoding{}; // of Content-Transfer-Encoding; empty: the field stays
};

class PartText {
public:
    // The ways to store a text, best first: so that the bytes that stay are stored as they were where that
    // can be, then in an encoding that can carry all bytes and hides any boundary.
    enum class Way : std::uint8_t { AsItIs, QuotedPrintable, Base64 };
    static constexpr Way kWays[] = {Way::AsItIs, Way::QuotedPrintable, Way::Base64};

    // Refers to the part's body, and is of use until the next edit of the message.
    explicit PartText(const Entity& part);
    PartText(const PartText&) = delete;
    PartText& operator=(const PartText&) = delete;

    // Whether somebody can read the body: its transfer encoding is known.
    bool readable() const { return readable_; }

    // The body, its transfer encoding undone.
    std::string_view decoded() const { return encoding_ == TransferEncoding::None ? stored_ : decoded_; }

    // The charset parameter; empty when there is none.
    const std::string& charset() const { return charset_; }

    // Whether ASCII stands for itself between the characters of the decoded body. So it is where nobody knows
    // the charset.
    bool takesAscii() const { return takesAscii_; }

    // Line breaks as the decoded body has them; one without any gets those of mail, CRLF, if it is encoded.
    std::string_view lineBreak() const { return lineBreak_; }

    // Whether 8-bit text can be put into the body without another transfer encoding.
    bool takesEightBit() const;

    // The body with a placement in it, whose bytes are in the charset of the body; nothing when it cannot be
    // stored so.
    std::optional<StoredText> with(const Placement& placement, Way way) const;

    // Another decoded body.
    std::optional<StoredText> instead(std::string_view decoded, Way way) const;

private:
    bool fitsPlainly(std::string_view added) const;
    std::optional<std::string> spliced(const Placement& placement) const;
    using Pieces = std::array<std::string_view, 3>; // of one text, in a row
    std::optional<StoredText> encoded(const Pieces& decoded, Way way) const;
    std::string encodedTo(TransferEncoding encoding, const Pieces& decoded) const;
    bool reads(std::string_view stored, const Pieces& decoded) const;

    std::string_view stored_;
    std::string_view tail_; // behind the end of base64
    std::string decoded_;   // unless it is stored as it is
    std::string charset_;
    std::string lineBreak_;
    std::string messageBreak_;
    TransferEncoding encoding_ = TransferEncoding::None;
    std::string plainName_; // 7bit, 8bit, binary, when it is stored as it is
    bool readable_ = true;
    bool takesAscii_ = true;
    bool wide_ = false; // bytes that look like line breaks may be none
};

} // namespace quzo::platform
