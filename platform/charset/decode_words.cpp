// Decoding a field value. The value is cut into words and the text between them; then the question is which
// charset the whole can come back in. Staying in the words' own charset keeps every byte, also of characters
// that have several codes, so that comes first; UTF-8 is for what does not share one.
#include <utility>
#include <vector>

#include "platform/base/utf8.h"
#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "platform/charset/value_cut.h"
#include "platform/charset/word_scan.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

using Pieces = std::vector<ValuePiece>;

// What the pieces have in common.
struct Survey {
    std::string firstCharset;
    bool oneCharset = true;
    bool onlyWords = true;
    bool asciiText = true; // outside the words
};

Survey survey(const Pieces& pieces) {
    Survey seen;
    for (const ValuePiece& piece : pieces) {
        if (!piece.isWords()) {
            seen.onlyWords = false;
            seen.asciiText = seen.asciiText && isAscii(piece.bytes);
        } else if (seen.firstCharset.empty()) {
            seen.firstCharset = piece.charset;
        } else if (seen.oneCharset && seen.firstCharset != piece.charset) {
            seen.oneCharset = sameCharset(seen.firstCharset.c_str(), piece.charset.c_str());
        }
    }
    return seen;
}

std::string joined(const Pieces& pieces) {
    std::string out;
    for (const ValuePiece& piece : pieces) {
        out += piece.bytes;
    }
    return out;
}

// Whether 8-bit text beside words in an ASCII-compatible charset can stay in it.
bool rawTextIsIn(const Pieces& pieces, const Charset& charset, const std::string& name) {
    bool utf8 = true;
    bool readable = true;
    for (const ValuePiece& piece : pieces) {
        if (!piece.isWords() && !isAscii(piece.bytes)) {
            utf8 = utf8 && isUtf8(piece.bytes);
            readable = readable && isReadable(piece.bytes, name);
        }
    }
    // In a single-byte charset nearly everything is readable, so that says little; being UTF-8 does.
    return readable && (charset.maxCharBytes > 1 || !utf8);
}

bool canStay(const Pieces& pieces, const Survey& seen) {
    const auto charset = seen.oneCharset ? findCharset(seen.firstCharset) : nullptr;
    if (charset == nullptr || !charset->holdsAscii) {
        return false;
    }
    if (charset->asciiCompatible) {
        return seen.asciiText || rawTextIsIn(pieces, *charset, seen.firstCharset);
    }
    return seen.onlyWords && isReadable(joined(pieces), seen.firstCharset);
}

bool appendUtf8(std::string_view bytes, const std::string& charset, std::string& out) {
    std::string text;
    if (convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', text) != kErrorNone) {
        return false;
    }
    out += text;
    return true;
}

std::string toUtf8(const Pieces& pieces, const Survey& seen, const std::string& rawCharset) {
    std::string out;
    for (const ValuePiece& piece : pieces) {
        if (piece.isWords()) {
            appendUtf8(piece.bytes, piece.charset, out); // readable, or it were no word
        } else if (isUtf8(piece.bytes)) {
            out += piece.bytes;
        } else if (!appendUtf8(piece.bytes, seen.firstCharset, out)) {
            appendUtf8(piece.bytes, charsetOfRawText(piece.bytes, rawCharset), out);
        }
    }
    return out;
}

} // namespace

std::string charsetOfRawText(std::string_view bytes, const std::string& likely) {
    if (isUtf8(bytes)) {
        return "utf-8";
    }
    // Windows-1252 has a character for every byte.
    return holdsAscii(likely.c_str()) && isReadable(bytes, likely) ? likely : "windows-1252";
}

DecodedValue decodeWords(std::string_view rawValue, const std::string& rawCharset) {
    std::string value = unfolded(rawValue);
    const Pieces pieces = cutValue(value, CutWords::Readable);
    if (pieces.empty()) {
        return {std::move(value), {}};
    }
    const Survey seen = survey(pieces);
    if (canStay(pieces, seen)) {
        return {joined(pieces), seen.firstCharset};
    }
    return {toUtf8(pieces, seen, rawCharset), "utf-8"};
}

} // namespace quzo::platform
