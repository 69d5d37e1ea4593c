// A second opinion: Python's mail package and codecs read what is written here.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "sample_texts.h"
#include "tests/places.h"

namespace {

namespace fs = std::filesystem;
using quzo::platform::convert;
using quzo::platform::encodeAsWords;
using quzo::platform::encodeWords;
using quzo::platform::Unmappable;

std::string hex(const std::string& bytes) {
    std::string out;
    char digits[3];
    for (const char c : bytes) {
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        out += digits;
    }
    return out.empty() ? "-" : out;
}

struct ClosePipe {
    void operator()(std::FILE* pipe) const { pclose(pipe); }
};

class Python : public testing::Test {
protected:
    void SetUp() override {
        if (run("python3 -c 'print(1)' 2>/dev/null") != "1\n") {
            GTEST_SKIP() << "python3 is not installed";
        }
        batch_ = fs::path(testing::TempDir()) / ("quzo-batch-" + std::to_string(::getpid()));
    }

    void TearDown() override {
        std::error_code ignored;
        fs::remove(batch_, ignored);
    }

    static std::string run(const std::string& command) {
        const std::unique_ptr<std::FILE, ClosePipe> pipe(popen(command.c_str(), "r"));
        std::string out;
        char buffer[4096];
        for (std::size_t got = 0; (got = std::fread(buffer, 1, sizeof buffer, pipe.get())) > 0;) {
            out.append(buffer, got);
        }
        return out;
    }

    // What Python says to the batch.
    std::string ask(const std::string& lines) {
        std::ofstream(batch_) << lines;
        return run("python3 '" + std::string(quzo::tests::sourceDir()) + "/tests/charset/read_back.py' '" +
                   batch_.string() + "' 2>&1");
    }

    static std::string utf8(const std::string& bytes, const std::string& charset) {
        std::string out;
        EXPECT_EQ(convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', out), 0) << charset;
        return out;
    }

private:
    fs::path batch_;
};

TEST_F(Python, ReadsEncodedWords) {
    std::string lines;
    for (const SampleText& sample : sampleTexts()) {
        const std::string text = utf8(sample.bytes, sample.charset);
        const std::string expected = hex(text);
        std::string written;
        ASSERT_EQ(encodeWords(sample.bytes, sample.charset.c_str(), 9, "\r\n", written), 0);
        lines += "H " + hex(written) + " " + expected + "\n";
        ASSERT_EQ(encodeAsWords(text, sample.charset.c_str(), written), 0);
        if (!written.empty() && written.find_first_of(" \t") != 0) {
            lines += "H " + hex(written) + " " + expected + "\n";
        }
    }
    EXPECT_EQ(ask(lines), "");
}

TEST_F(Python, ReadsNarrowCharsets) {
    std::string lines;
    std::size_t characters = 0;
    for (const char* charset :
         {"us-ascii", "iso-8859-1", "iso-8859-11", "tis-620", "gb2312", "gbk", "euc-kr"}) {
        for (unsigned unit = 0x20; unit < 0x10000; ++unit) {
            const std::string utf16 = {static_cast<char>(unit >> 8U), static_cast<char>(unit & 0xFFU)};
            std::string bytes;
            if (convert(utf16, "utf-16be", charset, Unmappable::Fail, '?', bytes) == 0) {
                lines += "T " + std::string(charset) + " " + hex(bytes) + "\n";
                ++characters;
            }
        }
    }
    EXPECT_GT(characters, 38000U); // 7,445 of GB 2312, 8,226 of KS X 1001, 21,791 of GBK, and the small ones
    EXPECT_EQ(ask(lines), "");
}

} // namespace
