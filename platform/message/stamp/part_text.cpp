// Quoted-printable is spliced where it stands: a stamp must not change the lines of a text that is signed by
// others, or compared by people. See part_text.h.
#include "platform/message/stamp/part_text.h"

#include <algorithm>
#include <limits>

#include "platform/base/ascii.h"
#include "platform/base/hex.h"
#include "platform/base/line_breaks.h"
#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/values/header_room.h"
#include "platform/message/values/transfer_encoder.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();
constexpr std::string_view kEncodings[] = {"7bit", "8bit", "binary"};

// Where in quoted-printable the character at `offset` of the decoded text begins; soft line breaks in front
// of it are passed.
std::size_t storedOffset(std::string_view stored, std::size_t offset) {
    std::size_t at = 0;
    while (offset > 0 && at < stored.size()) {
        if (stored[at] != '=') {
            ++at;
            --offset;
            continue;
        }
        const std::string_view rest = stored.substr(at + 1);
        if (rest.starts_with('\n') || rest.starts_with("\r\n")) {
            at += rest.front() == '\n' ? 2 : 3;
        } else {
            at += rest.size() > 1 && hexDigit(rest[0]) >= 0 && hexDigit(rest[1]) >= 0 ? 3 : 1;
            --offset;
        }
    }
    return at;
}

std::array<std::string_view, 3> piecesOf(std::string_view text, const Placement& placement) {
    return {text.substr(0, placement.offset), placement.bytes,
            text.substr(placement.offset + placement.removed)};
}

} // namespace

PartText::PartText(const Entity& part)
    : stored_(part.body()), charset_(part.charset()), messageBreak_(part.context().source.lineBreak()) {
    const bool known = !charset_.empty() && knownCharset(charset_.c_str());
    takesAscii_ = !known || asciiCompatible(charset_.c_str());
    wide_ = known && !holdsAscii(charset_.c_str());
    const std::optional<std::string_view> field = part.header().rawValue("Content-Transfer-Encoding");
    const std::string name = field ? lowered(readContentType(*field).type) : "7bit";
    encoding_ = field ? transferEncodingOf(*field) : TransferEncoding::None;
    if (encoding_ == TransferEncoding::None) {
        const bool plain =
            std::find(std::begin(kEncodings), std::end(kEncodings), name) != std::end(kEncodings);
        plainName_ = plain ? name : "7bit";
        readable_ = !startsWithNoCase(name, "x-"); // a wrong word is passed over, as readers do
    }
    if (encoding_ == TransferEncoding::Base64) {
        // Lists put their lines of plain text behind the end of base64, where nobody reads them.
        const std::size_t padding = std::min(stored_.find('='), stored_.size());
        tail_ = stored_.substr(std::min(stored_.find_first_not_of('=', padding), stored_.size()));
        stored_.remove_suffix(tail_.size());
        readable_ = isCleanBase64(stored_);
    }
    lineBreak_ = messageBreak_;
    if (encoding_ != TransferEncoding::None) {
        decoded_ = decodedTransfer(stored_, encoding_, kAll);
    }
    if (encoding_ == TransferEncoding::Base64 || encoding_ == TransferEncoding::Uuencode) {
        const std::size_t lineEnd = decoded_.find('\n');
        const bool bare = lineEnd != std::string::npos && (lineEnd == 0 || decoded_[lineEnd - 1] != '\r');
        lineBreak_ = bare ? "\n" : "\r\n";
    }
}

bool PartText::takesEightBit() const {
    return encoding_ != TransferEncoding::None || plainName_ != "7bit" || !isAscii(stored_);
}

// Whether bytes can be added to what is stored as it is.
bool PartText::fitsPlainly(std::string_view added) const {
    const std::string_view least = plainEncodingOf(added);
    return plainName_ == "binary" || least == "7bit" || (least == "8bit" && plainName_ == "8bit");
}

// The stored bytes with the placement in them; nothing when they have to be stored in another way.
std::optional<std::string> PartText::spliced(const Placement& placement) const {
    if (encoding_ == TransferEncoding::None) {
        return fitsPlainly(placement.bytes) ? std::optional(withPlacement(stored_, placement)) : std::nullopt;
    }
    if (encoding_ != TransferEncoding::QuotedPrintable) {
        return std::nullopt;
    }
    const std::size_t behind = placement.offset + placement.removed;
    const std::size_t begin =
        placement.offset == decoded_.size() ? stored_.size() : storedOffset(stored_, placement.offset);
    const std::size_t end = behind == decoded_.size() ? stored_.size() : storedOffset(stored_, behind);
    std::string bytes;
    bytes.reserve(stored_.size() + 4 * placement.bytes.size() + kHeaderRoom);
    bytes += stored_.substr(0, begin);
    const bool breaks = placement.bytes.starts_with('\n') || placement.bytes.starts_with("\r\n");
    if (breaks && !bytes.empty() && isBlank(bytes.back())) {
        bytes += "="; // a blank at the end of a line is none
        bytes += messageBreak_;
    } else if (bytes.ends_with('=')) {
        bytes += messageBreak_; // a soft line break that was not finished
    }
    bytes += encodedTransfer(placement.bytes, TransferEncoding::QuotedPrintable, messageBreak_);
    bytes += stored_.substr(end);
    return reads(bytes, piecesOf(decoded_, placement)) ? std::optional(std::move(bytes)) : std::nullopt;
}

std::optional<StoredText> PartText::with(const Placement& placement, Way way) const {
    if (way == Way::AsItIs) {
        std::optional<std::string> bytes = spliced(placement);
        return bytes ? std::optional(StoredText{std::move(*bytes)}) : std::nullopt;
    }
    return encoded(piecesOf(decoded(), placement), way);
}

std::optional<StoredText> PartText::instead(std::string_view decoded, Way way) const {
    if (way == Way::AsItIs) {
        const bool fits =
            encoding_ == TransferEncoding::None && fitsPlainly(decoded) && (!wide_ || plainName_ == "binary");
        return fits ? std::optional(StoredText{std::string(decoded)}) : std::nullopt;
    }
    return encoded({decoded, {}, {}}, way);
}

std::optional<StoredText> PartText::encoded(const Pieces& decoded, Way way) const {
    if (way == Way::Base64) {
        StoredText stored{encodedTo(TransferEncoding::Base64, decoded)};
        if (encoding_ != TransferEncoding::Base64) {
            stored.encoding = "base64";
        } else if (!trimmed(tail_).empty()) {
            stored.bytes += tail_;
        }
        return stored;
    }
    const bool stays = encoding_ == TransferEncoding::QuotedPrintable;
    if ((!stays && encoding_ == TransferEncoding::Base64) || wide_) {
        return std::nullopt;
    }
    return StoredText{encodedTo(TransferEncoding::QuotedPrintable, decoded), stays ? "" : "quoted-printable"};
}

std::string PartText::encodedTo(TransferEncoding encoding, const Pieces& decoded) const {
    std::size_t size = 0;
    for (const std::string_view piece : decoded) {
        size += piece.size();
    }
    TransferEncoder encoder(encoding, messageBreak_, size);
    for (const std::string_view piece : decoded) {
        encoder.add(piece);
    }
    return encoder.finish();
}

// Whether what is stored so, in the part's encoding, is read as that.
bool PartText::reads(std::string_view stored, const Pieces& decoded) const {
    std::size_t at = 0;
    std::string_view rest = decoded[at];
    bool same = true;
    decodeTransfer(stored, encoding_, [&](std::string_view piece) {
        while (same && !piece.empty()) {
            while (rest.empty() && at + 1 < decoded.size()) {
                rest = decoded[++at];
            }
            const std::size_t size = std::min(rest.size(), piece.size());
            same = size > 0 && rest.substr(0, size) == piece.substr(0, size);
            rest.remove_prefix(size);
            piece.remove_prefix(size);
        }
        return same;
    });
    const auto isEmpty = [](std::string_view piece) { return piece.empty(); };
    return same && rest.empty() && std::all_of(decoded.begin() + at + 1, decoded.end(), isEmpty);
}

} // namespace quzo::platform
