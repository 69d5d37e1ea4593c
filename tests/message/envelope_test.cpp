// The envelope: which texts are addresses, and how lists change.
#include <gtest/gtest.h>

#include "messages.h"
#include "platform/base/identifiers.h"
#include "platform/message/values/mailbox.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"

#include <set>

namespace quzo::platform::test {
namespace {

using namespace std::string_literals;

TEST(Mailbox, AcceptedForms) {
    struct Case {
        const char* text;
        const char* address;
        const char* name;
    };
    const Case cases[] = {
        {"a@x.org", "a@x.org", ""},
        {" \ta@x.org\r\n", "a@x.org", ""},
        {"<a@x.org>", "a@x.org", ""},
        {"QUZO", "QUZO", ""},
        {"<>", "", ""},
        {"", "", ""},
        {"\"a b;c\"@x.org", "\"a b;c\"@x.org", ""},
        {"\"a\\\"b\"@x.org", "\"a\\\"b\"@x.org", ""},
        {"J\xC3\xBCrg@x.org", "J\xC3\xBCrg@x.org", ""},
        {"Jo Doe <a@x.org>", "a@x.org", "Jo Doe"},
        {"\"Doe, Jo\" <a@x.org>", "a@x.org", "Doe, Jo"},
        {"=?iso-8859-1?Q?J=FCrg?= <a@x.org>", "a@x.org", "J\xC3\xBCrg"},
    };
    for (const Case& one : cases) {
        Mailbox mailbox;
        EXPECT_EQ(parseMailbox(one.text, mailbox), 0) << one.text;
        EXPECT_EQ(mailbox.address, one.address) << one.text;
        EXPECT_EQ(mailbox.displayName, one.name) << one.text;
    }
}

TEST(Mailbox, RefusedTexts) {
    const std::string cases[] = {
        "a@x>\r\nRSET\r\nX:<",
        "a@x\nb",
        "a\r@x",
        "a\0b@x"s,
        "a b@x",
        "a@x b@x",
        "<a@x> <b@x",
        "a@x, b@x",
        "<a@x><b@x>",
        "\"a@x",
        "\"a\"b@x",
        "a\"b\"@x",
        "a\x01@x",
        "a\x7F@x",
        "a@x\xFF",
        std::string(600, 'a'),
        "G: a@x;",
        "Name <a b@x>",
        "Name <>b",
        "\"a<b>\"@x",
    };
    for (const std::string& text : cases) {
        Mailbox mailbox{"kept", ""};
        EXPECT_EQ(parseMailbox(text, mailbox), kErrorInvalidArgument) << text;
        EXPECT_EQ(mailbox.address, "kept") << text;
    }
}

// Anything may be asked for its address: GMime reads none of these in bearable time, or at all.
TEST(Mailbox, HostileTexts) {
    std::size_t addresses = 0;
    for (const char* piece :
         {"a:", "a ,", "(", "<", "\"", "\\", "[", "a@x,", "a:;", "<@a,@b:", "=?utf-8?q?a?= ", "\xC3"}) {
        for (const std::size_t size : {100U, 4000U, 100000U, 1000000U}) {
            std::string text;
            while (text.size() < size) {
                text += piece;
            }
            for (const char* tail : {"", " <a@x>", "a@x"}) {
                Mailbox mailbox;
                if (parseMailbox(text + tail, mailbox) == 0) {
                    ++addresses;
                    EXPECT_TRUE(validAddress(mailbox.address)) << piece << size;
                }
            }
        }
    }
    EXPECT_GT(addresses, 0U);
    const auto message = parsed("A: 1\n\n");
    EXPECT_FALSE(msgu::setRcpt(message.get(), (std::string(1000000, ':') + "a@x").c_str(), false));
}

TEST(Mailbox, BoundsOfWhatIsRead) {
    Mailbox mailbox;
    EXPECT_EQ(parseMailbox(std::string(4000, 'n') + " <a@x>", mailbox), 0);
    EXPECT_EQ(mailbox.displayName.size(), 4000U);
    EXPECT_EQ(parseMailbox(std::string(5000, 'n') + " <a@x>", mailbox), kErrorInvalidArgument);
    EXPECT_EQ(parseMailbox("\"" + std::string(31, ',') + "\" <a@x>", mailbox), 0);
    EXPECT_EQ(parseMailbox("\"" + std::string(40, ',') + "\" <a@x>", mailbox), kErrorInvalidArgument);
    EXPECT_EQ(parseMailbox("Jo (x) <a@[::1]>", mailbox), 0);
    EXPECT_EQ(parseMailbox("a@[::1] (x", mailbox), kErrorInvalidArgument) << "GMime would lose memory";
    EXPECT_EQ(parseMailbox(std::string(1000000, ' ') + "a@x", mailbox), 0) << "blanks around do not count";
    EXPECT_EQ(mailbox.address, "a@x");
}

TEST(Envelope, RecipientLists) {
    const auto message = parsed("A: 1\n\n");
    std::string all;
    std::list<std::string> each;
    EXPECT_TRUE(msgu::getRcpt(message.get(), all, each));
    EXPECT_TRUE(all.empty() && each.empty());
    EXPECT_TRUE(msgu::setRcpt(message.get(), ";a@x; \"b;c\"@x ;;<d@x>;", false));
    EXPECT_TRUE(msgu::getRcpt(message.get(), all, each));
    EXPECT_EQ(all, "a@x;\"b;c\"@x;d@x");
    EXPECT_EQ(each, (std::list<std::string>{"a@x", "\"b;c\"@x", "d@x"}));
    EXPECT_TRUE(msgu::setRcpt(message.get(), "a@x", true)) << "what was read can be set";
    EXPECT_TRUE(msgu::setRcpt(message.get(), "", true));
    EXPECT_FALSE(msgu::setRcpt(message.get(), "e@x;f g@x", true));
    EXPECT_FALSE(msgu::setRcpt(message.get(), "e@x;<>", false));
    EXPECT_FALSE(msgu::setRcpt(message.get(), nullptr, false));
    EXPECT_EQ(message->recipients(), (std::vector<std::string>{"a@x", "\"b;c\"@x", "d@x", "a@x"}));
    EXPECT_TRUE(msgu::setRcpt(message.get(), "", false));
    EXPECT_TRUE(message->recipients().empty());
    EXPECT_FALSE(message->changed()) << "the envelope is no part of the text";
}

TEST(Envelope, ViewIsLive) {
    const auto message = parsed("A: 1\n\n");
    const SessionHandle view(message->getSessionInfo());
    EXPECT_EQ(view->getSender(), nullptr);
    EXPECT_FALSE(message->hasSender());
    EXPECT_EQ(view->setSender("\"The Sender\" <s@x>"), 0);
    EXPECT_STREQ(view->getSender()->getAddress(), "s@x");
    EXPECT_STREQ(view->getSender()->getDisplayName(), "The Sender");
    EXPECT_EQ(view->setSender("s@x>\r\nRSET"), kErrorInvalidArgument);
    EXPECT_EQ(message->sender(), "s@x");
    EXPECT_EQ(view->setSender("<>"), 0);
    EXPECT_STREQ(view->getSender()->getAddress(), "");
    EXPECT_TRUE(message->hasSender());

    EXPECT_EQ(view->insertRecipient(7, "b@x"), 0);
    EXPECT_EQ(view->insertRecipient(0, "A <a@x>"), 0);
    EXPECT_EQ(view->insertRecipient(2, "c@x"), 0);
    EXPECT_EQ(view->insertRecipient(0, ""), kErrorInvalidArgument);
    EXPECT_EQ(view->insertRecipient(0, nullptr), kErrorInvalidArgument);
    ASSERT_EQ(view->getRecipientCount(), 3U);
    EXPECT_STREQ(view->getRecipient(0)->getDisplayName(), "A");
    EXPECT_STREQ(view->getRecipient(2)->getAddress(), "c@x");
    EXPECT_EQ(view->getRecipient(3), nullptr);
    EXPECT_EQ(message->setEnvelope("<>", {"a@x", "b c"}), kErrorInvalidArgument);
    EXPECT_EQ(message->recipients().size(), 3U);
    EXPECT_EQ(message->setEnvelope("s@y", {"d@x"}), 0);
    EXPECT_STREQ(view->getRecipient(0)->getAddress(), "d@x");
}

// What is inserted as one text may be several; none of them becomes a bad address, and none comes alone.
TEST(Envelope, InsertedTexts) {
    const std::pair<const char*, std::vector<std::string>> rows[] = {
        {"a@x;b@x", {"a@x", "b@x"}},
        {"; a@x ;\"b;c,d\"@x;<d@x>;", {"a@x", "\"b;c,d\"@x", "d@x"}},
        {"\"A, B; C\" <a@x>", {"a@x"}},
        {"a@x,b@x", {}},
        {"a@x;b@x,c@x", {}},
        {"a@x;b c@x", {}},
        {"a@x;<>", {}},
        {" ; ", {}},
    };
    for (const auto& [text, wanted] : rows) {
        const auto message = parsed("A: 1\n\n");
        ASSERT_EQ(message->setEnvelope("s@x", {"first@x", "last@x"}), 0);
        const SessionHandle view(message->getSessionInfo());
        EXPECT_EQ(view->insertRecipient(1, text), wanted.empty() ? kErrorInvalidArgument : 0) << text;
        std::vector<std::string> all{"first@x", "last@x"};
        all.insert(all.begin() + 1, wanted.begin(), wanted.end());
        EXPECT_EQ(message->recipients(), all) << text;
        EXPECT_EQ(view->getRecipientCount(), all.size());
    }
}

TEST(Identifier, WellFormedDistinctAndSpread) {
    std::set<std::string> seen;
    constexpr std::size_t kPairs = 1296; // 36 * 36
    std::vector<int> first(kPairs);
    for (std::size_t i = 0; i < 40 * kPairs; ++i) {
        const std::string id = newIdentifier();
        ASSERT_EQ(id.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
        ASSERT_TRUE(id.size() >= 2 && id.size() <= 36);
        const auto digit = [](char c) { return static_cast<std::size_t>(c <= '9' ? c - '0' : c - 'A' + 10); };
        ++first[digit(id[0]) * 36 + digit(id[1])];
        ASSERT_TRUE(seen.insert(id).second) << id;
    }
    // 40 are expected for each pair; with even spread, twelve sigma away does not happen.
    EXPECT_GT(*std::min_element(first.begin(), first.end()), 4);
    EXPECT_LT(*std::max_element(first.begin(), first.end()), 116);
}

TEST(Identifier, OfAMessage) {
    const auto message = parsed("X-Id: forged\n\n");
    const std::string made = message->getIdentifier();
    EXPECT_EQ(message->getIdentifier(), made);
    EXPECT_EQ(msgu::getXMailId(message.get()), nullptr);
    message->setIdentifier("7K2");
    message->setMailId("mail-1");
    EXPECT_STREQ(message->getIdentifier(), "7K2");
    EXPECT_STREQ(msgu::getXMailId(message.get()), "mail-1");
}

} // namespace
} // namespace quzo::platform::test
