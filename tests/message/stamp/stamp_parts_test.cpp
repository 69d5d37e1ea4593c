// Which parts of a message are stamped, what stands beside them, and the notes on removed ones.
#include <gtest/gtest.h>

#include "quzo/core/msgu.h"
#include "stamp_support.h"

namespace quzo::platform::test {
namespace {

// "S" stands for the stamp where it must come.
TEST(Stamp, InWhichParts) {
    const std::string plain = "\nt\n%", html = "Content-Type: text/html\n\nh\n#",
                      image = "Content-Type: image/png\n\ni";
    const std::string own =
        "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n"
        "Content-Disposition: inline\n\nS";
    const std::string attached = "Content-Disposition: attachment\n\nt";
    const std::string message = "Content-Type: message/rfc822\n\nA: b\n\nt";
    const struct {
        const char* what;
        std::string wanted; // with % and # where text and HTML get theirs
    } rows[] = {
        {"alternatives", multi("alternative", "a", {plain, html})},
        {"in mixed", multi("mixed", "m", {multi("alternative", "a", {plain, html}), image, "\nfooter"})},
        {"related in alternative", multi("alternative", "a", {plain, multi("related", "r", {html, image})})},
        {"alternative in related in mixed",
         multi("mixed", "m",
               {multi("related", "r", {multi("alternative", "a", {plain, html}), image}), attached})},
        {"the start of a related part",
         multi("related; start=\"<x>\"", "r", {"\nnot me", "Content-ID: <x>\n" + html})},
        {"mixed in alternative",
         multi("alternative", "a",
               {plain, multi("mixed", "m", {html, image, "Content-Type: text/html\n\nno"})})},
        {"a calendar",
         multi("alternative", "a", {plain, html, "Content-Type: text/calendar\n\nBEGIN:VCALENDAR"})},
        {"an attachment first", multi("mixed", "m", {attached, plain})},
        {"a report", multi("report; report-type=delivery-status", "m",
                           {plain, "Content-Type: message/delivery-status\n\nA: b", message})},
        {"forwarded", multi("mixed", "m", {plain, message})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::string before = kHead + row.wanted, after = before;
        for (std::size_t at; (at = before.find_first_of("%#")) != std::string::npos;) {
            before.erase(at - 1, 2);
        }
        for (std::size_t at; (at = after.find_first_of("%#")) != std::string::npos;) {
            after.replace(at, 1, after[at] == '%' ? "S" : "<div>S</div>");
        }
        EXPECT_EQ(stamped(before, "S"), after);
    }
    const auto mixed = [&](const std::vector<std::string>& parts) {
        std::string out = multi("mixed", "m", parts);
        return kHead + out;
    };
    EXPECT_EQ(stamped(mixed({image, message}), "S"), mixed({image, message, own}));
    EXPECT_EQ(stamped(mixed({image}), "S", kFirst), mixed({own, image}));
    EXPECT_EQ(
        stamped(mixed({multi("signed", "s", {"\nt", "Content-Type: application/pgp-signature\n\nx"}), image}),
                "S"),
        mixed({multi("signed", "s", {"\nt", "Content-Type: application/pgp-signature\n\nx"}), own, image}));
}

TEST(Stamp, AroundWhatMustNotChange) {
    const std::string own =
        "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n"
        "Content-Disposition: inline\n\nS\n";
    const std::string bodies[] = {
        "Content-Type: application/pkcs7-mime; smime-type=enveloped-data\n\nMIIB\n",
        multi("signed", "s", {"\nt", "Content-Type: application/pgp-signature\n\nx"}),
        multi("encrypted", "e", {"Content-Type: application/pgp-encrypted\n\nVersion: 1", "\nx"}),
        "Content-Type: text/plain\n\n-----BEGIN PGP SIGNED MESSAGE-----\n\nt\n",
        "Content-Type: image/png\nContent-Transfer-Encoding: base64\n\niVBO\n",
        "Content-Type: text/calendar\n\nBEGIN:VCALENDAR\n",
        "Content-Type: text/plain\nContent-Transfer-Encoding: x-odd\n\nt\n",
        "Content-Type: text/plain\nContent-Transfer-Encoding: base64\n\nthis is no base64\n",
    };
    for (const std::string& body : bodies) {
        SCOPED_TRACE(body);
        // The message's own fields, then the two parts.
        const auto wrapped = [](const std::string& first, const std::string& second) {
            std::string out = kHead + "Content-Type: multipart/mixed; boundary=\"NEW\"\n\n--NEW\n";
            return out.append(first).append("--NEW\n").append(second).append("--NEW--\n");
        };
        std::string bytes = kHead;
        bytes += body;
        std::string whole = body;
        whole += '\n';
        EXPECT_EQ(stamped(bytes, "S"), wrapped(whole, own));
        EXPECT_EQ(stamped(bytes, "S", kFirst), wrapped(own, whole));
    }
}

TEST(Stamp, ABoundaryNeverStandsInIt) {
    const std::string bytes = kHead + multi("mixed", "b", {"\nt\n"});
    EXPECT_EQ(
        stamped(bytes, "--b\nA: x\n\nforged"),
        kHead + multi("mixed", "b", {"Content-Transfer-Encoding: base64\n\ndAotLWIKQTogeAoKZm9yZ2VkCg==\n"}));
}

TEST(Stamp, SeesWhatTheFormerOneDid) {
    const auto message = parsed(text("text/plain", "b\n"));
    EXPECT_EQ(stamp(*message, "one"), kErrorNone);
    EXPECT_EQ(stamp(*message, "two"), kErrorNone);
    EXPECT_EQ(stamp(*message, "first", kFirst), kErrorNone);
    EXPECT_EQ(written(*message), text("text/plain", "first\nb\none\ntwo\n"));
    const auto image = parsed(kHead + "Content-Type: image/png\n\ni\n");
    EXPECT_EQ(stamp(*image, "one"), kErrorNone);
    EXPECT_EQ(stamp(*image, "two"), kErrorNone);
    EXPECT_NE(written(*image).find("\n\none\ntwo\n--"), std::string::npos) << written(*image);
    EXPECT_FALSE(parsed("A: b\n\nx\n")->changed());
}

TEST(Stamp, OnceInAThread) {
    constexpr Ask kOnce{2, "utf-8", true};
    const std::string stampText = "Confidential: do not\nforward \u00E9";
    const std::string seen[] = {
        text("text/plain; charset=utf-8", "> Confidential: do\n> not forward \u00E9\n", "8bit"),
        text("text/html", "<blockquote>Confidential:&nbsp;do <b>not</b><br>forward &eacute;</blockquote>\n"),
        text("text/plain; charset=utf-8", "Q29uZmlkZW50aWFsOiBkbyBub3QgZm9yd2FyZCDDqQ==\n", "base64"),
    };
    for (const std::string& bytes : seen) {
        EXPECT_EQ(stamped(bytes, stampText, kOnce), bytes);
        EXPECT_NE(stamped(bytes, stampText), bytes);
    }
    const std::string other =
        text("text/html", "<!-- Confidential: do not forward &eacute; --><p>Confidential</p>\n");
    EXPECT_NE(stamped(other, stampText, kOnce), other);
}

TEST(Stamp, Refusals) {
    const struct {
        std::string bytes;
        Limits limits;
        int error;
    } rows[] = {
        {"no header\n\nx\n", Limits(), kErrorMalformedEntity},
        {kHead + multi("mixed", "m", {"\na", "\nb"}), Limits{.parts = 2}, kErrorLimit},
        {kHead + "Content-Type: image/png\n\ni\n", Limits{.parts = 1}, kErrorLimit},
    };
    for (const auto& row : rows) {
        const auto message = MailMessage::parse(row.bytes, row.limits);
        EXPECT_EQ(stamp(*message, "S"), row.error) << row.bytes;
        EXPECT_FALSE(message->changed());
    }
    EXPECT_EQ(parsed("A: b\n\nx\n")->insertStamp(1, nullptr, 20, "utf-8", nullptr), kErrorInvalidArgument);
}

TEST(RemovalNote, StandsInThePlaceOfThePart) {
    const std::string file =
        "Content-Type: application/x; name=\"a.exe\"\nContent-Transfer-Encoding: base64\n\nYWJj";
    const std::string note =
        "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n"
        "Content-Disposition: inline\n\na.exe (application/x, 3 bytes) removed";
    const struct {
        const char* what;
        std::string bytes, wanted;
        int entity;
    } rows[] = {
        {"in mixed", kHead + multi("mixed", "m", {"\nt", file, "\nu"}),
         kHead + multi("mixed", "m", {"\nt", note, "\nu"}), 2},
        {"the only part", kHead + multi("mixed", "m", {file}), kHead + multi("mixed", "m", {note}), 1},
        {"not among alternatives", kHead + multi("alternative", "m", {"\nt", file}),
         kHead + multi("alternative", "m", {"\nt"}), 2},
        {"the root", kHead + file,
         kHead + "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n\n"
                 "a.exe (application/x, 3 bytes) removed",
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const auto message = parsed(row.bytes);
        message->setRemovalNote("%NAME% (%TYPE%, %SIZE% bytes) removed");
        KvMsgEntity* entity = message->getRootEntity();
        for (int i = 0; i < row.entity; ++i) {
            entity = entity->getNext();
        }
        EXPECT_TRUE(msgu::removeEntityAndDummyParent(entity, ""));
        EXPECT_EQ(written(*message), row.wanted);
        EXPECT_EQ(msgu::existEntity(message.get(), entity), row.entity == 0);
    }
}

} // namespace
} // namespace quzo::platform::test
