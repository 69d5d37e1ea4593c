// Tests of the structure scan: what it sees in messages written by hand, its limits, and its cost.
#include "platform/message/structure/structure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/message/structure/structure_lines.h"
#include "quzo/core/message.h"
#include "tests/message/random_messages.h"
#include "tests/message/structure_dump.h"
#include "tests/message/structure_samples.h"

namespace quzo::platform::test {

namespace {

constexpr Limits kNoLimits{0, 0, 0, 0, 0};

Structure scan(std::string_view text, const Limits& limits = {}) {
    return scanStructure(text, scanHeader(text, 0, text.size(), limits), limits);
}

// Lines that end with LF made to end with CRLF.
std::string withCrlf(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) {
            result += '\r';
        }
        result += text[i];
    }
    return result;
}

std::string replaceAll(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

class Samples : public testing::TestWithParam<StructureSample> {};

TEST_P(Samples, AreSeenAsTheyAre) {
    const StructureSample& sample = GetParam();
    const Structure structure = scan(sample.text);
    EXPECT_EQ(dumpStructure(sample.text, structure), sample.structure);
    EXPECT_EQ(brokenInvariant(sample.text, structure), "");
    EXPECT_FALSE(structure.limited);
}

TEST_P(Samples, AreSeenAlikeWithCrlf) {
    const std::string text = withCrlf(GetParam().text);
    const Structure structure = scan(text);
    EXPECT_EQ(replaceAll(dumpStructure(text, structure), "\\r\\n", "\\n"),
              replaceAll(std::string(GetParam().structure), "\\r\\n", "\\n"));
    EXPECT_EQ(brokenInvariant(text, structure), "");
}

// Mail is cut off in transit, and the scan must hold together wherever that happens.
TEST_P(Samples, HoldTogetherWhenCutOff) {
    for (const std::string& text : {std::string(GetParam().text), withCrlf(GetParam().text)}) {
        for (std::size_t size = 0; size < text.size(); ++size) {
            const std::string_view head = std::string_view(text).substr(0, size);
            ASSERT_EQ(brokenInvariant(head, scan(head)), "") << "cut at " << size;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Structure, Samples, testing::ValuesIn(structureSamples()), [](const auto& tested) {
    std::string name;
    for (const char c : std::string_view(tested.param.name)) {
        name += (c >= '0' && c <= '9') || (c >= 'A' && c <= 'z') ? c : '_';
    }
    return name;
});

TEST(Structure, OffsetsAreThoseOfTheText) {
    constexpr std::string_view text =
        "From x\nSubject : a\r\n b\nContent-Type: multipart/x; boundary=q\r\n\r\n"
        "--q\r\n\nbody\r\n\n--q--";
    const Structure structure = scan(text);
    ASSERT_EQ(structure.entities.size(), 2U);
    const EntitySpan& root = structure.entities[0];
    const EntitySpan& part = structure.entities[1];
    EXPECT_EQ(root.header.begin, 7U);
    ASSERT_EQ(root.header.fields.size(), 2U);
    EXPECT_EQ(root.header.fields[0].begin, 7U);
    EXPECT_EQ(root.header.fields[0].nameEnd, 14U);
    EXPECT_EQ(root.header.fields[0].valueBegin, 16U);
    EXPECT_EQ(root.header.fields[0].end, 23U);
    EXPECT_EQ(root.header.fields[1].begin, 23U);
    EXPECT_EQ(root.header.fields[1].end, 62U);
    EXPECT_EQ(root.header.end, 62U);
    EXPECT_EQ(root.header.bodyBegin, 64U);
    EXPECT_EQ(root.firstBoundary, 64U);
    EXPECT_EQ(part.header.begin, 69U);
    EXPECT_EQ(part.header.end, 69U);
    EXPECT_EQ(part.header.bodyBegin, 70U);
    EXPECT_EQ(part.bodyEnd, 76U); // the LF in front of the boundary is the boundary's, the CRLF is not
    EXPECT_EQ(root.closeDelimiter, 77U);
    EXPECT_EQ(root.bodyEnd, text.size());
    EXPECT_EQ(root.boundary.data(), text.data() + 66);
}

TEST(Structure, FieldsAreFoundByName) {
    constexpr std::string_view text = "To: a\nSUBJECT: b\nSubject: c\n\n";
    const HeaderSpan header = scanHeader(text, 0, text.size(), {});
    const FieldSpan* field = findField(text, header, "subject");
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(fieldName(text, *field), "SUBJECT");
    EXPECT_EQ(findField(text, header, "subjec"), nullptr);
    EXPECT_EQ(findField(text, header, "subjects"), nullptr);
}

TEST(Structure, HeaderScanKeepsToItsRange) {
    constexpr std::string_view text = "A: 1\nFrom x\nB: 2\nC: 3\n\n";
    const HeaderSpan header = scanHeader(text, 5, 17, {});
    ASSERT_EQ(header.fields.size(), 1U); // and no mbox line away from the start
    EXPECT_EQ(fieldName(text, header.fields[0]), "B");
    EXPECT_EQ(header.begin, 5U);
    EXPECT_EQ(header.bodyBegin, 17U);
}

// Finds the same as a search byte by byte, wherever in its blocks the line is.
TEST(StructureLines, FindsDashLinesAtEveryPlace) {
    const auto slowly = [](std::string_view text, std::size_t end) {
        for (std::size_t at = 0; at + 2 <= end; ++at) {
            if ((at == 0 || text[at - 1] == '\n') && text.substr(at, 2) == "--") {
                return at;
            }
        }
        return std::string_view::npos;
    };
    for (std::size_t size = 0; size < 300; ++size) {
        std::string text(size, '\n');
        for (std::size_t i = 2; i < size; i += 3) {
            text[i] = '-'; // no two of them in a row
        }
        ASSERT_EQ(findDashLine(text, 0, text.size()), std::string_view::npos) << size;
        for (std::size_t at = 0; at + 2 <= size; ++at) {
            std::string changed = text;
            changed.replace(at, 2, "--");
            ASSERT_EQ(findDashLine(changed, 0, size), slowly(changed, size)) << size << " " << at;
            ASSERT_EQ(findDashLine(changed, 0, at + 1), slowly(changed, at + 1)) << size << " " << at;
        }
    }
}

// ---- limits

std::string nested(std::size_t levels, bool close) {
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) {
        text += "Content-Type: multipart/mixed; boundary=b" + std::to_string(i) + "\n\n--b" +
                std::to_string(i) + "\n";
    }
    text += "\nbody\n";
    for (std::size_t i = close ? levels : 0; i-- > 0;) {
        text += "--b" + std::to_string(i) + "--\n";
    }
    return text;
}

TEST(StructureLimits, NestingEndsInALeaf) {
    const std::string text = nested(3, true);
    const Structure allowed = scan(text, {0, 0, 3, 0});
    EXPECT_FALSE(allowed.limited);
    EXPECT_EQ(allowed.entities.size(), 4U);

    const Structure cut = scan(text, {0, 0, 2, 0});
    EXPECT_TRUE(cut.limited);
    ASSERT_EQ(cut.entities.size(), 3U);
    EXPECT_EQ(cut.entities[2].type, kEntityLeaf);
    EXPECT_TRUE(cut.entities[2].cut);
    EXPECT_FALSE(cut.entities[1].cut);
    EXPECT_TRUE(cut.entities[1].closed);
    EXPECT_TRUE(cut.entities[0].closed);
    EXPECT_EQ(brokenInvariant(text, cut), "");
}

TEST(StructureLimits, NestingCountsMessages) {
    constexpr std::string_view text =
        "Content-Type: message/rfc822\n\nContent-Type: message/rfc822\n\nA: 1\n\nx";
    EXPECT_EQ(dumpStructure(text, scan(text, {0, 0, 1, 0})),
              "message [Content-Type]\n  leaf [Content-Type] \"A: 1\\n\\nx\" cut\n");
}

TEST(StructureLimits, PartsBeyondTheLimitAreLeftOut) {
    constexpr std::string_view text =
        "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; boundary=bb\n\n"
        "--bb\n\none\n--bb\n\ntwo\n--bb--\nepi\n--aa\n\nthree\n--aa--\nend\n";
    const Structure structure = scan(text, {0, 0, 0, 3});
    EXPECT_TRUE(structure.limited);
    EXPECT_EQ(dumpStructure(text, structure),
              "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"end\\n\" cut\n"
              "  multipart [Content-Type] boundary=bb preamble=\"\" epilogue=\"epi\" cut\n"
              "    leaf [] \"one\"\n");
    EXPECT_EQ(dumpStructure(text, scan(text, {0, 0, 0, 1})).substr(0, 21), "leaf [Content-Type] \"");
    EXPECT_FALSE(scan(text, {0, 0, 0, 5}).limited);
}

TEST(StructureLimits, HeaderBlockIsCutBetweenFields) {
    constexpr std::string_view text = "A: 1\nB: 2\n 3\nC: 4\n\nbody";
    struct Case {
        std::size_t limit;
        std::size_t fields;
        std::size_t bodyBegin;
        bool limited;
    };
    for (const Case& c : {Case{18, 3, 19, false}, Case{17, 2, 13, true}, Case{12, 1, 5, true},
                          Case{10, 1, 5, true}, Case{9, 1, 5, true}, Case{4, 0, 0, true}}) {
        const HeaderSpan header = scanHeader(text, 0, text.size(), {0, c.limit, 0, 0});
        EXPECT_EQ(header.fields.size(), c.fields) << c.limit;
        EXPECT_EQ(header.bodyBegin, c.bodyBegin) << c.limit;
        EXPECT_EQ(header.limited, c.limited) << c.limit;
        EXPECT_EQ(header.readable, !c.limited) << c.limit;
    }
}

TEST(StructureLimits, FieldsAreCounted) {
    constexpr std::string_view text =
        "A: 1\nContent-Type: multipart/mixed; boundary=aa\n\n--aa\nB: 2\nC: 3\n\none\n--aa\n\ntwo\n--aa--\n";
    struct Case {
        std::size_t limit;
        std::size_t entities;
        bool limited;
    };
    for (const Case& c :
         {Case{0, 3, false}, Case{5, 3, false}, Case{4, 2, true}, Case{3, 2, true}, Case{2, 1, true}}) {
        const Structure structure = scan(text, {0, 0, 0, 0, c.limit});
        EXPECT_EQ(structure.entities.size(), c.entities) << c.limit;
        EXPECT_EQ(structure.limited, c.limited) << c.limit;
    }
    const HeaderSpan header = scanHeader(text, 0, text.size(), {0, 0, 0, 0, 1});
    EXPECT_EQ(header.fields.size(), 1U);
    EXPECT_TRUE(header.limited);
    constexpr std::string_view folded = "A: 1\n 2\n\n";
    EXPECT_FALSE(scanHeader(folded, 0, folded.size(), {0, 0, 0, 0, 1}).limited);
}

TEST(StructureLimits, AnEntityWhoseHeaderIsCutIsALeaf) {
    const std::string text =
        "Content-Type: multipart/mixed; boundary=aa\nX: " + std::string(100, 'x') + "\n\n--aa\n\nx\n";
    const Structure structure = scan(text, {0, 80, 0, 0});
    ASSERT_EQ(structure.entities.size(), 1U);
    EXPECT_TRUE(structure.limited);
    EXPECT_TRUE(structure.entities[0].cut);
    EXPECT_EQ(structure.entities[0].type, kEntityLeaf);
}

// Whatever the order of the lines that matter to a structure.
TEST(StructureMuch, RandomMessagesHoldTogether) {
    Random random(7); // fixed: a failure must come again
    std::size_t parts = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string text =
            i % 2 == 0 ? randomPart(random, 0, i % 4 == 0 ? "\n" : "\r\n")
                       : "Content-Type: multipart/mixed; boundary=b\n\n--b\n" + randomPieces(random);
        const Structure structure = scan(text);
        ASSERT_EQ(brokenInvariant(text, structure), "") << testing::PrintToString(text);
        parts += structure.entities.size() - 1;
    }
    EXPECT_GT(parts, 20000U);
}

// tests/growth counts what this costs.
TEST(StructureMuch, BoundaryLinesAmongManyOpenBoundaries) {
    constexpr std::size_t kLevels = 10000;
    std::string text = nested(kLevels, false);
    for (std::size_t i = 0; i < 500000; ++i) {
        text += "--b" + std::to_string(i % kLevels) + "x\n";
    }
    text += "--b0--\n";
    const Structure structure = scan(text, kNoLimits);
    ASSERT_EQ(structure.entities.size(), kLevels + 1);
    EXPECT_TRUE(structure.entities[0].closed);
    EXPECT_EQ(structure.entities[kLevels].bodyEnd, text.size() - 8);
    EXPECT_EQ(scan(text, {}).entities.size(), Limits{}.nesting + 1);
}

} // namespace

} // namespace quzo::platform::test
