// Decoding a field value. The value is cut into words and the text between them; then the question is which
// charset the whole can come back in. Staying in the words' own charset keeps every byte, also of characters
// that no converter knows, so that comes first; UTF-8 is for what does not share one.
#include <utility>
#include <vector>

#include "platform/base/utf8.h"
#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "platform/charset/word_scan.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

struct Piece {
    bool isWord = false;
    std::string charset; // of a word, lower case
    std::string bytes;
};

constexpr std::string_view kBlanks = " \t";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view around = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(around);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(around) - begin + 1);
}

std::string unfolded(std::string_view raw) {
    const std::string_view value = trimmed(raw);
    std::string out;
    out.reserve(value.size());
    for (std::size_t at = 0; at < value.size();) {
        const std::size_t lineBreak = std::min(value.find_first_of("\r\n", at), value.size());
        out.append(value.substr(at, lineBreak - at));
        at = lineBreak + 1;
    }
    return out;
}

std::string lowerCase(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return out;
}

// Which charsets are known. Words tend to name the one before them, and asking for one that is not known is
// dear.
class KnownCharsets {
public:
    bool has(std::string_view name) {
        if (name != last_ || last_.empty()) {
            last_ = name;
            known_ = findCharset(name) != nullptr;
        }
        return known_;
    }

private:
    std::string_view last_;
    bool known_ = false;
};

enum class Words : bool { All, OfKnownCharsets };

// Calls `take` with each word and where it begins.
template <typename Take>
void eachWord(std::string_view value, Take&& take) {
    for (std::size_t at = value.find("=?"); at != std::string_view::npos;) {
        EncodedWord word;
        if (readEncodedWord(value, at, word)) {
            take(word, at);
            at = value.find("=?", word.end);
        } else {
            at = value.find("=?", at + 1);
        }
    }
}

bool isOtherCharset(const std::string& a, const std::string& b) {
    return a != b && !sameCharset(a.c_str(), b.c_str());
}

// Words that nobody can read are words all the same when there are no others.
Words wantedWords(std::string_view value) {
    KnownCharsets known;
    std::string first;
    bool oneCharset = true;
    bool allKnown = true;
    eachWord(value, [&](const EncodedWord& word, std::size_t) {
        allKnown = allKnown && known.has(word.charset);
        if (first.empty()) {
            first = lowerCase(word.charset);
        } else if (oneCharset) {
            oneCharset = !isOtherCharset(first, lowerCase(word.charset));
        }
    });
    return allKnown || oneCharset ? Words::All : Words::OfKnownCharsets;
}

// The words and the text between them; what is no word of those that are wanted is text. Blanks between two
// words are no text.
std::vector<Piece> cut(std::string_view value, Words wanted) {
    std::vector<Piece> pieces;
    KnownCharsets known;
    std::size_t textBegin = 0;
    eachWord(value, [&](const EncodedWord& word, std::size_t at) {
        if (wanted == Words::OfKnownCharsets && !known.has(word.charset)) {
            return;
        }
        const std::string_view text = value.substr(textBegin, at - textBegin);
        const bool onlyBlanks = text.find_first_not_of(kBlanks) == std::string_view::npos;
        if (!text.empty() && (pieces.empty() || !onlyBlanks)) {
            pieces.push_back({false, {}, std::string(text)});
        }
        Piece piece{true, lowerCase(word.charset), {}};
        appendWordBytes(word, piece.bytes);
        pieces.push_back(std::move(piece));
        textBegin = word.end;
    });
    if (!pieces.empty() && textBegin < value.size()) {
        pieces.push_back({false, {}, std::string(value.substr(textBegin))});
    }
    return pieces;
}

// What the pieces have in common.
struct Survey {
    std::string firstCharset;
    bool oneCharset = true;
    bool onlyWords = true;
    bool asciiText = true; // outside the words
};

Survey survey(const std::vector<Piece>& pieces) {
    Survey seen;
    for (const Piece& piece : pieces) {
        if (!piece.isWord) {
            seen.onlyWords = false;
            seen.asciiText = seen.asciiText && isAscii(piece.bytes);
        } else if (seen.firstCharset.empty()) {
            seen.firstCharset = piece.charset;
        } else if (seen.oneCharset && isOtherCharset(seen.firstCharset, piece.charset)) {
            seen.oneCharset = false;
        }
    }
    return seen;
}

std::string joined(const std::vector<Piece>& pieces) {
    std::string out;
    for (const Piece& piece : pieces) {
        out += piece.bytes;
    }
    return out;
}

bool isReadable(std::string_view bytes, const std::string& charset) {
    std::string text;
    return convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', text) == kErrorNone;
}

// Whether 8-bit text beside words in an ASCII-compatible charset can stay in it.
bool rawTextIsIn(const std::vector<Piece>& pieces, const Charset& charset, const std::string& name) {
    bool utf8 = true;
    bool readable = true;
    for (const Piece& piece : pieces) {
        if (!piece.isWord && !isAscii(piece.bytes)) {
            utf8 = utf8 && isUtf8(piece.bytes);
            readable = readable && isReadable(piece.bytes, name);
        }
    }
    // In a single-byte charset nearly everything is readable, so that says nothing; being UTF-8 does.
    return charset.maxCharBytes > 1 ? readable || !utf8 : !utf8;
}

bool appendUtf8(const std::string& bytes, const std::string& charset, std::string& out) {
    std::string text;
    if (convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', text) != kErrorNone) {
        return false;
    }
    out += text;
    return true;
}

// Appends the words [first, last) of one charset: together, or, when that does not read (each begins with a
// byte order mark, say), one by one.
bool appendWords(const std::vector<Piece>& pieces, std::size_t first, std::size_t last, std::string& out) {
    std::string bytes;
    for (std::size_t i = first; i < last; ++i) {
        bytes += pieces[i].bytes;
    }
    const Charset* charset = nullptr;
    const auto found = findCharset(pieces[first].charset);
    charset = found.get();
    const bool together = charset != nullptr && !(charset->wide && charset->stateful);
    if (together && appendUtf8(bytes, pieces[first].charset, out)) {
        return true;
    }
    if (charset == nullptr || charset->asciiCompatible) {
        return false;
    }
    for (std::size_t i = first; i < last; ++i) {
        if (!appendUtf8(pieces[i].bytes, pieces[first].charset, out)) {
            return false;
        }
    }
    return true;
}

bool toUtf8(const std::vector<Piece>& pieces, const Survey& seen, std::string& out) {
    for (std::size_t i = 0; i < pieces.size();) {
        std::size_t last = i + 1;
        if (pieces[i].isWord) {
            while (last < pieces.size() && pieces[last].isWord &&
                   !isOtherCharset(pieces[i].charset, pieces[last].charset)) {
                ++last;
            }
            if (!appendWords(pieces, i, last, out)) {
                return false;
            }
        } else if (isUtf8(pieces[i].bytes)) {
            out += pieces[i].bytes;
        } else if (!appendUtf8(pieces[i].bytes, seen.firstCharset, out)) {
            return false;
        }
        i = last;
    }
    return true;
}

bool canStay(const std::vector<Piece>& pieces, const Survey& seen) {
    if (!seen.oneCharset) {
        return false;
    }
    const auto charset = findCharset(seen.firstCharset);
    if (charset == nullptr) {
        return true; // nothing can be converted anyway
    }
    if (charset->wide) {
        return false;
    }
    if (charset->asciiCompatible) {
        return seen.asciiText || rawTextIsIn(pieces, *charset, seen.firstCharset);
    }
    return seen.onlyWords && isReadable(joined(pieces), seen.firstCharset);
}

} // namespace

DecodedValue decodeWords(std::string_view rawValue) {
    std::string value = unfolded(rawValue);
    // Bytes that nobody can read would be read wrongly under the name of another charset.
    const std::vector<Piece> pieces = cut(value, wantedWords(value));
    if (pieces.empty()) {
        return {std::move(value), {}};
    }
    const Survey seen = survey(pieces);
    if (canStay(pieces, seen)) {
        return {joined(pieces), seen.firstCharset};
    }
    std::string text;
    if (toUtf8(pieces, seen, text)) {
        return {std::move(text), "utf-8"};
    }
    return {joined(pieces), seen.firstCharset};
}

} // namespace quzo::platform
