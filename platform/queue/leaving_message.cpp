// See leaving_message.h.
#include "platform/queue/leaving_message.h"

#include <utility>

#include "quzo/core/reprocess_mark.h"

namespace quzo::platform {
namespace {

constexpr const char* kMarks[] = {kReprocessRulesHeader, kReprocessTypeHeader};

bool marked(MailMessage& msg) {
    KvMsgEntity* root = msg.getRootEntity();
    if (root != nullptr) {
        for (const char* name : kMarks) {
            if (root->getHeaderFieldByName(name, true) != nullptr) {
                return true;
            }
        }
    }
    return false;
}

std::string textOf(const MailMessage& msg) {
    std::string text;
    text.reserve(msg.size());
    msg.write([&text](std::string_view piece) {
        text.append(piece);
        return true;
    });
    return text;
}

} // namespace

std::string leavingSender(const std::string& sender, const std::string& hostname) {
    return sender == "QUZO" && !hostname.empty() ? sender + "@" + hostname : sender;
}

std::string withoutMarks(std::string message) {
    // Only the first header block is looked at, whatever its size: the message was accepted once.
    const auto parsed = MailMessage::parse(std::move(message), {.headerBytes = 0});
    if (KvMsgEntity* root = parsed->getRootEntity(); root != nullptr && root->hasError() == 0) {
        for (const char* name : kMarks) {
            root->removeHeader(name);
        }
    }
    return textOf(*parsed);
}

MessageWriter writerOf(MailMessage& msg) {
    return [&msg](const MailMessage::Sink& sink) { return msg.write(sink); };
}

MessageWriter leavingWriterOf(MailMessage& msg) {
    if (!marked(msg)) {
        return writerOf(msg);
    }
    return [&msg](const MailMessage::Sink& sink) { return sink(withoutMarks(textOf(msg))); };
}

MessageWriter writerOf(std::string_view message) {
    return [message](const MailMessage::Sink& sink) { return message.empty() || sink(message); };
}

} // namespace quzo::platform
