// See html_stamp.h.
#include "platform/message/stamp/html_stamp.h"

#include <string>

#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/charset/lossless.h"
#include "platform/message/stamp/html_place.h"
#include "platform/message/stamp/html_text.h"
#include "platform/message/structure/structure_lines.h"

namespace quzo::platform {
namespace {

std::string blockOf(std::string_view html) {
    std::string block("<div>");
    block.append(html);
    while (block.ends_with('\n')) {
        block.pop_back();
    }
    return block.append("</div>");
}

// The places in HTML that may begin with a byte order mark.
HtmlPlaces placesIn(std::string_view html) {
    const std::size_t mark = html.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    HtmlPlaces places = findHtmlPlaces(html.substr(mark));
    places.front += mark;
    places.back += mark;
    return places;
}

std::size_t placeFor(const HtmlPlaces& places, StampPosition position) {
    return position == StampPosition::Before ? places.front : places.back;
}

// Into the bytes as they are: the markup is ASCII in them.
std::optional<StampedText> intoBytes(const PartText& part, const std::string& block, StampPosition position) {
    const std::string& own = part.charset();
    const HtmlPlaces places = placesIn(part.decoded());
    if (places.onlyFrames) {
        return std::nullopt;
    }
    const bool known = !own.empty() && knownCharset(own.c_str());
    const bool disagrees = !places.charset.empty() && !sameCharset(places.charset.c_str(), own.c_str());
    const bool literal = known && !disagrees && part.takesEightBit();
    Placement placed = placeInHtml(part.decoded(), placeFor(places, position),
                                   withReferences(block, literal ? own.c_str() : nullptr), part.lineBreak());
    if (!isAscii(placed.bytes)) {
        const std::optional<std::string> bytes = encodedText(placed.bytes, own);
        if (!bytes) {
            return std::nullopt; // withReferences() has left nothing that the charset lacks
        }
        placed.bytes = *bytes;
    }
    return StampedText{std::move(placed)};
}

// Into the characters, for charsets in which they have to be looked for.
std::optional<StampedText> intoText(const PartText& part, const std::string& block, StampPosition position) {
    const std::string& own = part.charset();
    const std::optional<std::string> text = decodedText(part.decoded(), own);
    const HtmlPlaces places = text ? placesIn(*text) : HtmlPlaces{.onlyFrames = true};
    if (places.onlyFrames) {
        return std::nullopt;
    }
    const auto stamped = [&](const char* charset) {
        return withPlacement(*text, placeInHtml(*text, placeFor(places, position),
                                                withReferences(block, charset), part.lineBreak()));
    };
    if (holdsAscii(own.c_str())) {
        // Between tags a stateful charset is in ASCII, as a rule, and the bytes can stay.
        const std::string_view bytes = part.decoded();
        Placement placed = placeInHtml(bytes, placeFor(placesIn(bytes), position),
                                       withReferences(block, nullptr), part.lineBreak());
        const std::optional<std::string> shown = decodedText(withPlacement(bytes, placed), own);
        if (shown && *shown == stamped(nullptr)) {
            return StampedText{std::move(placed)};
        }
    }
    std::optional<std::string> whole = encodedForGood(stamped(own.c_str()), own);
    return whole ? std::optional(StampedText{std::nullopt, std::move(*whole)}) : std::nullopt;
}

} // namespace

std::optional<StampedText> stampedHtml(const PartText& part, std::string_view html, StampPosition position) {
    const std::string block = blockOf(html);
    return part.takesAscii() ? intoBytes(part, block, position) : intoText(part, block, position);
}

} // namespace quzo::platform
