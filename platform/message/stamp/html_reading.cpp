// Reading HTML as text. See html_text.h.
#include <algorithm>
#include <charconv>
#include <iterator>

#include "platform/base/ascii.h"
#include "platform/message/stamp/html_scan.h"
#include "platform/message/stamp/html_text.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kLongestReference = 12;

void appendUtf8(std::string& out, unsigned long code) {
    const auto part = [&](unsigned long bits, unsigned long mark) { out += static_cast<char>(bits | mark); };
    if (code < 0x80) {
        part(code, 0);
    } else if (code < 0x800) {
        part(code >> 6U, 0xC0);
        part(code & 0x3FU, 0x80);
    } else if (code < 0x10000) {
        part(code >> 12U, 0xE0);
        part((code >> 6U) & 0x3FU, 0x80);
        part(code & 0x3FU, 0x80);
    } else {
        part(code >> 18U, 0xF0);
        part((code >> 12U) & 0x3FU, 0x80);
        part((code >> 6U) & 0x3FU, 0x80);
        part(code & 0x3FU, 0x80);
    }
}

// The character that a name stands for; 0 for one that is not known here.
unsigned long namedCharacter(std::string_view name) {
    struct Named {
        std::string_view name;
        unsigned long code;
    };
    constexpr Named kMarkup[] = {{"amp", '&'},      {"lt", '<'},       {"gt", '>'},       {"quot", '"'},
                                 {"apos", '\''},    {"ndash", 0x2013}, {"mdash", 0x2014}, {"lsquo", 0x2018},
                                 {"rsquo", 0x2019}, {"ldquo", 0x201C}, {"rdquo", 0x201D}, {"hellip", 0x2026},
                                 {"euro", 0x20AC},  {"trade", 0x2122}, {"bull", 0x2022}};
    // U+00A0 to U+00FF, in order.
    constexpr std::string_view kLatin[] = {
        "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",    "copy",
        "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn", "sup2",   "sup3",
        "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",   "raquo",  "frac14", "frac12",
        "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde", "Auml",   "Aring",  "AElig",  "Ccedil",
        "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave", "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde",
        "Ograve", "Oacute", "Ocirc",  "Otilde", "Ouml",   "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",
        "Uuml",   "Yacute", "THORN",  "szlig",  "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",
        "aelig",  "ccedil", "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",
        "eth",    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave",
        "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};
    const auto* markup = std::find_if(std::begin(kMarkup), std::end(kMarkup),
                                      [name](const Named& one) { return one.name == name; });
    if (markup != std::end(kMarkup)) {
        return markup->code;
    }
    const auto* latin = std::find(std::begin(kLatin), std::end(kLatin), name);
    return latin == std::end(kLatin) ? 0 : 0xA0 + static_cast<unsigned long>(latin - std::begin(kLatin));
}

unsigned long referredCharacter(std::string_view reference) {
    if (!reference.starts_with('#')) {
        return namedCharacter(reference);
    }
    const bool hex = reference.size() > 1 && (reference[1] == 'x' || reference[1] == 'X');
    const std::string_view digits = reference.substr(hex ? 2 : 1);
    unsigned long code = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), code, hex ? 16 : 10);
    const bool whole = read.ec == std::errc() && read.ptr == digits.data() + digits.size();
    const bool isCharacter = code < 0x110000 && (code < 0xD800 || code > 0xDFFF);
    return whole && isCharacter ? code : 0;
}

void appendText(std::string& out, std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t sign = std::min(text.find('&', at), text.size());
        out += text.substr(at, sign - at);
        if (sign == text.size()) {
            return;
        }
        const std::string_view rest = text.substr(sign + 1, kLongestReference);
        const std::size_t end = rest.find(';');
        const unsigned long code = end == std::string_view::npos ? 0 : referredCharacter(rest.substr(0, end));
        if (code != 0) {
            appendUtf8(out, code);
            at = sign + end + 2;
        } else {
            out += '&';
            at = sign + 1;
        }
    }
}

} // namespace

std::string textOfHtml(std::string_view html) {
    std::string out;
    HtmlScan scan(html);
    for (HtmlToken token; scan.next(token);) {
        if (token.kind == HtmlToken::Kind::Text) {
            appendText(out, html.substr(token.begin, token.end - token.begin));
        }
    }
    return out;
}

} // namespace quzo::platform
