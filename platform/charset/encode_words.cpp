// Writing a field value with encoded words.
//
// The value is cut into characters by its charset's converter, which also proves that it is text; a word
// then takes the bytes of whole characters as they stand, so bytes that two codes share come back unchanged.
// Only iso-2022-jp is written anew for each word, since a word has to begin and end in ASCII.
//
// Blanks between a plain word and an encoded one are part of the text, blanks between two encoded words are
// not; so neighbours that both need encoding become one run with their blanks inside, and so do blanks at
// either end of the value, which unfolding would lose.
//
// Words that nobody could read when the value was decoded are part of it as they were written. They are left
// alone: encoding them again would take them from a reader who knows more charsets.
#include <algorithm>
#include <vector>

#include "platform/base/utf8.h"
#include "platform/charset/char_text.h"
#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "platform/charset/value_cut.h"
#include "platform/charset/word_writer.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

constexpr std::size_t kMaxPlainRun = 900; // a longer one would make a line that SMTP does not carry
constexpr std::size_t kMaxBlankRun = 60;

using UnreadableWords = std::vector<UnreadableWord>;

// The words in the text that decoding leaves as they are written, counted in characters of the text.
UnreadableWords wordsToLeave(const CharText& text, std::string& plain) {
    plain.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        plain += text.plain(i);
    }
    UnreadableWords words = unreadableWords(plain);
    // What holds more than printable ASCII cannot stand in a field as it is.
    const auto holdsOther = [&plain](const UnreadableWord& word) {
        return std::string_view(plain).substr(word.begin, word.end - word.begin).find('\0') !=
               std::string_view::npos;
    };
    words.erase(std::remove_if(words.begin(), words.end(), holdsOther), words.end());
    return words;
}

// Cuts the text at blanks outside of the words to leave.
class RunCutter {
public:
    RunCutter(const CharText& text, const UnreadableWords& left) : text_(text), left_(left) {}

    // The next run; not to be called at the end of the text.
    WordRun next() {
        WordRun run;
        run.blanks = at_;
        while (!atEnd() && text_.isBlank(at_)) {
            ++at_;
        }
        run.begin = at_;
        while (!atEnd() && !text_.isBlank(at_)) {
            if (next_ < left_.size() && left_[next_].begin == at_) {
                at_ = left_[next_++].end;
                continue;
            }
            const bool word =
                text_.plain(at_) == '=' && at_ + 1 < text_.size() && text_.plain(at_ + 1) == '?';
            run.encode = run.encode || word || text_.plain(at_) == '\0';
            ++at_;
        }
        run.end = at_;
        run.encode = run.encode || run.end - run.begin > kMaxPlainRun;
        return run;
    }

    bool atEnd() const { return at_ == text_.size(); }

private:
    const CharText& text_;
    const UnreadableWords& left_;
    std::size_t at_ = 0;
    std::size_t next_ = 0; // of the words to leave
};

std::vector<WordRun> cutRuns(const CharText& text, const UnreadableWords& left) {
    std::vector<WordRun> runs;
    RunCutter cutter(text, left);
    while (!cutter.atEnd()) {
        WordRun run = cutter.next();
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

// What becomes of text that need not be encoded.
enum class Plain {
    Kept,
    KeptAlone, // encoded as well as soon as anything beside it is
    Encoded,
};

// What is written, and how.
struct Job {
    const CharText& text;
    const Charset& charset;
    std::string_view name; // of the charset, as the caller spells it
    Plain plain;
    const LineLayout& layout;
};

int write(const Job& job, const UnreadableWords& left, std::string& out) {
    std::vector<WordRun> runs = cutRuns(job.text, left);
    takeOuterBlanks(runs);
    const bool encodes = job.plain == Plain::Encoded ||
                         std::any_of(runs.begin(), runs.end(), [](const WordRun& run) { return run.encode; });
    if (job.plain != Plain::Kept && encodes) {
        runs = {WordRun{0, 0, job.text.size(), true}};
    } else {
        runs = joinRuns(runs);
    }
    const std::string label = wordLabel(job.charset, job.name);
    if (encodes && (label.empty() || label.size() > WordWriter::kMaxLabel)) {
        return kErrorUnmappable; // no word can say which charset it is
    }
    out.clear();
    WordWriter writer(job.text, job.charset, label, job.layout, out);
    for (const WordRun& run : runs) {
        if (!writer.write(run)) {
            return kErrorUnmappable;
        }
    }
    return kErrorNone;
}

// Whether decoding what was written gives the value.
bool readsBack(const std::string& written, std::string_view value, std::string_view name) {
    const DecodedValue back = decodeWords(written);
    const std::string charset(name);
    const char* backCharset = back.charset.empty() ? "us-ascii" : back.charset.c_str();
    std::string text;
    std::string backText;
    return convert(value, charset.c_str(), "utf-8", Unmappable::Fail, '?', text) == kErrorNone &&
           convert(back.bytes, backCharset, "utf-8", Unmappable::Fail, '?', backText) == kErrorNone &&
           text == backText;
}

int write(std::string_view value, Charset& charset, std::string_view name, Plain plain,
          const LineLayout& layout, std::string& out) {
    CharText text;
    const int unreadable = text.read(value, charset);
    if (unreadable != kErrorNone) {
        return unreadable;
    }
    const Job job{text, charset, name, plain, layout};
    std::string image;
    const UnreadableWords left = plain == Plain::Kept ? wordsToLeave(text, image) : UnreadableWords();
    const int error = write(job, left, out);
    // Words that are cut in the middle of a character may be completed by what now stands next to them.
    return error != kErrorNone || left.empty() || readsBack(out, value, name) ? error : write(job, {}, out);
}

// Whether words can say such text: not in charsets of two or four bytes a character, nor with shift sequences
// other than those of iso-2022-jp.
bool fitsWords(const Charset& charset) {
    return charset.kind == Charset::Kind::Iso2022Jp || !(charset.wide || charset.stateful);
}

int writeAsUtf8(std::string_view utf8, Plain plain, const LineLayout& layout, std::string& out) {
    const auto charset = findCharset(std::string_view("utf-8"));
    return charset == nullptr ? int{kErrorUnknownCharset}
                              : write(utf8, *charset, "utf-8", plain, layout, out);
}

} // namespace

int encodeWords(std::string_view value, const char* charset, std::size_t firstColumn,
                std::string_view lineBreak, std::string& out) {
    const LineLayout layout{firstColumn, lineBreak};
    const auto source = findCharset(charset);
    if (source == nullptr) {
        return kErrorUnknownCharset;
    }
    if (value.size() > kMaxEncodedValue) {
        return kErrorLimit;
    }
    if (source->wide && isAscii(value) && value.find('\0') == std::string_view::npos) {
        return writeAsUtf8(value, Plain::Kept, layout, out);
    }
    if (fitsWords(*source)) {
        const int error = write(value, *source, charset, Plain::Kept, layout, out);
        if (error != kErrorUnmappable) {
            return error;
        }
    }
    std::string utf8;
    const int error = convert(value, charset, "utf-8", Unmappable::Fail, '?', utf8);
    return error != kErrorNone ? error : writeAsUtf8(utf8, Plain::Kept, layout, out);
}

int encodeAsWords(std::string_view utf8, const char* charset, std::string& out) {
    const auto target = findCharset(charset);
    if (target == nullptr) {
        return kErrorUnknownCharset;
    }
    if (utf8.size() > kMaxEncodedValue) {
        return kErrorLimit;
    }
    const Plain plain =
        utf8.find_first_of("\"\\\t") == std::string_view::npos ? Plain::KeptAlone : Plain::Encoded;
    std::string text;
    if (fitsWords(*target) && convert(utf8, "utf-8", charset, Unmappable::Fail, '?', text) == kErrorNone &&
        write(text, *target, charset, plain, {}, out) == kErrorNone) {
        return kErrorNone;
    }
    return writeAsUtf8(utf8, plain, {}, out);
}

} // namespace quzo::platform
