// Writing a field value with encoded words.
//
// The value is cut into characters by its charset's converter, which also proves that it is text; a word
// then takes the bytes of whole characters as they stand, so bytes that two codes share come back unchanged.
// Only iso-2022-jp is written anew for each word, since a word has to begin and end in ASCII.
//
// Blanks between a plain word and an encoded one are part of the text, blanks between two encoded words are
// not; so neighbours that both need encoding become one run with their blanks inside, and so do blanks at
// either end of the value, which unfolding would lose.
#include <algorithm>
#include <vector>

#include "platform/base/utf8.h"
#include "platform/charset/char_text.h"
#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "platform/charset/word_writer.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

constexpr std::size_t kMaxPlainRun = 900; // a longer one would make a line that SMTP does not carry
constexpr std::size_t kMaxBlankRun = 60;

// Whether [begin, end), which has no blanks, has to be encoded for what is in it.
bool needsEncoding(const CharText& text, std::size_t begin, std::size_t end) {
    if (end - begin > kMaxPlainRun) {
        return true;
    }
    for (std::size_t i = begin; i < end; ++i) {
        if (text.plain(i) == '\0' || (text.plain(i) == '=' && i + 1 < end && text.plain(i + 1) == '?')) {
            return true;
        }
    }
    return false;
}

std::vector<WordRun> cutRuns(const CharText& text) {
    std::vector<WordRun> runs;
    std::size_t at = 0;
    while (at < text.size()) {
        WordRun run;
        run.blanks = at;
        while (at < text.size() && text.isBlank(at)) {
            ++at;
        }
        run.begin = at;
        while (at < text.size() && !text.isBlank(at)) {
            ++at;
        }
        run.end = at;
        run.encode = needsEncoding(text, run.begin, run.end);
        if (!runs.empty() && run.begin - run.blanks > kMaxBlankRun) {
            run.encode = true; // together with its neighbour, so that the blanks go inside
            runs.back().encode = true;
        }
        runs.push_back(run);
    }
    return runs;
}

// Blanks at the ends of the value go into an encoded run.
void takeOuterBlanks(std::vector<WordRun>& runs) {
    if (runs.empty()) {
        return;
    }
    if (runs.front().begin != runs.front().blanks) {
        runs.front().begin = runs.front().blanks;
        runs.front().encode = true;
    }
    const WordRun last = runs.back();
    if (runs.size() > 1 && last.begin == last.end) { // the value ends in blanks
        runs.pop_back();
        runs.back().end = last.end;
        runs.back().encode = true;
    }
}

// Joins neighbours that are both encoded. Of several blanks between an encoded and a plain run all but one
// are encoded, since readers may take several for one.
std::vector<WordRun> joinRuns(const std::vector<WordRun>& runs) {
    std::vector<WordRun> joined;
    for (WordRun run : runs) {
        if (!joined.empty()) {
            WordRun& before = joined.back();
            if (run.encode && before.encode) {
                before.end = run.end;
                continue;
            }
            if (run.encode && run.begin - run.blanks > 1) {
                run.begin = run.blanks + 1;
            } else if (before.encode && run.begin - run.blanks > 1) {
                run.blanks = run.begin - 1;
                before.end = run.blanks;
            }
        }
        joined.push_back(run);
    }
    return joined;
}

// The name to put into the words: the caller's own if it may stand there.
std::string wordLabel(const Charset& charset, std::string_view name) {
    const bool token = name.find_first_of(".:()") == std::string_view::npos;
    return token ? std::string(name) : charset.mimeName;
}

enum class Plain { Kept, Encoded };

int write(std::string_view value, Charset& charset, std::string_view name, Plain plain,
          const LineLayout& layout, std::string& out) {
    CharText text;
    const int error = text.read(value, charset);
    if (error != kErrorNone) {
        return error;
    }
    std::vector<WordRun> runs = cutRuns(text);
    takeOuterBlanks(runs);
    const bool allPlain =
        std::none_of(runs.begin(), runs.end(), [](const WordRun& run) { return run.encode; });
    if (plain == Plain::Encoded && !allPlain) {
        runs = {WordRun{0, 0, text.size(), true}};
    } else {
        runs = joinRuns(runs);
    }
    const std::string label = wordLabel(charset, name);
    if (!allPlain && (label.empty() || label.size() > WordWriter::kMaxLabel)) {
        return kErrorUnknownCharset;
    }
    WordWriter writer(text, charset, label, layout, out);
    for (const WordRun& run : runs) {
        if (!writer.write(run)) {
            return kErrorUnmappable;
        }
    }
    return kErrorNone;
}

int writeAsUtf8(std::string_view value, const char* charset, Plain plain, const LineLayout& layout,
                std::string& out) {
    std::string converted;
    const int error = convert(value, charset, "utf-8", Unmappable::Fail, '?', converted);
    const auto utf8 = findCharset(std::string_view("utf-8"));
    if (error != kErrorNone || utf8 == nullptr) {
        return error != kErrorNone ? error : static_cast<int>(kErrorUnknownCharset);
    }
    out.clear();
    return write(converted, *utf8, "utf-8", plain, layout, out);
}

int encode(std::string_view value, const char* name, Plain plain, const LineLayout& layout,
           std::string& out) {
    out.clear();
    const auto charset = findCharset(name);
    if (charset == nullptr) {
        return kErrorUnknownCharset;
    }
    if (value.size() > kMaxEncodedValue) {
        return kErrorLimit;
    }
    if (charset->wide && isAscii(value) && value.find('\0') == std::string_view::npos) {
        return writeAsUtf8(value, "utf-8", plain, layout, out);
    }
    if (charset->kind == Charset::Kind::Iso2022Jp || !(charset->wide || charset->stateful)) {
        const int error = write(value, *charset, name, plain, layout, out);
        if (error != kErrorUnmappable) {
            return error;
        }
    }
    return writeAsUtf8(value, name, plain, layout, out);
}

} // namespace

int encodeWords(std::string_view value, const char* charset, std::size_t firstColumn,
                std::string_view lineBreak, std::string& out) {
    return encode(value, charset, Plain::Kept, {firstColumn, lineBreak}, out);
}

int encodeAsWords(std::string_view value, const char* charset, std::string& out) {
    return encode(value, charset, Plain::Encoded, {}, out);
}

} // namespace quzo::platform
