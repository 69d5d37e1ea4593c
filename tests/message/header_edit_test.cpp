// Edits of header fields: which bytes change, and which must not.
#include <gtest/gtest.h>

#include <functional>

#include "messages.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"

namespace quzo::platform::test {
namespace {

using namespace std::string_literals;

struct EditCase {
    const char* name;
    std::string before;
    std::function<bool(KvMsgEntity&)> edit;
    std::string after;
};

void PrintTo(const EditCase& edited, std::ostream* out) { *out << edited.name; }

bool set(KvMsgEntity& root, const char* name, const char* value, const char* charset = nullptr) {
    return msgu::setHeader(&root, name, value, charset);
}

int setField(KvMsgEntity& root, int index, const char* value, const char* charset = nullptr) {
    KvMsgHeaderField* field = root.getHeaderField(index, false);
    return field == nullptr ? -1 : field->setValue(value, charset);
}

class HeaderEdit : public testing::TestWithParam<EditCase> {};

TEST_P(HeaderEdit, ChangesOnlyItsField) {
    const auto message = parsed(GetParam().before);
    EXPECT_TRUE(GetParam().edit(*message->getRootEntity()));
    EXPECT_EQ(written(*message), GetParam().after);
    EXPECT_EQ(message->size(), GetParam().after.size());
    EXPECT_EQ(message->changed(), GetParam().after != GetParam().before);
    EXPECT_EQ(message->original(), GetParam().before);
}

const EditCase kEdits[] = {
    {"NewFieldGoesBeforeTheEmptyLine", "A: 1\r\nB: 2\r\n\r\nbody\r\n",
     [](auto& root) { return set(root, "X", "y"); }, "A: 1\r\nB: 2\r\nX: y\r\n\r\nbody\r\n"},
    {"LineEndIsThatOfTheFirstLine", "A: 1\nB: 2\r\n\r\nbody", [](auto& root) { return set(root, "X", "y"); },
     "A: 1\nB: 2\r\nX: y\n\r\nbody"},
    {"MalformedLinesStayInFront", "A: 1\r\nno field here\r\n\r\nbody",
     [](auto& root) { return set(root, "X", "y"); }, "A: 1\r\nno field here\r\nX: y\r\n\r\nbody"},
    {"HeaderWithoutBody", "A: 1\r\n", [](auto& root) { return set(root, "X", "y"); }, "A: 1\r\nX: y\r\n"},
    {"HeaderWithoutLineEnd", "A: 1\nB: 2", [](auto& root) { return set(root, "X", "y"); },
     "A: 1\nB: 2\nX: y\n"},
    {"UnfinishedLastFieldRemovedBeforeAdding", "A: 1\nB: 2",
     [](auto& root) { return root.removeHeader("B") == 0 && set(root, "X", "y"); }, "A: 1\nX: y\n"},
    {"UnfinishedLastFieldRemovedAfterAdding", "A: 1\nB: 2",
     [](auto& root) { return set(root, "X", "y") && root.removeHeader("B") == 0; }, "A: 1\nX: y\n"},
    {"UnfinishedLastFieldEdited", "A: 1\nB: 2", [](auto& root) { return set(root, "B", "3"); }, "A: 1\nB: 3"},
    {"UnfinishedLastFieldEditedAndAdded", "A: 1\nB: 2",
     [](auto& root) { return set(root, "B", "3") && set(root, "X", "y"); }, "A: 1\nB: 3\nX: y\n"},
    {"MessageThatBeginsWithTheEmptyLine", "\r\nbody", [](auto& root) { return set(root, "X", "y"); },
     "X: y\r\n\r\nbody"},
    {"EmptyMessage", "", [](auto& root) { return set(root, "X", "y"); }, "X: y\r\n"},
    {"MboxLineStaysFirst", "From me\nA: 1\n\nbody",
     [](auto& root) { return root.addHeaderField(0, "X", "y", nullptr) != nullptr; },
     "From me\nX: y\nA: 1\n\nbody"},
    {"EmptyLinesStayInFront", "\xEF\xBB\xBF\n\nA: 1\n\nbody",
     [](auto& root) { return root.addHeaderField(0, "X", "y", nullptr) != nullptr; },
     "\xEF\xBB\xBF\n\nX: y\nA: 1\n\nbody"},
    {"EmptyLinesGoWithTheLastField", "\n\nFrom me\nA: 1\njunk\n\nbody",
     [](auto& root) { return root.removeHeader("A") == 0; }, "From me\njunk\n\nbody"},
    {"UnfinishedMboxLine", "From me", [](auto& root) { return set(root, "X", "y"); }, "From me\r\nX: y\r\n"},
    {"ReplacedInPlaceAndFurtherOnesRemoved", "X: 1\r\nA: 1\r\nx: 2\r\nX : 3\r\nB: 2\r\n\r\n",
     [](auto& root) { return set(root, "x", "new"); }, "X: new\r\nA: 1\r\nB: 2\r\n\r\n"},
    {"SpellingAndSeparatorStay", "sUBJECT  :\t old\r\n\r\n",
     [](auto& root) { return set(root, "Subject", "new"); }, "sUBJECT  :\t new\r\n\r\n"},
    {"TightFieldStaysTight", "Subject:old\r\n\r\n", [](auto& root) { return set(root, "Subject", "new"); },
     "Subject:new\r\n\r\n"},
    {"EmptyFieldGetsABlank", "Subject:\r\n\r\n", [](auto& root) { return set(root, "Subject", "new"); },
     "Subject: new\r\n\r\n"},
    {"FoldedValueGoes", "Subject:\r\n one\r\n\ttwo\r\nA: 1\r\n\r\n",
     [](auto& root) { return set(root, "Subject", "new"); }, "Subject: new\r\nA: 1\r\n\r\n"},
    {"SplicedTagGetsTheFieldsBlank", "Subject: text\r\n\r\n",
     [](auto& root) { return setField(root, 0, "X  text") == 0; }, "Subject: X  text\r\n\r\n"},
    {"NoSecondBlankBeforeAValueThatBringsOne", "Subject: text\r\n\r\n",
     [](auto& root) { return setField(root, 0, " text") == 0; }, "Subject: text\r\n\r\n"},
    {"SplicedFoldsStay", "Subject:  a\r\n b\r\n\r\n",
     [](auto& root) { return setField(root, 0, "T   a\r\n b\r\n") == 0; }, "Subject:  T   a\r\n b\r\n\r\n"},
    {"EmptyValue", "Subject: text\r\n\r\n", [](auto& root) { return set(root, "Subject", ""); },
     "Subject: \r\n\r\n"},
    {"RawEightBitStays", "A: 1\n\n", [](auto& root) { return set(root, "X", "gr\xFC\xDF"); },
     "A: 1\nX: gr\xFC\xDF\n\n"},
    {"EncodedInTheGivenCharset", "Subject: x\n\n",
     [](auto& root) { return set(root, "Subject", "gr\xC3\xBC\xC3\x9F", "utf-8"); },
     "Subject: =?utf-8?B?Z3LDvMOf?=\n\n"},
    {"PlainTextWithCharsetStaysPlain", "Subject: x\n\n",
     [](auto& root) { return set(root, "Subject", "plain", "iso-2022-jp"); }, "Subject: plain\n\n"},
    {"InsertedBeforeAPosition", "A: 1\r\nB: 2\r\n\r\n",
     [](auto& root) {
         return root.addHeaderField(1, "X", "1", nullptr) != nullptr &&
                root.addHeaderField(1, "Y", "2", nullptr) != nullptr &&
                root.addHeaderField(4, "Z", "3", nullptr) != nullptr;
     },
     "A: 1\r\nY: 2\r\nX: 1\r\nB: 2\r\nZ: 3\r\n\r\n"},
    {"RemovedByIndex", "A: 1\nB: 2\nC: 3\n\nbody",
     [](auto& root) { return root.removeHeaderField(1) == 0 && root.removeHeaderField(0) == 0; },
     "C: 3\n\nbody"},
    {"RemovedByName", "A: 1\nb: 2\n 2\nC: 3\nB: 4\n\nbody",
     [](auto& root) { return root.removeHeader("B") == 0; }, "A: 1\nC: 3\n\nbody"},
    {"RemovingNothingChangesNothing", "A: 1\n\nbody", [](auto& root) { return root.removeHeader("B") == 0; },
     "A: 1\n\nbody"},
    {"AddedAndTakenBack", "A: 1\n\nbody",
     [](auto& root) { return set(root, "X", "y") && root.removeHeader("X") == 0; }, "A: 1\n\nbody"},
    {"ChangedAndRestored", "A: 1\nB: 2\n\nbody",
     [](auto& root) { return set(root, "A", "1 2") && set(root, "A", "1"); }, "A: 1\nB: 2\n\nbody"},
    {"ParameterReplaced", "Content-Type: text/plain; charset=\"a;b\" (x); format=flowed\r\n\r\n",
     [](auto& root) {
         return root.getHeaderFieldByName("content-type", false)->setParameter("CHARSET", "utf-8", 0) == 0;
     },
     "Content-Type: text/plain; CHARSET=utf-8; format=flowed\r\n\r\n"},
    {"ParameterAdded", "Content-Type: text/plain\n\n",
     [](auto& root) {
         return root.getHeaderField(0, false)->setParameter("charset", "a b\r\nX: \"y\"", 0) == 0;
     },
     "Content-Type: text/plain; charset=\"a b  X: \\\"y\\\"\"\n\n"},
    {"ParameterInAllItsForms",
     "Content-Disposition: attachment; filename*0=a;\n filename*1=b; filename=c\n\n",
     [](auto& root) { return root.getHeaderField(0, false)->setParameter("filename", "\xC3\xA4 b", 0) == 0; },
     "Content-Disposition: attachment; filename*=utf-8''%C3%A4%20b\n\n"},
};

INSTANTIATE_TEST_SUITE_P(Edits, HeaderEdit, testing::ValuesIn(kEdits),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(HeaderInjection, AValueNeverMakesALine) {
    struct Case {
        const char* value;
        const char* line; // what stands behind "X: "
    };
    const Case cases[] = {
        {"a\r\nBcc: victim@x", "a  Bcc: victim@x"},
        {"a\nBcc: victim@x", "a Bcc: victim@x"},
        {"a\rBcc: victim@x", "a Bcc: victim@x"},
        {"a\r\n\r\nbody", "a    body"},
        {"a\n\nbody", "a  body"},
        {"a\r\n", "a"},
        {"a\n", "a"},
        {"a\r", "a"},
        {"a\r\n\r\n", "a  "},
        {"a\r\n b", "a\r\n b"},
        {"a\n\tb", "a\n\tb"},
        {"a\r b", "a  b"},
        {"a\r\n \r\n b", "a   \r\n b"},
        {"a\r\n ", "a   "},
        {"a\r\n \x01", "a   \x01"},
        {"\r\nBcc: x", "  Bcc: x"},
    };
    for (const Case& one : cases) {
        for (const bool add : {false, true}) {
            const auto message = parsed(add ? "A: 1\r\n\r\n" : "A: 1\r\nX: old\r\n\r\n");
            ASSERT_TRUE(set(*message->getRootEntity(), "X", one.value));
            const std::string blank = one.value[0] == '\r' ? "" : " ";
            EXPECT_EQ(written(*message), "A: 1\r\nX:" + blank + one.line + "\r\n\r\n");
            EXPECT_EQ(parsed(written(*message))->getRootEntity()->getHeaderFieldCount(), 2);
        }
    }
}

TEST(HeaderInjection, EncodedValuesNeitherAndNamesAreChecked) {
    const auto message = parsed("A: 1\r\n\r\n");
    KvMsgEntity& root = *message->getRootEntity();
    for (const char* charset : {"utf-8", "iso-8859-1", "iso-2022-jp", "utf-7"}) {
        ASSERT_TRUE(set(root, "X", "a\r\nBcc: v@x\r\n\r\nq\r\n", charset)) << charset;
        const auto again = parsed(written(*message));
        EXPECT_EQ(again->getRootEntity()->getHeaderFieldCount(), 2) << written(*message);
        EXPECT_EQ(again->getRootEntity()->getHeaderFieldByName("Bcc", true), nullptr);
    }
    const std::string before = written(*message);
    for (const char* name : {"", "A B", "A:", "A\r\nB", "A\n", "\xC3\xA4", "A\x7F", "A\t"}) {
        EXPECT_FALSE(set(root, name, "v")) << name;
        EXPECT_EQ(root.addHeaderField(-1, name, "v", nullptr), nullptr) << name;
    }
    EXPECT_EQ(written(*message), before);
}

TEST(HeaderEdits, FailuresChangeNothing) {
    const std::string bytes = "Subject: x\r\nTo: a\r\n\r\nbody";
    const auto message = parsed(bytes);
    KvMsgEntity& root = *message->getRootEntity();
    EXPECT_EQ(setField(root, 0, "\xC3\xA4", "no-such-charset"), kErrorUnknownCharset);
    EXPECT_EQ(setField(root, 0, "\xC3(", "utf-8"), kErrorMalformedText);
    EXPECT_FALSE(set(root, "Subject", "\xC3(", "utf-8"));
    EXPECT_FALSE(set(root, "To", "\xC3(", "utf-8"));
    EXPECT_FALSE(set(root, "X", "\xC3\xA4", "no-such-charset"));
    EXPECT_EQ(root.addHeaderField(-1, "X", "\xC3(", "utf-8"), nullptr);
    EXPECT_EQ(root.addHeaderField(3, "X", "y", nullptr), nullptr);
    EXPECT_EQ(root.addHeaderField(-2, "X", "y", nullptr), nullptr);
    EXPECT_EQ(root.removeHeaderField(2), kErrorNotFound);
    EXPECT_EQ(root.removeHeaderField(-1), kErrorNotFound);
    EXPECT_EQ(root.getHeaderField(0, false)->setParameter("a b", "v", 0), kErrorInvalidArgument);
    EXPECT_EQ(root.getHeaderField(2, true), nullptr);
    EXPECT_EQ(root.getHeaderField(-1, true), nullptr);
    EXPECT_EQ(written(*message), bytes);
    EXPECT_FALSE(message->changed());
}

TEST(HeaderEdits, MalformedRootRefusesThem) {
    const std::string bytes = "no header at all\r\nreally\r\n";
    const auto message = parsed(bytes);
    KvMsgEntity& root = *message->getRootEntity();
    EXPECT_NE(root.hasError(), 0);
    EXPECT_FALSE(set(root, "X", "y"));
    EXPECT_EQ(root.addHeaderField(-1, "X", "y", nullptr), nullptr);
    EXPECT_EQ(root.removeHeader("X"), kErrorMalformedEntity);
    EXPECT_EQ(root.removeHeaderField(0), kErrorMalformedEntity);
    EXPECT_EQ(written(*message), bytes);

    Limits limits;
    limits.messageBytes = 8;
    const auto large = MailMessage::parse("A: 1\r\n\r\nbody", limits);
    EXPECT_EQ(large->error(), kErrorLimit);
    EXPECT_EQ(large->getRootEntity()->hasError(), kErrorLimit);
    EXPECT_EQ(large->getRootEntity()->getNext(), nullptr);
    EXPECT_FALSE(set(*large->getRootEntity(), "X", "y"));
    EXPECT_EQ(written(*large), "A: 1\r\n\r\nbody");
}

TEST(HeaderEdits, IndexFollowsTheEditsAndFieldsStayUsable) {
    const auto message = parsed("A: 1\nB: 2\nC: 3\n\n");
    KvMsgEntity& root = *message->getRootEntity();
    KvMsgHeaderField* b = root.getHeaderField(1, false);
    KvMsgHeaderField* x = root.addHeaderField(0, "X", "0", nullptr);
    ASSERT_EQ(root.removeHeaderField(2), 0); // B
    ASSERT_EQ(root.getHeaderFieldCount(), 3);
    std::string names;
    for (int i = 0; i < root.getHeaderFieldCount(); ++i) {
        names += root.getHeaderField(i, true)->getName();
    }
    EXPECT_EQ(names, "XAC");
    EXPECT_EQ(root.getHeaderField(0, true), x);
    EXPECT_EQ(root.getHeaderFieldByName("b", true), nullptr);
    EXPECT_STREQ(b->getName(), "B"); // removed, but allocated as long as the message
    EXPECT_STREQ(b->getValue(nullptr), "2");
    EXPECT_EQ(b->setValue("9", nullptr), kErrorNotFound);
    EXPECT_STREQ(x->getRawLine(), "X: 0\n");
    std::string headers;
    msgu::getHeaders(message.get(), headers);
    EXPECT_EQ(headers, "X: 0\nA: 1\nC: 3\n");
}

TEST(HeaderEdits, PartsHaveTheirOwnHeaders) {
    const std::string bytes =
        "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\n--b\r\n"
        "Content-Type: text/html\r\n--b\r\nA: 1\r\n\r\ntwo\r\n--b--\r\n";
    const auto message = parsed(bytes);
    KvMsgEntity* part = message->getRootEntity();
    for (int i = 1; i <= 3; ++i) {
        part = part->getNext();
        ASSERT_NE(part, nullptr);
        ASSERT_TRUE(set(*part, "X-Part", std::to_string(i).c_str()));
    }
    EXPECT_EQ(written(*message),
              "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nX-Part: 1\r\n\r\none\r\n--b\r\n"
              "Content-Type: text/html\r\nX-Part: 2\r\n--b\r\nA: 1\r\nX-Part: 3\r\n\r\ntwo\r\n--b--\r\n");
}

TEST(HeaderEdits, ComposedMessage) {
    const MessageHandle made(KvMsg_CreateMailMessage());
    auto& message = static_cast<MailMessage&>(*made);
    KvMsgEntity& root = *made->getRootEntity();
    EXPECT_EQ(root.hasError(), 0);
    EXPECT_EQ(root.getHeaderFieldCount(), 0);
    KvMsgHeaderField* from = root.addHeaderField(-1, "From", "", nullptr);
    ASSERT_NE(from, nullptr);
    EXPECT_EQ(from, root.getHeaderFieldByName("FROM", false));
    EXPECT_EQ(from->setValue("a@x", nullptr), 0);
    ASSERT_TRUE(set(root, "Content-Type", "text/html"));
    EXPECT_EQ(root.getHeaderFieldByName("Content-Type", false)->setParameter("charset", "utf-8", 0), 0);
    EXPECT_STREQ(msgu::getCharset(made.get()), "utf-8");
    EXPECT_EQ(written(message), "From: a@x\r\nContent-Type: text/html; charset=utf-8\r\n\r\n");
}

TEST(HeaderEdits, ManyFieldsOfOneNameAreLinear) {
    std::string bytes;
    for (int i = 0; i < 100000; ++i) {
        bytes += "X: " + std::to_string(i) + "\n";
    }
    const auto message = parsed(bytes + "\nbody");
    EXPECT_TRUE(set(*message->getRootEntity(), "X", "one"));
    EXPECT_EQ(written(*message), "X: one\n\nbody");
}

} // namespace
} // namespace quzo::platform::test
