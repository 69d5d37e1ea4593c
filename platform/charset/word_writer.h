// Laying out plain and encoded words in the lines of a header field.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/charset/char_text.h"
#include "platform/charset/charset.h"

namespace quzo::platform {

// Characters [begin, end) of the text, and the blanks [blanks, begin) before them, which are text as well.
struct WordRun {
    std::size_t blanks = 0;
    std::size_t begin = 0;
    std::size_t end = 0;
    bool encode = false;
};

struct LineLayout {
    std::size_t firstColumn = 0;
    std::string_view lineBreak; // empty: nothing is folded
};

class WordWriter {
public:
    static constexpr std::size_t kMaxLine = 76;
    static constexpr std::size_t kMaxWord = 75;
    static constexpr std::size_t kFrame = 7; // "=?", "?B?" and "?="
    // Room for one character: four bytes in Q, or two with both shift sequences in B.
    static constexpr std::size_t kLeastText = 12;
    static constexpr std::size_t kMaxLabel = kMaxWord - kFrame - kLeastText;

    // Everything is kept by reference and must outlive the writer. Appends to `out`.
    WordWriter(const CharText& text, const Charset& charset, std::string_view label, const LineLayout& layout,
               std::string& out);

    // Writes the next run. False when the charset's writer has no code for a character of it.
    bool write(const WordRun& run);

private:
    void writePlain(const WordRun& run);
    bool writeEncoded(const WordRun& run);
    std::size_t writeWord(const WordRun& run, std::size_t at, std::size_t textRoom, bool base64);
    std::size_t takeIso2022(const WordRun& run, std::size_t at, std::size_t textRoom,
                            std::string& bytes) const;
    std::size_t takeBytes(const WordRun& run, std::size_t at, std::size_t textRoom, bool base64) const;
    bool usesBase64(const WordRun& run) const;
    bool isWorthStarting(const WordRun& run, std::size_t at, std::size_t textRoom, bool base64) const;
    std::size_t textRoom(std::size_t blanks) const;
    void appendPlain(std::size_t begin, std::size_t end);
    void append(std::string_view piece);
    void fold();
    bool folds() const { return !lineBreak_.empty(); }

    const CharText& text_;
    const Charset& charset_;
    std::string_view label_;
    std::string_view lineBreak_;
    std::string& out_;
    std::size_t column_; // characters on the current line
};

} // namespace quzo::platform
