// See text_ladder.h.
#include "platform/message/stamp/text_ladder.h"

#include <algorithm>

#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/charset/lossless.h"
#include "platform/message/structure/structure_lines.h"

namespace quzo::platform {
namespace {

constexpr const char* kUtf8 = "utf-8";

bool saysNothing(const std::string& charset) {
    return charset.empty() || sameCharset(charset.c_str(), "us-ascii");
}

// The charset that clients read a text in: the bytes that are control characters in iso-8859-1 are those of
// windows-1252.
std::string shownCharset(std::string_view text, const std::string& charset) {
    const auto isControl = [](char c) { return (static_cast<unsigned char>(c) & 0xE0U) == 0x80; };
    const bool widened =
        sameCharset(charset.c_str(), "iso-8859-1") && std::any_of(text.begin(), text.end(), isControl);
    return widened ? "windows-1252" : charset;
}

} // namespace

TextLadder::TextLadder(const PartText& part, std::string_view stamp, StampPosition position,
                       TextFormat format, const char* requested)
    : part_(part), stamp_(stamp), position_(position), format_(format) {
    const std::string& own = part.charset();
    const auto add = [this](std::string charset) {
        const bool there = std::any_of(charsets_.begin(), charsets_.end(), [&](const std::string& one) {
            return one == charset || sameCharset(one.c_str(), charset.c_str());
        });
        if (!there) {
            charsets_.push_back(std::move(charset));
        }
    };
    const std::string asked = requested == nullptr ? std::string() : std::string(requested);
    const bool isOwn = asked.empty() || (!own.empty() && sameCharset(own.c_str(), asked.c_str()));
    if (isOwn || isAscii(stamp)) {
        add({});
    }
    if (!isOwn && canLabelText(asked)) {
        add(asked);
    }
    add({});
    add(kUtf8);
}

std::optional<StampedText> TextLadder::next() {
    while (tried_ < charsets_.size()) {
        const std::string& charset = charsets_[tried_++];
        std::optional<StampedText> stamped = charset.empty() ? inOwn() : inOther(charset);
        if (stamped) {
            return stamped;
        }
    }
    return std::nullopt;
}

Placement TextLadder::placedIn(std::string_view text, std::string_view lineBreak) const {
    const bool marked = text.starts_with(kByteOrderMark);
    Placement placed =
        placeInText(text.substr(marked ? kByteOrderMark.size() : 0), stamp_, position_, format_, lineBreak);
    placed.offset += marked ? kByteOrderMark.size() : 0;
    return placed;
}

// The stamp in that charset between the bytes of the text as they are.
std::optional<StampedText> TextLadder::spliced(const std::string& charset) const {
    Placement placed = placedIn(part_.decoded(), part_.lineBreak());
    if (!isAscii(placed.bytes)) {
        const std::optional<std::string> bytes = encodedText(placed.bytes, charset);
        if (!bytes) {
            return std::nullopt;
        }
        placed.bytes = *bytes;
    }
    return StampedText{std::move(placed)};
}

std::optional<StampedText> TextLadder::inOwn() const {
    const std::string& own = part_.charset();
    if (part_.takesAscii()) {
        return spliced(own.empty() ? "us-ascii" : own);
    }
    // Stateful charsets begin and end in ASCII, as a rule.
    if (holdsAscii(own.c_str())) {
        std::optional<StampedText> stamped = spliced(own);
        const std::optional<std::string> text = decodedText(part_.decoded(), own);
        const std::optional<std::string> shown =
            stamped ? decodedText(withPlacement(part_.decoded(), *stamped->placement), own) : std::nullopt;
        if (text && shown && *shown == withPlacement(*text, placedIn(*text, part_.lineBreak()))) {
            return stamped;
        }
    }
    std::optional<StampedText> stamped = converted(own, own);
    if (stamped) {
        stamped->charset.clear();
    }
    return stamped;
}

std::optional<StampedText> TextLadder::inOther(const std::string& charset) const {
    const std::string_view text = part_.decoded();
    const bool unlabelled = saysNothing(part_.charset());
    const bool isItsCharset = unlabelled && sameCharset(charset.c_str(), kUtf8) && isUtf8(text);
    if ((part_.takesAscii() && isAscii(text)) || isItsCharset) {
        std::optional<StampedText> stamped = spliced(charset);
        if (stamped) {
            stamped->charset = charset;
        }
        return stamped;
    }
    if (unlabelled) {
        return isUtf8(text) ? converted(kUtf8, charset) : std::nullopt;
    }
    return converted(part_.charset(), charset);
}

std::optional<StampedText> TextLadder::converted(const std::string& from, const std::string& to) const {
    std::optional<std::string> text = decodedText(part_.decoded(), shownCharset(part_.decoded(), from));
    if (!text) {
        return std::nullopt;
    }
    const Placement placed = placedIn(*text, part_.lineBreak());
    const std::string stamped = withPlacement(std::move(*text), placed);
    std::optional<std::string> whole = encodedForGood(stamped, to);
    return whole ? std::optional(StampedText{std::nullopt, std::move(*whole), to}) : std::nullopt;
}

} // namespace quzo::platform
