// Random messages and random edits: what the model says of the message must be what a reader finds in the
// bytes that it writes.
#include <gtest/gtest.h>

#include <random>

#include "messages.h"
#include "quzo/core/error_text.h"

namespace quzo::platform::test {
namespace {

const std::string kPieces[] = {"A: 1",
                               "B:",
                               "Subject: x",
                               "\r\n",
                               "\r\n",
                               "\n",
                               "\n",
                               "\r",
                               " ",
                               "\t",
                               "junk",
                               "--b",
                               "--b--",
                               ":",
                               " cont",
                               "C : 2",
                               std::string(1, '\0'),
                               "\x80",
                               "From me\n",
                               "A: 2\r\n",
                               "\r\n\r\n",
                               "\r\n--b\r\n",
                               "=?utf-8?Q?=C3=BC?=",
                               "Content-Type: multipart/mixed; boundary=b\r\n",
                               "Content-Type: message/rfc822\n"};
const char* const kNames[] = {"A", "B", "c", "Subject", "X-New", "To"};
const char* const kValues[] = {"",      "v",       " v",      "v\r\n", "v\r\n w", "v\r\nA: forged",
                               "\n\nv", "a@x;b@x", "\xC3\xBC"};

template <typename T, std::size_t N>
const T& anyOf(const T (&items)[N], std::mt19937& random) {
    return items[random() % N];
}

std::string randomMessage(std::mt19937& random) {
    std::string bytes;
    for (std::size_t left = random() % 16; left > 0; --left) {
        bytes += anyOf(kPieces, random);
    }
    return bytes;
}

void randomEdit(KvMsgEntity& entity, std::mt19937& random) {
    const int count = entity.getHeaderFieldCount();
    const int index = count == 0 ? 0 : static_cast<int>(random() % static_cast<unsigned>(count));
    const char* name = anyOf(kNames, random);
    const char* value = anyOf(kValues, random);
    const char* charset = random() % 3 == 0 ? "utf-8" : nullptr;
    switch (random() % 5) {
        case 0:
            msgu::setHeader(&entity, name, value, charset);
            break;
        case 1:
            entity.addHeaderField(index, name, value, charset);
            break;
        case 2:
            if (KvMsgHeaderField* field = entity.getHeaderField(index, false);
                field != nullptr && std::string_view(field->getName()) != "Content-Type") {
                field->setValue(value, charset);
            }
            break;
        case 3: // a block of nothing but malformed lines would be no header block any more
            if (count > 1 &&
                std::string_view(entity.getHeaderField(index, true)->getName()) != "Content-Type") {
                entity.removeHeaderField(index);
            }
            break;
        default:
            msgu::setHeader(&entity, "X-Last", value, charset);
    }
}

// Everything that a reader of the message sees.
std::string listing(MailMessage& message) {
    std::string out;
    for (KvMsgEntity* one = message.getRootEntity(); one != nullptr; one = one->getNext()) {
        out += "entity " + std::to_string(one->getEntityType()) + ' ' + std::to_string(one->hasError()) +
               " [" + EntityReader::decodedBody(*one, one->getEntityType() == kEntityLeaf ? 1000 : 0) + "]\n";
        for (int i = 0; i < one->getHeaderFieldCount(); ++i) {
            const KvMsgHeaderField* field = one->getHeaderField(i, true);
            out.append(field->getName()).append(" = ").append(field->getValue(nullptr)).append("\n");
            const std::string_view raw = field->getRawLine();
            // An unfinished last line is finished when a field comes behind it.
            out.append(raw.substr(0, raw.find_last_not_of("\r\n") + 1)).append("\n");
        }
    }
    return out;
}

TEST(RandomEdits, WrittenMessageReadsAsTheModelSaid) {
    std::mt19937 random(20240607); // fixed: a failure must come again
    int changed = 0;
    for (int round = 0; round < 30000; ++round) {
        const std::string bytes = randomMessage(random);
        const auto message = parsed(bytes);
        for (std::size_t edits = 1 + random() % 4; edits > 0; --edits) {
            for (KvMsgEntity* one = message->getRootEntity(); one != nullptr; one = one->getNext()) {
                if (random() % 2 == 0) {
                    randomEdit(*one, random);
                }
            }
        }
        const std::string out = written(*message);
        ASSERT_EQ(out.size(), message->size());
        ASSERT_EQ(out != bytes, message->changed());
        changed += message->changed() ? 1 : 0;
        const auto again = parsed(out);
        ASSERT_EQ(listing(*again), listing(*message)) << testing::PrintToString(bytes) << "\nbecame\n"
                                                      << testing::PrintToString(out);
    }
    EXPECT_GT(changed, 10000);
}

} // namespace
} // namespace quzo::platform::test
