// Address lists. See address_list.h.
//
// Entries that are plain ASCII are written as they come: they are somebody's configuration, or a header
// field's value, and need no better spelling. Only names in other characters go through GMime, an entry at a
// time, or what stands between the commas of one that is too large for that.
#include "platform/message/values/address_list.h"

#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/base/line_breaks.h"
#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/message/values/address_scanner.h"
#include "platform/message/values/field_text.h"
#include "platform/message/values/gmime_addresses.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

// What GMime reads in `utf8`, its names as encoded words of `charset`; empty when it reads nothing.
std::string encodedByGMime(const std::string& utf8, const char* charset) {
    const GObjectHandle<InternetAddressList> list = parseAddresses(utf8);
    if (!list) {
        return {};
    }
    for (int i = 0; i < internet_address_list_length(list.get()); ++i) {
        internet_address_set_charset(internet_address_list_get_address(list.get(), i), charset);
    }
    const GStringHandle written(internet_address_list_to_string(list.get(), nullptr, TRUE));
    return written ? onOneLine(written.get()) : std::string();
}

// A piece of a group, without the mark behind it: the group's name or one address.
std::string encodedPiece(std::string_view piece, bool isGroupName, const char* charset) {
    const std::string_view text = trimmed(piece);
    if (isAscii(text) || text.size() > kMaxGMimeAddressBytes) {
        return std::string(piece);
    }
    std::string encoded = encodedByGMime(std::string(text) + (isGroupName ? ":;" : ""), charset);
    if (isGroupName) {
        encoded.resize(std::min(encoded.size(), encoded.rfind(':')));
    }
    // The blanks in front of it stay.
    return encoded.empty() ? std::string(piece) : std::string(piece.substr(0, piece.find(text))) + encoded;
}

// An entry that is too large to be read at once, such as a group of hundreds.
std::string encodedByPieces(std::string_view utf8, const char* charset) {
    std::string out;
    AddressScanner scanner;
    bool angle = false;
    std::size_t begin = 0;
    const auto close = [&](std::size_t end, bool isGroupName) {
        out += encodedPiece(utf8.substr(begin, end - begin), isGroupName, charset);
        out += utf8.substr(end, 1);
        begin = end + 1;
    };
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        const char c = utf8[at];
        if (!scanner.plain(c)) {
            continue;
        }
        if (c == '<' || c == '>') {
            angle = c == '<';
        } else if (!angle && (c == ':' || c == ',' || c == ';')) {
            close(at, c == ':');
        }
    }
    if (begin < utf8.size()) {
        close(utf8.size(), false);
    }
    return out;
}

// One entry whose names are not ASCII, `utf8`, with the names as encoded words of `charset`.
std::string encodedEntry(std::string_view utf8, const char* charset) {
    std::string encoded;
    if (utf8.size() <= kMaxGMimeAddressBytes) {
        encoded = encodedByGMime(std::string(utf8), charset);
    }
    return encoded.empty() ? encodedByPieces(utf8, charset) : encoded;
}

// Where the character of UTF-8 begins that the byte belongs to; the byte itself for what is none.
std::size_t characterBegin(std::string_view text, std::size_t at) {
    constexpr std::size_t kMostBehind = 3;
    std::size_t begin = at;
    while (begin > 0 && at - begin < kMostBehind &&
           (static_cast<unsigned char>(text[begin]) & 0xC0U) == 0x80) {
        --begin;
    }
    return begin;
}

// Breaks the text at blanks outside quotes so that lines stay within 76 columns where they can. A line that
// no server has to take is broken all the same: at a blank inside quotes, which is none of the value, or in
// the middle of a word, which is no address then.
std::string folded(std::string_view text, std::size_t column, std::string_view lineBreak) {
    constexpr std::size_t kWidth = 76;
    constexpr std::size_t kLongest = kMaxLineBytes - 1; // one for the blank in front
    constexpr std::size_t kNone = std::string_view::npos;
    std::string out;
    AddressScanner scanner;
    std::size_t lineBegin = 0; // in `text`; the first line begins before it
    std::size_t blank = kNone;
    std::size_t quotedBlank = kNone;
    std::size_t taken = column;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool plain = scanner.plain(text[at]);
        const std::size_t length = taken + (at - lineBegin);
        const bool wide = length >= kWidth && blank != kNone;
        if (wide || length >= kLongest) {
            const std::size_t end = wide ? blank : std::min(quotedBlank, characterBegin(text, at));
            out.append(text.substr(lineBegin, end - lineBegin)).append(lineBreak);
            out.append(text[end] == ' ' ? "" : " "); // a blank there begins the next line
            lineBegin = end;
            taken = text[end] == ' ' ? 0 : 1;
            blank = quotedBlank = kNone;
        }
        if (text[at] == ' ' && at > lineBegin) {
            (plain ? blank : quotedBlank) = at;
        }
    }
    return out.append(text.substr(lineBegin));
}

} // namespace

std::vector<std::string_view> splitAddressList(std::string_view list) {
    std::vector<std::string_view> entries;
    AddressScanner scanner;
    bool group = false;
    bool angle = false;
    std::size_t begin = 0;
    const auto close = [&](std::size_t end, std::size_t next) {
        const std::string_view entry = trimmed(list.substr(begin, end - begin));
        if (!entry.empty()) {
            entries.push_back(entry);
        }
        begin = next;
        group = false;
    };
    for (std::size_t at = 0; at < list.size(); ++at) {
        const char c = list[at];
        if (!scanner.plain(c)) {
            continue;
        }
        if (c == ';') {
            close(group ? at + 1 : at, at + 1);
            angle = false;
        } else if (c == ':' && !angle) {
            group = true;
        } else if (c == '<' || c == '>') {
            angle = c == '<';
        }
    }
    close(list.size(), list.size());
    return entries;
}

int writtenAddressList(std::string_view list, const char* charset, std::size_t firstColumn,
                       std::string_view lineBreak, std::string& out) {
    std::string text = onOneLine(list);
    const bool encodes =
        charset != nullptr && *charset != '\0' && !(isAscii(text) && asciiCompatible(charset));
    if (encodes) {
        std::string utf8;
        const int error = convert(list, charset, "utf-8", Unmappable::Fail, '?', utf8);
        if (error != kErrorNone) {
            return error;
        }
        text = onOneLine(utf8);
    }
    std::string joined;
    for (const std::string_view entry : splitAddressList(text)) {
        joined.append(joined.empty() ? "" : ", ");
        joined.append(encodes && !isAscii(entry) ? encodedEntry(entry, charset) : std::string(entry));
    }
    out = folded(joined, firstColumn, lineBreak);
    return kErrorNone;
}

} // namespace quzo::platform
