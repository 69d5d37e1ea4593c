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

struct FoundWord {
    EncodedWord word;
    std::size_t begin = 0;
    std::shared_ptr<Charset> charset; // null: unknown
    bool nextToLast = false; // nothing but blanks, and no other charset, between it and the word before
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

bool haveSameCharset(const FoundWord& a, const FoundWord& b) {
    if (a.charset == nullptr || b.charset == nullptr) {
        return a.charset == b.charset && lowerCase(a.word.charset) == lowerCase(b.word.charset);
    }
    return a.charset == b.charset || isSameCharset(*a.charset, *b.charset);
}

Words findWords(std::string_view value) {
    std::size_t atMost = 0;
    for (std::size_t at = value.find("=?"); at != std::string_view::npos; at = value.find("=?", at + 2)) {
        ++atMost;
    }
    Words words;
    words.reserve(atMost); // a header of words alone must not cost a multiple of itself
    CharsetFinder charsets;
    for (std::size_t at = value.find("=?"); at != std::string_view::npos;) {
        FoundWord found;
        if (!readEncodedWord(value, at, found.word)) {
            at = value.find("=?", at + 1);
            continue;
        }
        found.begin = at;
        found.charset = charsets.find(found.word.charset);
        if (!words.empty()) {
            const std::size_t lastEnd = words.back().word.end;
            found.nextToLast =
                onlyBlanks(value.substr(lastEnd, at - lastEnd)) && haveSameCharset(words.back(), found);
        }
        at = value.find("=?", found.word.end);
        words.push_back(std::move(found));
    }
    return words;
}

bool canRead(const Words& words, std::size_t first, std::size_t last) {
    std::string bytes;
    for (std::size_t i = first; i < last; ++i) {
        appendWordBytes(words[i].word, bytes);
    }
    return isReadable(bytes, std::string(words[first].word.charset));
}

void markReadable(Words& words, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) {
        words[i].readable = true;
        words[i].joined = i > first;
    }
}

// Judges neighbours of one charset.
void judgeGroup(Words& words, std::size_t first, std::size_t last) {
    const Charset* charset = words[first].charset.get();
    if (charset == nullptr) {
        return;
    }
    const bool joins = !charset->orderByMark; // a mark in the middle of a text would be a character
    if ((joins || last - first == 1) && canRead(words, first, last)) {
        markReadable(words, first, last);
        return;
    }
    if (last - first == 1) {
        return;
    }
    for (std::size_t i = first; i < last; ++i) {
        words[i].readable = canRead(words, i, i + 1);
    }
    for (std::size_t i = first; joins && i < last; ++i) {
        const std::size_t begin = i;
        while (i < last && !words[i].readable) {
            ++i;
        }
        if (i - begin > 1 && canRead(words, begin, i)) {
            markReadable(words, begin, i);
        }
    }
}

// Calls `take` with the first word of each group of neighbours and the one behind the last.
template <typename Take>
void eachGroup(Words& words, Take&& take) {
    for (std::size_t first = 0; first < words.size();) {
        std::size_t last = first + 1;
        while (last < words.size() && words[last].nextToLast) {
            ++last;
        }
        take(words, first, last);
        first = last;
    }
}

Words judgedWords(std::string_view value) {
    Words words = findWords(value);
    eachGroup(words, judgeGroup);
    return words;
}

void wantAll(Words& words, std::size_t first, std::size_t last) {
    const Charset* charset = words[first].charset.get();
    markReadable(words, first, last);
    for (std::size_t i = first; charset != nullptr && charset->orderByMark && i < last; ++i) {
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
    eachGroup(words, wanted == CutWords::All ? wantAll : judgeGroup);
    std::vector<ValuePiece> pieces;
    std::size_t textBegin = 0;
    for (const FoundWord& found : words) {
        if (!found.readable) {
            continue;
        }
        const std::string_view text = value.substr(textBegin, found.begin - textBegin);
        if (!text.empty() && (pieces.empty() || !onlyBlanks(text))) {
            pieces.push_back({{}, std::string(text)});
        }
        if (!found.joined) {
            pieces.push_back({lowerCase(found.word.charset), {}});
        }
        appendWordBytes(found.word, pieces.back().bytes);
        textBegin = found.word.end;
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
            unreadable.push_back({found.begin, found.word.end, found.word.charset});
        }
    }
    return unreadable;
}

bool isReadable(std::string_view bytes, const std::string& charset) {
    std::string text;
    return convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', text) == kErrorNone;
}

} // namespace quzo::platform
