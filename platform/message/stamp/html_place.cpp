// One pass over the tags. See html_place.h.
#include "platform/message/stamp/html_place.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "platform/base/ascii.h"
#include "platform/message/stamp/html_scan.h"

namespace quzo::platform {
namespace {

using Kind = HtmlToken::Kind;

bool isBlankText(std::string_view text) {
    return text.find_first_not_of(" \t\r\n\f") == std::string_view::npos;
}

// What may stand in front of a body that has no tag.
bool belongsToHead(const HtmlToken& token, std::string_view html) {
    constexpr std::string_view kNames[] = {"html",  "head", "meta", "title",
                                           "style", "link", "base", "script"};
    switch (token.kind) {
        case Kind::Text:
            return isBlankText(html.substr(token.begin, token.end - token.begin));
        case Kind::StartTag:
            return !token.open &&
                   std::any_of(std::begin(kNames), std::end(kNames),
                               [&](std::string_view one) { return equalsNoCase(one, token.name); });
        case Kind::EndTag:
            return !token.open && equalsNoCase(token.name, "head");
        default:
            return !token.open;
    }
}

// The name behind "charset=" in a meta tag.
std::string charsetIn(std::string_view tag) {
    const std::string lower = lowered(tag);
    constexpr std::string_view kKey = "charset";
    std::size_t at = lower.find(kKey);
    at = at == std::string::npos ? at : lower.find_first_not_of(" \t\r\n", at + kKey.size());
    if (at == std::string::npos || lower[at] != '=') {
        return {};
    }
    at = lower.find_first_not_of(" \t\r\n\"'", at + 1);
    const std::size_t end = lower.find_first_of(" \t\r\n\"';/>", std::min(at, lower.size()));
    return at == std::string::npos ? std::string()
                                   : lower.substr(at, end == std::string::npos ? end : end - at);
}

} // namespace

HtmlPlaces findHtmlPlaces(std::string_view html) {
    HtmlPlaces places;
    std::optional<std::size_t> bodyBegin;
    std::optional<std::size_t> bodyEnd;
    std::optional<std::size_t> htmlEnd;
    bool inHead = true;
    bool frames = false;
    std::size_t limit = html.size(); // of what is shown
    HtmlScan scan(html);
    for (HtmlToken token; scan.next(token);) {
        inHead = inHead && belongsToHead(token, html);
        places.front = inHead ? token.end : places.front;
        if (token.open && token.kind != Kind::Text) {
            limit = token.begin;
        } else if (token.kind == Kind::StartTag) {
            if (equalsNoCase(token.name, "body") && !bodyBegin) {
                bodyBegin = token.end;
            } else if (equalsNoCase(token.name, "frameset")) {
                frames = true;
            } else if (equalsNoCase(token.name, "meta") && places.charset.empty()) {
                places.charset = charsetIn(html.substr(token.begin, token.end - token.begin));
            }
        } else if (token.kind == Kind::EndTag) {
            bodyEnd = equalsNoCase(token.name, "body") ? token.begin : bodyEnd;
            htmlEnd = equalsNoCase(token.name, "html") ? token.begin : htmlEnd;
        }
    }
    places.front = bodyBegin.value_or(places.front);
    places.back = bodyEnd.value_or(htmlEnd.value_or(limit));
    places.back = std::max(places.back, places.front);
    places.onlyFrames = frames && !bodyBegin;
    return places;
}

} // namespace quzo::platform
