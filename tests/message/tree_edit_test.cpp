// Edits of the tree, each against the bytes that it must give.
#include <gtest/gtest.h>

#include <functional>

#include "messages.h"
#include "platform/message/edit/entity.h"
#include "platform/message/edit/tree_edits.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"

namespace quzo::platform::test {
namespace {

KvMsgEntity* entityAt(MailMessage& message, int index) {
    KvMsgEntity* entity = message.getRootEntity();
    for (; index > 0 && entity != nullptr; --index) {
        entity = entity->getNext();
    }
    return entity;
}

int setContent(KvMsgEntity& entity, std::string_view bytes, const char* type, const char* charset = nullptr,
               const char* encoding = nullptr) {
    LocatorHandle locator(KvMsg_CreateResourceLocator(bytes.data(), 1, bytes.size(), bytes.size(), 0));
    const int error = entity.setContent(locator.get(), type, charset, encoding);
    if (error == kErrorNone) {
        static_cast<void>(locator.release()); // the entity took it
    }
    return error;
}

const std::string kTwoParts =
    "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n--b\nA: 1\n\none\n"
    "--b\nContent-Type: application/x; name=x.exe\n\ntwo\n--b--\nepilogue\n";
const std::string kUnclosed = "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n\ntwo\n";
const std::string kTouching = "Content-Type: multipart/mixed; boundary=b\n\n--b\nA: 1\n\n--b\n\n--b--\n";
const std::string kPlain =
    "Subject: s\r\nContent-Type: text/plain; charset=utf-8\r\nContent-ID: <i>\r\n\r\nbody\r\n";
const std::string kSigned =
    "A: 1\nContent-Type: multipart/signed; boundary=s\n\n--s\nContent-Type: multipart/mixed; "
    "boundary=m\n\n--m\n\n"
    "text\n--m\nContent-Type: a/b\n\nfile\n--m--\n\n--s\nContent-Type: "
    "application/pgp-signature\n\nsig\n--s--\n";
const std::string kAttached =
    "MIME-Version: 1.0\nContent-Type: message/rfc822\n\nSubject: in\nContent-Type: a/b\nContent-Disposition: "
    "attachment"
    "\n\nbytes\n";

using Edit = std::function<int(MailMessage&)>;

Edit remove(int index) {
    return [index](MailMessage& message) {
        return msgu::removeEntityAndDummyParent(entityAt(message, index), "") ? 0 : 1;
    };
}

Edit attach(int index, int position) {
    return [index, position](MailMessage& message) {
        const auto other = parsed("X: y\n\nnew\n");
        return entityAt(message, index)->insertMessage(other->getAttachHandle(), position);
    };
}

Edit content(int index, const std::string& bytes, const char* type, const char* charset = nullptr,
             const char* encoding = nullptr) {
    return [=](MailMessage& message) {
        return setContent(*entityAt(message, index), bytes, type, charset, encoding);
    };
}

TEST(TreeEdits, GiveTheseBytes) {
    const struct {
        const char* name;
        std::string received;
        Edit edit;
        std::string written;
    } cases[] = {
        {"the first part goes with its delimiter line", kTwoParts, remove(1),
         "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n--b\n"
         "Content-Type: application/x; name=x.exe\n\ntwo\n--b--\nepilogue\n"},
        {"so does the last", kTwoParts, remove(2),
         "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n--b\nA: "
         "1\n\none\n"
         "--b--\nepilogue\n"},
        {"an unclosed multipart that loses its last part is closed", kUnclosed, remove(2),
         "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b--\n"},
        {"and one that gets another last part", kUnclosed, attach(0, -1),
         "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n\ntwo\n\n--b\nContent-Type: "
         "message/rfc822\n\n"
         "X: y\n\nnew\n\n--b--\n"},
        {"in front", kTwoParts, attach(0, 0),
         "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n--b\n"
         "Content-Type: message/rfc822\n\nX: y\n\nnew\n\n--b\nA: 1\n\none\n--b\nContent-Type: application/x; "
         "name=x.exe\n\ntwo\n--b--\nepilogue\n"},
        {"an empty part that touches the next line gets a body", kTouching, content(1, "new", "text/plain"),
         "Content-Type: multipart/mixed; boundary=b\n\n--b\nA: 1\nContent-Type: text/plain\n"
         "Content-Transfer-Encoding: 7bit\n\nnew\n--b\n\n--b--\n"},
        {"the multipart that is left empty goes too",
         "Content-Type: multipart/mixed; boundary=a\n\n--a\n\nx\n--a\nContent-Type: multipart/mixed; "
         "boundary=b\n\n"
         "--b\n\ny\n--b--\n--a--\n",
         remove(3), "Content-Type: multipart/mixed; boundary=a\n\n--a\n\nx\n--a--\n"},
        {"a root is emptied", kPlain, remove(0),
         "Subject: s\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=us-ascii\r\n"
         "Content-Transfer-Encoding: 7bit\r\n\r\n"},
        {"and so is the root of an attached message", kAttached, remove(1),
         "MIME-Version: 1.0\nContent-Type: message/rfc822\n\nSubject: in\nMIME-Version: 1.0\n"
         "Content-Type: text/plain; charset=us-ascii\nContent-Transfer-Encoding: 7bit\n\n"},
        {"what was signed loses its signature with a part", kSigned, remove(3),
         "A: 1\nContent-Type: multipart/mixed; boundary=m\n\n--m\n\ntext\n--m--\n"},
        {"and lines that are no fields stay in a header block",
         "junk\nContent-Type: multipart/signed; boundary=s\n\n--s\n\ntext\n--s\n\nsig\n--s--\n", remove(2),
         "junk\nContent-Type: text/plain\n\ntext"},
        {"without its signature it is no multipart/signed", kSigned, remove(4),
         "A: 1\nContent-Type: multipart/mixed; boundary=m\n\n--m\n\ntext\n--m\nContent-Type: "
         "a/b\n\nfile\n--m--\n"},
        {"a body in the message's line ends, its charset kept", kPlain, content(0, "a\nb", "text/plain"),
         "Subject: s\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
         "Content-Transfer-Encoding: 7bit\r\nContent-ID: <i>\r\n\r\na\r\nb"},
        {"quoted-printable where 7bit cannot hold it", kTwoParts,
         content(1, "caf\xC3\xA9 = 1 and more text\n", "text/plain", "utf-8"),
         "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n--b\nA: 1\n"
         "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n"
         "caf=C3=A9 =3D 1 and more text\n\n--b\nContent-Type: application/x; "
         "name=x.exe\n\ntwo\n--b--\nepilogue\n"},
        {"base64 where a line would be a boundary", kTwoParts, content(1, "--b\n", "text/plain"),
         "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n--b\nA: 1\n"
         "Content-Type: text/plain\nContent-Transfer-Encoding: base64\n\nLS1iCg==\n\n--b\n"
         "Content-Type: application/x; name=x.exe\n\ntwo\n--b--\nepilogue\n"},
        {"a leaf becomes the first part of a multipart", kPlain, attach(0, -1),
         "Subject: s\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"NEW\"\r\n\r\n--NEW\r\n"
         "Content-Type: text/plain; charset=utf-8\r\nContent-ID: <i>\r\n\r\nbody\r\n\r\n--NEW\r\n"
         "Content-Type: message/rfc822\r\n\r\nX: y\n\nnew\n\r\n--NEW--\r\n"},
        {"wrapped, a signed content keeps its bytes", kSigned,
         [](MailMessage& message) { return wrap(static_cast<Entity&>(*message.getRootEntity())); },
         "A: 1\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=\"NEW\"\n\n--NEW\n" +
             kSigned.substr(kSigned.find("Content-Type")) + "\n--NEW--\n"},
    };
    for (const auto& c : cases) {
        const auto message = parsed(c.received);
        ASSERT_EQ(c.edit(*message), 0) << c.name;
        EXPECT_EQ(writtenWithNew(*message), c.written) << c.name;
    }
}

TEST(TreeEdits, RefusedOnesChangeNothing) {
    const std::string encrypted =
        "Content-Type: multipart/encrypted; boundary=b\n\n--b\n\none\n--b\n\ntwo\n--b--\n";
    const struct {
        const char* name;
        std::string received;
        Edit edit;
        int error;
    } cases[] = {
        {"inside of what is encrypted", encrypted,
         [](MailMessage& message) { return removeEntity(static_cast<Entity&>(*entityAt(message, 1))); },
         kErrorNotSupported},
        {"8-bit text as 7bit", kPlain, content(0, "\xC3\xA9", "text/plain", "utf-8", "7bit"),
         kErrorInvalidArgument},
        {"a line too long for 8bit", kPlain,
         content(0, std::string(999, 'x').c_str(), "text/plain", nullptr, "8bit"), kErrorInvalidArgument},
        {"a boundary in 7bit", kTwoParts, content(1, "--b", "text/plain", nullptr, "7bit"),
         kErrorInvalidArgument},
        {"no type", kPlain, content(0, "x", "text"), kErrorInvalidArgument},
        {"a type that would be more", kPlain, content(0, "x", "text/plain; a=b"), kErrorInvalidArgument},
        {"a charset that is none", kPlain, content(0, "x", "text/plain", "a\r\nB: c"), kErrorInvalidArgument},
        {"an encoding that is none", kPlain, content(0, "x", "text/plain", nullptr, "x-y"),
         kErrorInvalidArgument},
        {"a part whose lines are boundaries here", kTwoParts,
         [](MailMessage& message) {
             const auto other = parsed("A: 1\n\n--b\n");
             return message.getRootEntity()->insertMessage(other->getAttachHandle(), -1);
         },
         kErrorInvalidArgument},
        {"nothing", kPlain,
         [](MailMessage& message) { return message.getRootEntity()->insertChildEntity(nullptr, 0); },
         kErrorInvalidArgument},
        {"what was removed", kTwoParts,
         [](MailMessage& message) {
             KvMsgEntity* part = entityAt(message, 1);
             msgu::removeEntityAndDummyParent(part, "");
             const std::string before = written(message);
             const int error = setContent(*part, "x", "text/plain");
             EXPECT_EQ(written(message), before);
             message.getRootEntity()->removeHeader("None");
             return error;
         },
         kErrorNotFound},
    };
    for (const auto& c : cases) {
        const auto message = parsed(c.received);
        EXPECT_EQ(c.edit(*message), c.error) << c.name;
        if (c.error != kErrorNotFound) {
            EXPECT_FALSE(message->changed()) << c.name;
        }
    }
}

// An edit sees the ones before it, and what is put into another message is what it has become.
TEST(TreeEdits, FollowEachOther) {
    const auto message = parsed(kTwoParts);
    KvMsgEntity& root = *message->getRootEntity();
    KvMsgEntity* one = entityAt(*message, 1);
    KvMsgEntity* two = entityAt(*message, 2);
    ASSERT_EQ(setContent(*one, "changed\n", "text/plain"), 0);
    ASSERT_TRUE(msgu::setHeader(one, "B", "2", nullptr));
    ASSERT_TRUE(msgu::removeEntityAndDummyParent(two, ""));
    EXPECT_FALSE(msgu::existEntity(message.get(), two));
    EXPECT_TRUE(msgu::existEntity(message.get(), one));
    EXPECT_EQ(one->getNext(), nullptr);
    EXPECT_EQ(EntityReader::decodedBody(*one, 100), "changed\n");

    const auto other = parsed("Subject: other\n\ntext\n");
    ASSERT_EQ(other->getRootEntity()->insertChildEntity(one, 0), 0);
    KvMsgEntity* copy = other->getRootEntity()->getNext();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(EntityReader::decodedBody(*copy, 100), "changed\n");
    EXPECT_NE(copy->getHeaderFieldByName("B", true), nullptr);
    EXPECT_TRUE(msgu::setHeader(copy, "B", "3", nullptr));
    EXPECT_EQ(std::string_view(one->getHeaderFieldByName("B", true)->getValue(nullptr)), "2") << "a copy";

    ASSERT_EQ(other->getRootEntity()->insertMessage(message->getAttachHandle(), -1), 0);
    const std::string out = written(*other);
    EXPECT_NE(out.find(written(*message)), std::string::npos) << out;
    EXPECT_EQ(message->original(), kTwoParts);
    EXPECT_NE(root.getNext(), nullptr);
}

} // namespace
} // namespace quzo::platform::test
