// What is known of an entry, as text: any bytes come back, and nothing that was not written so is read.
#include <nlohmann/json.hpp>

#include "platform/base/escaped_text.h"
#include "platform/base/utf8.h"
#include "quzo/core/error_text.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

const std::vector<std::string>& hostileTexts() {
    static const std::vector<std::string> texts = {
        "",
        "/../../etc/passwd",
        std::string("a\0b", 3),
        "line\r\nX-Other: line\n",
        std::string(10240, '/'),
        "\xE2\x80\xAE.fdp.exe",    // right-to-left override
        "\x1B[2J\x1B]0;title\x07", // terminal escapes
        "\xC2\x9B;31m",            // a one-character escape of some terminals
        "\xFF\xFE\x80 latin \xE9",
        "\\x41 \\\\ \\ \"quoted\"",
        "\xED\xA0\x80 \xC0\xAF", // a surrogate, an overlong slash
        "\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80",
        "{\"id\":\"X\"}",
    };
    return texts;
}

bool isPlain(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (c >= ' ' && c <= '~') || c == '\n'; });
}

TEST(QueueEntry, AnyTextComesBackAndTheFileIsPlain) {
    for (const std::string& hostile : hostileTexts()) {
        SCOPED_TRACE(escapedText(hostile.substr(0, 40)));
        EXPECT_TRUE(isUtf8(escapedText(hostile)));
        QueueEntry entry = entryNamed("AB-1");
        entry.sender = hostile;
        entry.recipients = {hostile, "b@example.com", hostile};
        entry.subject = entry.ruleName = entry.area = entry.reason = entry.previous = hostile;
        entry.rule = 4294967295U;
        entry.areaId = 0;
        entry.aging = 4294967295U;
        entry.due = kNow + 5;
        entry.size = std::uint64_t{1} << 40U;
        entry.route = QueueRoute{"mx.example.com", 65535};
        entry.tokens = {{0, hostile}, {69, "yes"}};
        entry.origin = QueueOrigin{hostile, "CD"};
        entry.attempts = 3;
        std::string text;
        ASSERT_EQ(encodeEntry(entry, text), 0);
        EXPECT_TRUE(isPlain(text));
        QueueEntry back;
        ASSERT_EQ(decodeEntry(text, back), 0);
        std::string again;
        ASSERT_EQ(encodeEntry(back, again), 0);
        EXPECT_EQ(text, again);
        EXPECT_EQ(back.sender, hostile);
        EXPECT_EQ(back.recipients, entry.recipients);
        EXPECT_EQ(back.tokens, entry.tokens);
        EXPECT_EQ(back.reason, hostile);
        EXPECT_EQ(back.origin->queue, hostile);
        EXPECT_EQ(back.aging, entry.aging);
        EXPECT_EQ(back.size, entry.size);
    }
}

TEST(QueueEntry, FieldsOfALaterVersionSurvive) {
    std::string text;
    QueueEntry entry = entryNamed("AB");
    ASSERT_EQ(encodeEntry(entry, text), 0);
    text.insert(1, R"("x_new":{"list":[1,2.5,null,"\u0000"]},"y_new":true,)");
    ASSERT_EQ(decodeEntry(text, entry), 0);
    entry.attempts = 1;
    ASSERT_EQ(encodeEntry(entry, text), 0);
    const auto json = nlohmann::json::parse(text);
    EXPECT_EQ(json["x_new"].dump(), R"({"list":[1,2.5,null,"\u0000"]})");
    EXPECT_EQ(json["y_new"], true);
    EXPECT_EQ(json["attempts"], 1);
}

struct BadText {
    const char* name;
    const char* path;  // of the field that is replaced
    const char* value; // JSON; null: the field is taken away
    int error;
};

TEST(QueueEntry, RefusesWhatWasNotWrittenSo) {
    const BadText rows[] = {
        {"no format", "/format", nullptr, kErrorMalformedText},
        {"later format", "/format", "2", kErrorNotSupported},
        {"no id", "/id", nullptr, kErrorMalformedText},
        {"path as id", "/id", "\"../AB\"", kErrorMalformedText},
        {"no sender", "/sender", nullptr, kErrorMalformedText},
        {"null sender", "/sender", "null", kErrorMalformedText},
        {"recipients as text", "/recipients", "\"a@b\"", kErrorMalformedText},
        {"recipient as number", "/recipients/0", "5", kErrorMalformedText},
        {"negative size", "/size", "-1", kErrorMalformedText},
        {"size as fraction", "/size", "1.5", kErrorMalformedText},
        {"size too large", "/size", "18446744073709551616", kErrorMalformedText},
        {"time before all", "/stored", "-1", kErrorMalformedText},
        {"time beyond all", "/stored", "9223372036854775807", kErrorMalformedText},
        {"rule too large", "/rule", "4294967296", kErrorMalformedText},
        {"aging as text", "/aging", "\"3\"", kErrorMalformedText},
        {"port 0", "/route/port", "0", kErrorMalformedText},
        {"port too large", "/route/port", "65536", kErrorMalformedText},
        {"no host", "/route/host", "\"\"", kErrorMalformedText},
        {"path as origin", "/origin/id", "\"A/B\"", kErrorMalformedText},
        {"bad token code", "/tokens", R"({"4x":"a"})", kErrorMalformedText},
        {"bad escape", "/reason", R"("\\q")", kErrorMalformedText},
        {"cut escape", "/reason", R"("\\xf")", kErrorMalformedText},
    };
    QueueEntry entry = entryNamed("AB");
    entry.rule = 1;
    entry.aging = 1;
    entry.route = QueueRoute{"h", 25};
    entry.origin = QueueOrigin{"quarantine", "CD"};
    entry.tokens = {{4, "1"}};
    entry.reason = "r";
    std::string text;
    ASSERT_EQ(encodeEntry(entry, text), 0);
    ASSERT_EQ(decodeEntry(text, entry), 0);
    for (const BadText& row : rows) {
        SCOPED_TRACE(row.name);
        auto json = nlohmann::json::parse(text);
        const nlohmann::json::json_pointer path(row.path);
        ASSERT_TRUE(json.contains(path));
        if (row.value == nullptr) {
            json.erase(std::string(row.path).substr(1));
        } else {
            json[path] = nlohmann::json::parse(row.value);
        }
        QueueEntry out;
        EXPECT_EQ(decodeEntry(json.dump(), out), row.error);
    }
}

TEST(QueueEntry, RefusesBrokenJson) {
    std::string text;
    ASSERT_EQ(encodeEntry(entryNamed("AB"), text), 0);
    QueueEntry out;
    for (std::size_t length = 0; length + 1 < text.size(); ++length) {
        EXPECT_EQ(decodeEntry(std::string_view(text).substr(0, length), out), kErrorMalformedText) << length;
    }
    EXPECT_EQ(decodeEntry(text + "{}", out), kErrorMalformedText);
    EXPECT_EQ(decodeEntry("[]", out), kErrorMalformedText);
    EXPECT_EQ(decodeEntry("{\"id\":\"XY\"," + text.substr(1), out), kErrorMalformedText) << "a field twice";
    EXPECT_EQ(decodeEntry("{\"x\":\"\xFF\"," + text.substr(1), out), kErrorMalformedText) << "no UTF-8";
    const std::string deep = std::string(1000000, '[') + std::string(1000000, ']');
    EXPECT_EQ(decodeEntry("{\"x\":" + deep + "," + text.substr(1), out), kErrorLimit);
    std::string nested = "1";
    for (int depth = 0; depth < 20; ++depth) {
        nested.insert(0, "{\"n\":").push_back('}');
    }
    EXPECT_EQ(decodeEntry("{\"x\":" + nested + "," + text.substr(1), out), kErrorLimit);
    EXPECT_EQ(decodeEntry(std::string(kMaxEntryText + 1, ' '), out), kErrorLimit);
}

TEST(QueueNames, TakesOurIdentifiersOnly) {
    const std::string long36(36, 'Z');
    for (const std::string& id : {std::string("AB"), long36, long36 + "-1", std::string("00-999999999")}) {
        EXPECT_TRUE(isQueueIdentifier(id)) << id;
    }
    for (const std::string& id :
         {std::string(), std::string("A"), long36 + "Z", std::string("ab"), std::string("A/B"),
          std::string(".."), std::string("AB-"), std::string("AB-0"), std::string("AB-01"),
          std::string("AB-1-2"), std::string("AB-1234567890"), std::string("A-1"), std::string("AB\0", 3),
          std::string("AB\n"), std::string("AB.DF"), std::string("AB-1x")}) {
        EXPECT_FALSE(isQueueIdentifier(id)) << escapedText(id);
    }
    std::map<char, int> firsts;
    for (unsigned i = 0; i < 3600; ++i) {
        const std::string id = identifier(i);
        ASSERT_TRUE(isQueueIdentifier(id));
        ++firsts[id[0]];
    }
    EXPECT_EQ(firsts.size(), 36U);
    for (const auto& [first, count] : firsts) {
        EXPECT_NEAR(count, 100, 50) << first;
    }
    EXPECT_NE(derivedIdentifier("quarantine", "AB"), derivedIdentifier("archive", "AB"));
}

} // namespace
} // namespace quzo::platform::test
