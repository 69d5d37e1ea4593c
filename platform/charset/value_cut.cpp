// Finding the words of a value and judging them. Neighbours of one charset are tried together first; where
// that gives no text, each for itself, and those that then remain once more with the neighbours that remain.
#include "platform/charset/value_cut.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "platform/charset/word_scan.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

// Small, since a header can be made of words alone; what the word holds is read again where it is needed.
struct FoundWord {
    std::size_t begin = 0;
    std::size_t end = 0;
    bool known = false;       // its charset
    bool orderByMark = false; // its charset tells the order of bytes by a mark
    bool nextToLast = false;  // nothing but blanks, and no other charset, between it and the word before
    bool readable = false;
    bool joined = false; // reads together with the word before it
};

using Words = std::vector<FoundWord>;

// Finds charsets. Words tend to name the one before them, and asking for one that is not known is dear.
class CharsetFinder {
public:
    std::shared_ptr<Charset> find(std::string_view name) {
        if (!unknown_.empty() && name == unknown_) {
            return nullptr;
        }
        if (last_ == nullptr || name != lastName_) {
            last_ = findCharset(name);
            lastName_ = name;
            unknown_ = last_ == nullptr ? name : unknown_;
        }
        return last_;
    }

private:
    std::shared_ptr<Charset> last_;
    std::string_view lastName_;
    std::string_view unknown_;
};

bool onlyBlanks(std::string_view text) { return text.find_first_not_of(" \t") == std::string_view::npos; }

std::string lowerCase(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return out;
}

EncodedWord wordAt(std::string_view value, const FoundWord& found) {
    EncodedWord word;
    readEncodedWord(value, found.begin, word);
    return word;
}

// The charset of a word, and how it spells it.
struct NamedCharset {
    std::string_view name;
    std::shared_ptr<Charset> charset; // null: unknown
};

bool isSame(const NamedCharset& a, const NamedCharset& b) {
    if (a.charset == nullptr || b.charset == nullptr) {
        return a.charset == b.charset && lowerCase(a.name) == lowerCase(b.name);
    }
    return a.charset == b.charset || isSameCharset(*a.charset, *b.charset);
}

Words findWords(std::string_view value) {
    Words words;
    CharsetFinder charsets;
    NamedCharset last;
    for (std::size_t at = value.find("=?"); at != std::string_view::npos;) {
        EncodedWord word;
        if (!readEncodedWord(value, at, word)) {
            at = value.find("=?", at + 1);
            continue;
        }
        FoundWord found;
        found.begin = at;
        found.end = word.end;
        NamedCharset named{word.charset, charsets.find(word.charset)};
        found.known = named.charset != nullptr;
        found.orderByMark = found.known && named.charset->orderByMark;
        if (!words.empty()) {
            const std::size_t lastEnd = words.back().end;
            found.nextToLast = onlyBlanks(value.substr(lastEnd, at - lastEnd)) && isSame(last, named);
        }
        last = std::move(named);
        words.push_back(found);
        at = value.find("=?", word.end);
    }
    return words;
}

bool canRead(std::string_view value, const Words& words, std::size_t first, std::size_t last) {
    std::string bytes;
    for (std::size_t i = first; i < last; ++i) {
        appendWordBytes(wordAt(value, words[i]), bytes);
    }
    return isReadable(bytes, std::string(wordAt(value, words[first]).charset));
}

void markReadable(Words& words, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) {
        words[i].readable = true;
        words[i].joined = i > first;
    }
}

// Judges neighbours of one charset.
void judgeGroup(std::string_view value, Words& words, std::size_t first, std::size_t last) {
    if (!words[first].known) {
        return;
    }
    const bool joins = !words[first].orderByMark; // a mark in the middle of a text would be a character
    if ((joins || last - first == 1) && canRead(value, words, first, last)) {
        markReadable(words, first, last);
        return;
    }
    if (last - first == 1) {
        return;
    }
    for (std::size_t i = first; i < last; ++i) {
        words[i].readable = canRead(value, words, i, i + 1);
    }
    for (std::size_t i = first; joins && i < last; ++i) {
        const std::size_t begin = i;
        while (i < last && !words[i].readable) {
            ++i;
        }
        if (i - begin > 1 && canRead(value, words, begin, i)) {
            markReadable(words, begin, i);
        }
    }
}

// Calls `take` with the first word of each group of neighbours and the one behind the last.
template <typename Take>
void eachGroup(std::string_view value, Words& words, Take&& take) {
    for (std::size_t first = 0; first < words.size();) {
        std::size_t last = first + 1;
        while (last < words.size() && words[last].nextToLast) {
            ++last;
        }
        take(value, words, first, last);
        first = last;
    }
}

Words judgedWords(std::string_view value) {
    Words words = findWords(value);
    eachGroup(value, words, judgeGroup);
    return words;
}

void wantAll(std::string_view /*value*/, Words& words, std::size_t first, std::size_t last) {
    markReadable(words, first, last);
    for (std::size_t i = first; words[first].orderByMark && i < last; ++i) {
        words[i].joined = false;
    }
}

} // namespace

std::string unfolded(std::string_view rawValue) {
    constexpr std::string_view around = " \t\r\n";
    const std::size_t begin = std::min(rawValue.find_first_not_of(around), rawValue.size());
    const std::string_view value = rawValue.substr(begin, rawValue.find_last_not_of(around) + 1 - begin);
    std::string out;
    out.reserve(value.size());
    for (std::size_t at = 0; at < value.size();) {
        const std::size_t lineBreak = std::min(value.find_first_of("\r\n", at), value.size());
        out.append(value.substr(at, lineBreak - at));
        at = lineBreak + 1;
    }
    return out;
}

std::vector<ValuePiece> cutValue(std::string_view value, CutWords wanted) {
    Words words = findWords(value);
    eachGroup(value, words, wanted == CutWords::All ? wantAll : judgeGroup);
    std::vector<ValuePiece> pieces;
    std::size_t textBegin = 0;
    for (const FoundWord& found : words) {
        if (!found.readable) {
            continue;
        }
        const EncodedWord word = wordAt(value, found);
        const std::string_view text = value.substr(textBegin, found.begin - textBegin);
        if (!text.empty() && (pieces.empty() || !onlyBlanks(text))) {
            pieces.push_back({{}, std::string(text)});
        }
        if (!found.joined) {
            pieces.push_back({lowerCase(word.charset), {}});
        }
        appendWordBytes(word, pieces.back().bytes);
        textBegin = found.end;
    }
    if (!pieces.empty() && textBegin < value.size()) {
        pieces.push_back({{}, std::string(value.substr(textBegin))});
    }
    return pieces;
}

std::vector<UnreadableWord> unreadableWords(std::string_view value) {
    std::vector<UnreadableWord> unreadable;
    for (const FoundWord& found : judgedWords(value)) {
        if (!found.readable) {
            unreadable.push_back({found.begin, found.end});
        }
    }
    return unreadable;
}

bool isReadable(std::string_view bytes, const std::string& charset) {
    std::string text;
    return convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', text) == kErrorNone;
}

} // namespace quzo::platform
