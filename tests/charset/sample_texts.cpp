#include "sample_texts.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/charset/converter.h"

namespace {

// What a text in a charset is put together from, in UTF-8.
struct Alphabet {
    const char* charset;
    std::vector<std::string> characters;
};

const std::vector<Alphabet>& alphabets() {
    static const std::vector<Alphabet> all = {
        {"utf-8", {"é", "日", "😀", "ß", "\u200D", "\u00A0", "Ж"}},
        {"iso-8859-2", {"ž", "č", "Ł", "ö", "\u00AD"}},
        {"iso-2022-jp", {"日", "本", "か", "ー"}},
        {"euc-kr", {"가", "한", "글", "中"}},
        {"shift_jis", {"日", "表", "ソ", "ｱ", "能"}}, // some have a backslash as second byte
        {"gb18030", {"中", "文", "丂", "é", "😀", "\u200D"}},
        {"big5", {"中", "功", "許", "蓋"}},
        {"koi8-r", {"Ж", "т", "ё", "─"}},
    };
    return all;
}

std::string makeText(const Alphabet& alphabet, std::mt19937& random) {
    static const std::vector<std::string> pieces = {" ", " ",   " ",  "  ",           "\t", "word",
                                                    "x", "=?",  "?=", "=?utf8?q?b?=", "=",  "?",
                                                    "_", "=20", "\"", "(a)",          "\\", "a@b.example"};
    const auto below = [&](std::size_t bound) { return static_cast<std::size_t>(random() % bound); };
    const std::size_t length = below(4) == 0 ? below(200) : below(14);
    const std::size_t share = 1 + below(4); // of plain pieces
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        text += below(4) < share ? pieces[below(pieces.size())]
                                 : alphabet.characters[below(alphabet.characters.size())];
    }
    return text;
}

} // namespace

std::vector<SampleText> sampleTexts() {
    using quzo::platform::convert;
    using quzo::platform::Unmappable;
    std::mt19937 random(20240501);
    std::vector<SampleText> samples;
    for (const Alphabet& alphabet : alphabets()) {
        for (int i = 0; i < 400; ++i) {
            SampleText sample{alphabet.charset, {}, i % 5 == 0 ? 30U + static_cast<unsigned>(i % 40) : 9U};
            const std::string text = makeText(alphabet, random);
            EXPECT_EQ(convert(text, "utf-8", alphabet.charset, Unmappable::Fail, '?', sample.bytes), 0)
                << text;
            samples.push_back(std::move(sample));
        }
        SampleText longRun{alphabet.charset, {}, 9};
        const std::string text = std::string(2000, 'x') + std::string(1500, ' ') + alphabet.characters[0];
        EXPECT_EQ(convert(text, "utf-8", alphabet.charset, Unmappable::Fail, '?', longRun.bytes), 0);
        samples.push_back(std::move(longRun));
    }
    return samples;
}

std::string utf8(const std::string& bytes, const std::string& charset) {
    using namespace quzo::platform;
    std::string out;
    const bool known =
        !charset.empty() && convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', out) == 0;
    return known ? out : bytes;
}
