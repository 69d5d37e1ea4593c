// The stand-alone platform when memory runs out: what it makes for the library, and the message model. A
// message whose edit failed must be written byte for byte as it was before.
#include <list>
#include <memory>

#include "quzo/core/action.h"
#include "quzo/core/blob.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"
#include "quzo/core/log.h"
#include "quzo/core/text.h"
#include "rows.h"
#include "tests/library/in_platform.h"
#include "tests/message/messages.h"

namespace quzo::test {
namespace {

const char* const kMail =
    "Received: from a.example.com by b.example.com; Mon, 1 Jan 2024 00:00:00 +0000\r\n"
    "From: \"A Sender With A Name\" <from.an.address@example.com>\r\n"
    "To: to.an.address@example.com, \"Another\" <another.address@example.com>\r\n"
    "Subject: =?utf-8?B?R3LDvMOfZSBhdXMgZGVyIEZlcm5l?= =?utf-8?Q?_und_noch_mehr?=\r\n"
    "X-Again: a first one of the name that is not so short\r\n"
    "X-Again: a second one of the name that is not so short\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=\"a-boundary-that-is-not-so-short\"\r\n"
    "\r\n"
    "--a-boundary-that-is-not-so-short\r\n"
    "Content-Type: text/plain; charset=\"iso-8859-15\"\r\n"
    "\r\n"
    "a body\r\n"
    "--a-boundary-that-is-not-so-short\r\n"
    "Content-Type: application/octet-stream\r\n"
    "Content-Disposition: attachment; filename*=utf-8''a%20name%20that%20is%20not%20so%20short.bin\r\n"
    "\r\n"
    "AAAA\r\n"
    "--a-boundary-that-is-not-so-short--\r\n";
const std::string kNewValue = "a new value that is longer than small strings"; // NOLINT(cert-err58-cpp)
const char* const kSubject =
    "Gr\xC3\xBC\xC3\x9F"
    "e, die l\xC3\xA4nger als ein kurzer String sind";

class CountingLog final : public LogMsg {
public:
    void write(int lineLevel, const char* /*format*/, ...) override { first += lineLevel == 1 ? 1 : 0; }
    int first = 0;
};

class Logger : public ActionLog {
public:
    using ActionLog::setLogger;
};

struct MessageStage {
    MessageStage() : message(platform::test::parsed(kMail)) {
        Logger::setLogger(&log);
        KvMsgMailSessionInfo* session = message->getSessionInfo();
        session->setSender("from.an.address@example.com");
        session->insertRecipient(0, "to.an.address@example.com");
    }
    ~MessageStage() { Logger::setLogger(nullptr); }
    MessageStage(const MessageStage&) = delete;
    MessageStage& operator=(const MessageStage&) = delete;

    bool said() const { return log.first != 0; }
    void forget() { log.first = 0; }
    KvMsgEntity& root() { return *message->getRootEntity(); }

    CountingLog log;
    std::unique_ptr<platform::MailMessage> message;
    const char* fault = nullptr;
};

using MessageRow = Row<MessageStage>;
using Act = std::function<bool(MessageStage&)>;

// Takes everything in, so that only the operation itself allocates.
void warmUp(MessageStage& stage) {
    for (KvMsgEntity* one = &stage.root(); one != nullptr; one = one->getNext()) {
        for (int i = 0; i < one->getHeaderFieldCount(); ++i) {
            one->getHeaderField(i, true)->getName();
        }
    }
}

void addReading(std::vector<MessageRow>& rows) {
    const auto add = [&rows](const char* name, Act act) {
        rows.push_back({name, [](MessageStage&) {}, std::move(act)});
    };
    add("CreateMessage", [](MessageStage&) { return MessageHandle(KvMsg_CreateMailMessage()) != nullptr; });
    add("CreateLocator", [](MessageStage&) {
        return LocatorHandle(KvMsg_CreateResourceLocator(kMail, 1, 40, 40, 1)) != nullptr;
    });
    add("Walk", [](MessageStage& stage) {
        int count = 0;
        for (KvMsgEntity* one = &stage.root(); one != nullptr; one = one->getNext()) {
            ++count;
        }
        return count == 3;
    });
    add("FieldValue", [](MessageStage& stage) {
        const KvMsgHeaderField* field = stage.root().getHeaderFieldByName("subject", true);
        const char* charset = nullptr;
        return field != nullptr && field->getValue(&charset) != nullptr && charset != nullptr;
    });
    add("RawLine", [](MessageStage& stage) {
        const KvMsgHeaderField* field = stage.root().getHeaderField(2, true);
        return field != nullptr && field->getRawLine() != nullptr;
    });
    add("FileName", [](MessageStage& stage) {
        KvMsgEntity* text = stage.root().getNext();
        KvMsgEntity* file = text != nullptr ? text->getNext() : nullptr;
        return file != nullptr && file->getFileInfo() != nullptr;
    });
    add("Headers", [](MessageStage& stage) {
        std::string out;
        msgu::getHeaders(stage.message.get(), out);
        return !out.empty();
    });
    add("Subject", [](MessageStage& stage) {
        std::string out;
        return msgu::getSubject(stage.message.get(), "utf-8", nullptr, out);
    });
    add("Charset", [](MessageStage& stage) { return msgu::getCharset(stage.message.get()) != nullptr; });
    add("Header", [](MessageStage& stage) {
        std::string out;
        return msgu::getHeader(&stage.root(), "X-Again", out);
    });
    add("Recipients", [](MessageStage& stage) {
        std::string out;
        std::list<std::string> list;
        return msgu::getRcpt(stage.message.get(), out, list);
    });
    add("FindContentType", [](MessageStage& stage) {
        std::list<KvMsgEntity*> found;
        return msgu::findContentType(stage.message.get(), "octet-stream", found, true) && found.size() == 1;
    });
    add("IsBody", [](MessageStage& stage) {
        KvMsgEntity* text = stage.root().getNext();
        return text != nullptr && msgu::isBody(stage.message.get(), text);
    });
    add("ActionNames", [](MessageStage&) {
        std::string out;
        return QuzoAction::CreateActionTokenString("1;2;3;7", out);
    });
}

void addTexts(std::vector<MessageRow>& rows) {
    const auto add = [&rows](const char* name, bool silent, Act act) {
        rows.push_back({name, [](MessageStage&) {}, std::move(act)});
        rows.back().silent = silent;
    };
    add("Convert", true, [](MessageStage&) {
        char out[200] = {};
        std::size_t length = sizeof out - 1;
        return KvMsg_CharsetConverterString(kSubject, "utf-8", out, "iso-8859-1", &length, 0, '?') == 0;
    });
    add("Conv", true, [](MessageStage&) {
        std::string out;
        int error = 0;
        return msgu::conv(kSubject, "utf-8", "iso-8859-1", out, error, true);
    });
    add("EncodedWords", true, [](MessageStage&) {
        int error = 0;
        return HeaderValueHandle(msgu::genRfc2047(kSubject, "utf-8", error)) != nullptr;
    });
    add("BlobRead", false, [](MessageStage&) {
        Blob::Map map;
        const char* cursor = "key=a value that is longer than small strings are;";
        return Blob::readBlob(cursor, map);
    });
    add("BlobBind", false, [](MessageStage&) {
        Blob::Map map;
        std::string field;
        field.swap(const_cast<std::string&>(kNewValue));
        const bool stored = Blob::bindBlobField(map, "a key that is no shorter than that", field, true);
        field.swap(const_cast<std::string&>(kNewValue));
        return stored;
    });
}

void addEdits(std::vector<MessageRow>& rows) {
    const auto add = [&rows](const char* name, const Act& act) {
        for (const bool warm : {false, true}) {
            MessageRow row{std::string(name) + (warm ? "Warm" : ""),
                           [warm](MessageStage& stage) {
                               if (warm) {
                                   warmUp(stage);
                               }
                           },
                           act};
            row.afterFailure = [](MessageStage& stage) {
                EXPECT_EQ(platform::test::written(*stage.message), kMail);
                EXPECT_FALSE(stage.message->changed());
            };
            rows.push_back(row);
        }
    };
    for (const char* name : {"X-A-Field-That-Is-New-Here", "X-Again", "Subject"}) {
        add(name[0] == 'S'                     ? "SetSubject"
            : name[2] == 'A' && name[3] == 'g' ? "SetAgain"
                                               : "SetNew",
            [name](MessageStage& stage) {
                return msgu::setHeader(&stage.root(), name, kNewValue.c_str(), nullptr);
            });
    }
    add("SetTo", [](MessageStage& stage) {
        return msgu::setHeader(&stage.root(), "To", "a.long.address@example.com;another@example.com",
                               "utf-8");
    });
    add("SetValue", [](MessageStage& stage) {
        KvMsgHeaderField* field = stage.root().getHeaderField(3, false);
        return field != nullptr && field->setValue(kSubject, "utf-8") == 0;
    });
    add("SetParameter", [](MessageStage& stage) {
        KvMsgHeaderField* field = stage.root().getHeaderField(7, false);
        return field != nullptr && field->setParameter("a-parameter", kNewValue.c_str(), 0) == 0;
    });
    add("AddField", [](MessageStage& stage) {
        return stage.root().addHeaderField(1, "X-A-Field-That-Is-New", kSubject, "utf-8") != nullptr;
    });
    add("RemoveAll", [](MessageStage& stage) { return stage.root().removeHeader("X-Again") == 0; });
    add("RemoveOne", [](MessageStage& stage) { return stage.root().removeHeaderField(5) == 0; });
}

void addEnvelope(std::vector<MessageRow>& rows) {
    const auto add = [&rows](const char* name, Act act) {
        MessageRow row{name, [](MessageStage&) {}, std::move(act)};
        row.afterFailure = [](MessageStage& stage) {
            EXPECT_EQ(stage.message->sender(), "from.an.address@example.com");
            EXPECT_EQ(stage.message->recipients(), (std::vector<std::string>{"to.an.address@example.com"}));
        };
        rows.push_back(row);
    };
    add("SetSender", [](MessageStage& stage) {
        return stage.message->getSessionInfo()->setSender("A Name <a.new.and.long.address@example.com>") == 0;
    });
    add("InsertRecipient", [](MessageStage& stage) {
        return stage.message->getSessionInfo()->insertRecipient(0, "a.new.and.long.address@example.com") == 0;
    });
    for (const bool append : {false, true}) {
        add(append ? "AppendRecipients" : "ReplaceRecipients", [append](MessageStage& stage) {
            return msgu::setRcpt(stage.message.get(), "a.new.and.long.address@example.com;b@example.com",
                                 append);
        });
    }
}

std::vector<MessageRow> messageRows() {
    std::vector<MessageRow> rows;
    addReading(rows);
    addTexts(rows);
    addEdits(rows);
    addEnvelope(rows);
    return rows;
}

class PlatformWithoutMemory : public ::testing::TestWithParam<MessageRow> {};

TEST_P(PlatformWithoutMemory, FailsCleanly) { runRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Rows, PlatformWithoutMemory, ::testing::ValuesIn(messageRows()),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace quzo::test
