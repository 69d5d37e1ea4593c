// Generated texts in many charsets, the same on every run.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct SampleText {
    std::string charset;
    std::string bytes; // without line breaks
    std::size_t firstColumn = 0;
};

// A few thousand of them: words and blanks in all arrangements, every length, texts that look like encoded
// words.
std::vector<SampleText> sampleTexts();

// The text in UTF-8; the bytes themselves without a charset, and when they are no text in it.
std::string utf8(const std::string& bytes, const std::string& charset);
