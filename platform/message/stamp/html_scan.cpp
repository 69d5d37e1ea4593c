// The rules are those of HTML's own tokenizer, as far as they decide where a tag, a comment or the text of a
// script ends. See html_scan.h.
#include "platform/message/stamp/html_scan.h"

#include <algorithm>
#include <iterator>

#include "platform/base/ascii.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kBlanks = " \t\r\n\f";

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Elements whose content is text up to their end tag, whatever it looks like.
bool holdsRawText(std::string_view name) {
    constexpr std::string_view kNames[] = {"script", "style",  "textarea", "title",
                                           "xmp",    "iframe", "noembed"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [name](std::string_view one) { return equalsNoCase(one, name); });
}

} // namespace

bool HtmlScan::next(HtmlToken& token) {
    if (at_ >= html_.size()) {
        return false;
    }
    token = {};
    token.begin = at_;
    const std::string_view rest = html_.substr(at_);
    const char second = rest.size() > 1 ? rest[1] : '\0';
    const bool endTag = second == '/' && rest.size() > 2;
    if (rest.front() == '<' && (isLetter(second) || second == '!' || second == '?' || endTag)) {
        readMarkup(token);
    } else {
        token.end = std::min(html_.find('<', at_ + 1), html_.size());
    }
    token.open = token.end == kNone;
    token.end = std::min(token.end, html_.size());
    at_ = token.end;
    return true;
}

void HtmlScan::readMarkup(HtmlToken& token) const {
    const std::string_view rest = html_.substr(token.begin);
    if (rest.starts_with("<!--")) {
        readComment(token);
        return;
    }
    if (isLetter(rest[1]) || (rest[1] == '/' && isLetter(rest[2]))) {
        readTag(token);
        return;
    }
    token.kind = HtmlToken::Kind::Declaration;
    const std::size_t end = html_.find('>', token.begin);
    token.end = end == kNone ? kNone : end + 1;
}

void HtmlScan::readComment(HtmlToken& token) const {
    constexpr std::string_view kClosed[] = {"<!-->", "<!--->"};
    token.kind = HtmlToken::Kind::Comment;
    for (const std::string_view closed : kClosed) {
        if (html_.substr(token.begin).starts_with(closed)) {
            token.end = token.begin + closed.size();
            return;
        }
    }
    std::size_t at = token.begin + 4;
    while ((at = html_.find("--", at)) != kNone) {
        const std::string_view behind = html_.substr(at + 2);
        if (behind.starts_with(">") || behind.starts_with("!>")) {
            token.end = at + (behind.front() == '>' ? 3 : 4);
            return;
        }
        ++at;
    }
    token.end = kNone;
}

void HtmlScan::readTag(HtmlToken& token) const {
    const bool ends = html_[token.begin + 1] == '/';
    token.kind = ends ? HtmlToken::Kind::EndTag : HtmlToken::Kind::StartTag;
    const std::size_t name = token.begin + (ends ? 2 : 1);
    const std::size_t nameEnd = std::min(html_.find_first_of(" \t\r\n\f/>", name), html_.size());
    token.name = html_.substr(name, nameEnd - name);
    bool selfClosing = false;
    const std::size_t tagEnd = behindTag(nameEnd, selfClosing);
    token.end = tagEnd;
    if (ends || token.end == kNone) {
        return;
    }
    if (equalsNoCase(token.name, "plaintext")) {
        token.end = kNone;
    } else if (holdsRawText(token.name)) {
        const std::size_t end = behindRawText(tagEnd, token.name);
        // In XHTML the element can be empty.
        token.end = end == kNone && selfClosing ? tagEnd : end;
    }
}

// Behind the '>' of a tag whose name ends at `at`; npos when there is none.
std::size_t HtmlScan::behindTag(std::size_t at, bool& selfClosing) const {
    while (at < html_.size()) {
        const char c = html_[at];
        if (c == '>') {
            selfClosing = html_[at - 1] == '/';
            return at + 1;
        }
        if (c == '/' || kBlanks.find(c) != kNone) {
            ++at;
            continue;
        }
        // An attribute's name; '=' may be the first character of one.
        at = html_.find_first_of(" \t\r\n\f/>=", at + 1);
        at = at == kNone ? kNone : html_.find_first_not_of(kBlanks, at);
        if (at != kNone && html_[at] == '=') {
            at = behindAttributeValue(at + 1);
        }
        if (at == kNone) {
            return kNone;
        }
    }
    return kNone;
}

std::size_t HtmlScan::behindAttributeValue(std::size_t at) const {
    at = html_.find_first_not_of(kBlanks, at);
    if (at == kNone) {
        return kNone;
    }
    const char quote = html_[at];
    if (quote == '"' || quote == '\'') {
        const std::size_t end = html_.find(quote, at + 1);
        return end == kNone ? kNone : end + 1;
    }
    return html_.find_first_of(" \t\r\n\f>", at);
}

// Behind the end tag that ends the text of an element; npos when none does.
std::size_t HtmlScan::behindRawText(std::size_t at, std::string_view name) const {
    while ((at = html_.find("</", at)) != kNone) {
        const std::size_t nameEnd = at + 2 + name.size();
        if (equalsNoCase(html_.substr(at + 2, name.size()), name) && nameEnd < html_.size() &&
            std::string_view(" \t\r\n\f/>").find(html_[nameEnd]) != kNone) {
            bool selfClosing = false;
            return behindTag(nameEnd, selfClosing);
        }
        at += 2;
    }
    return kNone;
}

} // namespace quzo::platform
