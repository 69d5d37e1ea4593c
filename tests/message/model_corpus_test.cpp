// Byte fidelity over real messages: what was not edited does not change, and what was written can be read
// again with the same structure.
#include <gtest/gtest.h>

#include "messages.h"
#include "platform/message/structure/structure.h"
#include "tests/places.h"

namespace quzo::platform::test {
namespace {

class ModelCorpus : public testing::Test {
protected:
    void SetUp() override {
        messages_ = corpusMessages();
        if (messages_.empty()) {
            GTEST_SKIP() << "no corpus in " << quzo::tests::corpusDir();
        }
    }

    std::vector<std::string> messages_;
};

// The shape of a message as the library sees it: a line for each entity.
std::string shapeOf(MailMessage& message) {
    std::string shape;
    for (KvMsgEntity* one = message.getRootEntity(); one != nullptr; one = one->getNext()) {
        shape += std::to_string(one->getEntityType()) + ' ' + std::to_string(one->getHeaderFieldCount()) +
                 ' ' + std::to_string(EntityReader::bodySize(*one)) + ' ' + EntityReader::contentType(*one) +
                 (msgu::isBody(&message, one) ? " body\n" : "\n");
    }
    return shape;
}

TEST_F(ModelCorpus, ReadingChangesNothing) {
    for (const std::string& bytes : messages_) {
        const auto message = parsed(bytes);
        int pieces = 0;
        message->write([&pieces](std::string_view) { return ++pieces > 0; });
        EXPECT_LE(pieces, 1);
        std::string subject;
        std::string headers;
        msgu::getSubject(message.get(), "utf-8", nullptr, subject);
        msgu::getHeaders(message.get(), headers);
        msgu::getCharset(message.get());
        for (KvMsgEntity* one = message->getRootEntity(); one != nullptr; one = one->getNext()) {
            for (int i = 0; i < one->getHeaderFieldCount(); ++i) {
                const KvMsgHeaderField* field = one->getHeaderField(i, false);
                ASSERT_NE(field->getValue(nullptr), nullptr);
                ASSERT_NE(field->getRawLine(), nullptr);
            }
            one->getFileInfo();
            EntityReader::texts(*one, 1U << 20U);
        }
        EXPECT_EQ(bytes.compare(0, std::string::npos, written(*message)), 0);
        EXPECT_FALSE(message->changed());
    }
}

TEST_F(ModelCorpus, AnAddedFieldIsTheOnlyDifference) {
    std::size_t edited = 0;
    for (const std::string& bytes : messages_) {
        const auto message = parsed(bytes);
        if (message->getRootEntity()->hasError() != 0) {
            continue;
        }
        ++edited;
        ASSERT_TRUE(msgu::setHeader(message->getRootEntity(), "X-Quzo-Test", "yes", nullptr));
        std::string after = written(*message);
        EXPECT_EQ(after.size(), message->size());
        const auto again = parsed(after);
        EXPECT_EQ(again->getRootEntity()->getHeaderFieldCount(),
                  parsed(bytes)->getRootEntity()->getHeaderFieldCount() + 1);
        EXPECT_EQ(shapeOf(*again), shapeOf(*message));
        const std::size_t lf = bytes.find('\n');
        const bool crlf = lf == std::string::npos || (lf > 0 && bytes[lf - 1] == '\r');
        const std::string lineBreak = crlf ? "\r\n" : "\n";
        const std::string line = "X-Quzo-Test: yes" + lineBreak;
        const std::size_t at = after.find(line);
        ASSERT_NE(at, std::string::npos);
        after.erase(at, line.size());
        if (at > bytes.size()) { // the header's last line was the message's, and unfinished
            after.resize(after.size() - lineBreak.size());
        }
        EXPECT_EQ(bytes.compare(after), 0) << "size " << bytes.size() << " became " << after.size();
    }
    EXPECT_GT(edited, messages_.size() * 9 / 10);
}

TEST_F(ModelCorpus, ANewSubjectChangesOnlyTheSubject) {
    std::size_t edited = 0;
    for (const std::string& bytes : messages_) {
        const auto message = parsed(bytes);
        KvMsgHeaderField* subject = message->getRootEntity()->getHeaderFieldByName("Subject", false);
        if (subject == nullptr) {
            continue;
        }
        ++edited;
        const HeaderSpan header = scanHeader(bytes, 0, bytes.size(), Limits());
        const FieldSpan field = *findField(bytes, header, "subject");
        ASSERT_EQ(subject->setValue("[t] gr\xC3\xBC\xC3\x9F", "utf-8"), 0);
        const std::string after = written(*message);
        const std::string_view tail = std::string_view(bytes).substr(field.end);
        ASSERT_GT(after.size(), field.valueBegin + tail.size());
        EXPECT_EQ(after.compare(0, field.valueBegin, bytes, 0, field.valueBegin), 0);
        EXPECT_EQ(after.compare(after.size() - tail.size(), std::string::npos, tail), 0);
        const auto again = parsed(after);
        EXPECT_EQ(shapeOf(*again), shapeOf(*message));
        std::string value;
        ASSERT_TRUE(msgu::getHeader(again->getRootEntity(), "Subject", value));
        EXPECT_EQ(value, "[t] gr\xC3\xBC\xC3\x9F");
    }
    EXPECT_GT(edited, messages_.size() / 2);
}

} // namespace
} // namespace quzo::platform::test
