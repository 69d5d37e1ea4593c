// The structure scan against GMime: over messages written by hand, over random and over real ones.
#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/message/gmime_compare.h"
#include "tests/message/messages.h"
#include "tests/message/random_messages.h"
#include "tests/message/structure_samples.h"

namespace quzo::platform::test {

namespace {

// Sums up many comparisons.
class Tally {
public:
    void add(const std::string& name, std::string_view text) {
        const Comparison comparison = compareWithGmime(text);
        ++messages_;
        alike_ += comparison.any() ? 0 : 1;
        for (std::size_t i = 0; i < comparison.differences.size(); ++i) {
            counts_[i] += comparison.differences[i] == 0 ? 0 : 1;
        }
        for (const std::string& line : comparison.unexplained) {
            ADD_FAILURE() << name << ": " << line;
        }
    }

    std::size_t messages() const { return messages_; }
    std::size_t alike() const { return alike_; }
    std::size_t count(Difference difference) const { return counts_[static_cast<std::size_t>(difference)]; }

    void print() const {
        std::cout << messages_ << " messages, " << alike_ << " without any difference; messages with\n";
        for (std::size_t i = 0; i < counts_.size(); ++i) {
            if (counts_[i] != 0) {
                std::cout << "  " << counts_[i] << "\t" << kDifferences[i].name << ": " << kDifferences[i].why
                          << "\n";
            }
        }
    }

private:
    std::size_t messages_ = 0;
    std::size_t alike_ = 0;
    std::array<std::size_t, static_cast<std::size_t>(Difference::count)> counts_{};
};

std::string changeLineBreaks(const std::string& text, const char* lineBreak) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            result += lineBreak;
        } else if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') {
            result += text[i];
        }
    }
    return result;
}

class GmimeDifferential : public testing::Test {
protected:
    static void SetUpTestSuite() { g_mime_init(); }
    static void TearDownTestSuite() { g_mime_shutdown(); }
};

TEST_F(GmimeDifferential, SamplesInAnyLineBreakAndAtAnyLength) {
    Tally tally;
    for (const StructureSample& sample : structureSamples()) {
        for (const char* lineBreak : {"\n", "\r\n"}) {
            const std::string text = changeLineBreaks(std::string(sample.text), lineBreak);
            for (std::size_t size = 0; size <= text.size(); ++size) {
                tally.add(sample.name + (" cut at " + std::to_string(size)), text.substr(0, size));
            }
        }
    }
    tally.print();
    // The samples are there to be different, so every difference that needs no special size must occur.
    for (std::size_t i = 0; i < kDifferences.size(); ++i) {
        const auto difference = static_cast<Difference>(i);
        if (difference != Difference::longJunk && difference != Difference::bufferEdge &&
            difference != Difference::boundaryIsField) {
            EXPECT_GT(tally.count(difference), 0U) << kDifferences[i].name;
        }
    }
}

// The lines that matter to a structure, in any order.
TEST_F(GmimeDifferential, LinesInAnyOrder) {
    using namespace std::string_literals;
    const std::string lines[] = {"--aa\n",
                                 "--aa\n",
                                 "--aa--\n",
                                 "--bb\n",
                                 "--bb--\n",
                                 "--aa--bb\n",
                                 "--cc \n",
                                 "--a:a\n",
                                 "--\n",
                                 "Content-Type: multipart/mixed; boundary=aa\n",
                                 "Content-Type: multipart/mixed;\n boundary=bb\n",
                                 "Content-Type: multipart/mixed boundary=aa\n",
                                 "Content-Type: multipart/mixed; boundary=\"a:a\"\n",
                                 "Content-Type: multipart/mixed; boundary=\"aa--\"\n",
                                 "Content-Type: multipart/mixed; boundary=\"\"\n",
                                 "Content-Type: multipart/digest; boundary=cc\n",
                                 "Content-Type: message/rfc822\n",
                                 "Content-Type: text/plain\n",
                                 "Content-Transfer-Encoding: base64\n",
                                 "A: b\n",
                                 " x\n",
                                 ": x\n",
                                 "From a\n",
                                 "Co someone@example.com\n",
                                 "text\n",
                                 "text\0\0\n"s,
                                 "\r\n",
                                 "\n",
                                 "\n",
                                 "\n",
                                 "\n"};
    Tally tally;
    std::mt19937 random(7);
    for (int i = 0; i < 40000; ++i) {
        std::string text = random() % 4 == 0 ? "" : "Content-Type: multipart/mixed; boundary=aa\n\n";
        for (std::size_t count = 2 + random() % 20; count > 0; --count) {
            text += lines[random() % std::size(lines)];
        }
        if (random() % 4 == 0) {
            text.resize(text.size() - std::min<std::size_t>(text.size(), random() % 6));
        }
        tally.add(testing::PrintToString(text), text);
    }
    tally.print();
    EXPECT_GT(tally.alike(), 1000U) << "differences must not be all there is";
}

// GMime reads in blocks of 4096 bytes: whatever it is that stands across the end of one.
TEST_F(GmimeDifferential, HeadersAtTheEdgeOfABlock) {
    constexpr std::size_t kBlock = 4096;
    Tally tally;
    for (const char* inner : {"A: b\nC: d\n", "A: b\njunk and more\nC: d\n", "junk and more\n"}) {
        const std::string parts = std::string("--aa\nContent-Type: message/rfc822\n\n") + inner +
                                  "--aa\nContent-Type: text/plain\n\ntext\n--aa--\n";
        for (std::size_t at = kBlock - parts.size() - 4; at < kBlock + 4; ++at) {
            std::string text = "Content-Type: multipart/mixed; boundary=aa\n\n";
            text.append(at - text.size() - 1, 'x').append("\n").append(parts);
            tally.add(inner + std::to_string(at), text);
        }
    }
    tally.print();
    EXPECT_GT(tally.count(Difference::bufferEdge), 0U);
    EXPECT_GT(tally.alike(), 100U);
}

TEST_F(GmimeDifferential, RandomMessages) {
    Tally tally;
    Random random(20240229);
    for (int i = 0; i < 20000; ++i) {
        const char* lineBreak = i % 2 == 0 ? "\n" : "\r\n";
        std::string text = std::string("A: b") + lineBreak + randomPart(random, 0, lineBreak);
        if (i % 3 == 0) {
            text.resize(random() % text.size());
        }
        tally.add(testing::PrintToString(text), text);
    }
    tally.print();
    EXPECT_GT(tally.alike() * 10, tally.messages() * 5) << "differences must not be all there is";
}

TEST_F(GmimeDifferential, RealMessages) {
    const std::vector<std::string> messages = corpusMessages();
    if (messages.empty()) {
        GTEST_SKIP() << "no messages in " << quzo::tests::corpusDir();
    }
    Tally tally;
    for (const std::string& message : messages) {
        tally.add("message " + std::to_string(tally.messages()), message);
    }
    tally.print();
    EXPECT_GT(tally.alike() * 10, tally.messages() * 9) << "differences must stay the exception";
}

} // namespace

} // namespace quzo::platform::test
