// A second opinion: Python's mail package and codecs read what is written here, and the subjects of real mail
// read alike.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "sample_texts.h"
#include "tests/places.h"

namespace {

namespace fs = std::filesystem;
using quzo::platform::convert;
using quzo::platform::decodeWords;
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

TEST_F(Python, ReadsRealSubjectsAlike) {
    const fs::path mail = fs::path(quzo::tests::corpusDir()) / "mail";
    if (!fs::is_directory(mail)) {
        GTEST_SKIP() << "no corpus at " << quzo::tests::corpusDir();
    }
    std::vector<std::string> values;
    std::string lines;
    for (const auto& file : fs::directory_iterator(mail)) {
        std::ifstream stream(file.path(), std::ios::binary);
        std::string line;
        bool inSubject = false;
        std::string value;
        while (std::getline(stream, line) && !line.empty() && line != "\r") {
            const bool folded = line[0] == ' ' || line[0] == '\t';
            if (inSubject && !folded) {
                break;
            }
            if (inSubject || line.rfind("Subject:", 0) == 0) {
                value += (inSubject ? line : line.substr(8)) + "\n";
                inSubject = true;
            }
        }
        if (value.find("=?") != std::string::npos) {
            lines += "S " + hex(value) + "\n";
            values.push_back(value);
        }
    }
    std::istringstream answers(ask(lines));
    std::size_t compared = 0;
    for (const std::string& value : values) {
        std::string answer;
        ASSERT_TRUE(std::getline(answers, answer));
        if (answer == "?") {
            continue;
        }
        const auto decoded = decodeWords(value);
        const std::string text =
            decoded.charset.empty() ? decoded.bytes : utf8(decoded.bytes, decoded.charset);
        // Python keeps the blanks at the field's ends.
        const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
        const std::size_t end = text.find_last_not_of(" \t") + 1;
        EXPECT_EQ("=" + hex(text.substr(begin, end - begin)), answer) << value;
        ++compared;
    }
    EXPECT_GT(compared, 40U) << "of " << values.size();
}

} // namespace
