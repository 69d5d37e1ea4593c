// See leaving_message.h.
#include "platform/queue/leaving_message.h"

#include <algorithm>
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

std::string withoutMarks(std::string message, std::uint32_t markEnd) {
    // Only the first header block is looked at, whatever its size: the message was accepted once.
    const auto parsed = MailMessage::parse(std::move(message), {.headerBytes = 0});
    if (KvMsgEntity* root = parsed->getRootEntity(); root != nullptr && root->hasError() == 0) {
        for (const char* name : kMarks) {
            root->removeHeader(name);
        }
    }
    std::string text = textOf(*parsed);
    text.resize(text.size() - std::min<std::size_t>(markEnd, text.size()));
    return text;
}

void removeAttachedMarks(MailMessage& msg) {
    KvMsgEntity* entity = msg.getRootEntity();
    while (entity != nullptr && entity->getEntityType() != kEntityMessage) {
        entity = entity->getNext();
    }
    KvMsgEntity* attached = entity != nullptr ? entity->getNext() : nullptr;
    for (const char* name : kMarks) {
        if (attached != nullptr) {
            attached->removeHeader(name);
        }
    }
}

std::uint32_t markEndOf(MailMessage& msg) {
    const std::string_view original = msg.original();
    if (original.empty() || original.back() == '\n' || !marked(msg)) {
        return 0;
    }
    // Other fields may have been added behind it as well: then the line break is theirs and stays.
    const std::string_view lastLine = original.substr(original.rfind('\n') + 1);
    const std::string text = withoutMarks(textOf(msg), 0);
    for (const std::string_view lineBreak : {"\r\n", "\n"}) {
        if (text.ends_with(lineBreak) &&
            std::string_view(text).substr(0, text.size() - lineBreak.size()).ends_with(lastLine)) {
            return static_cast<std::uint32_t>(lineBreak.size());
        }
    }
    return 0;
}

MessageWriter writerOf(MailMessage& msg) {
    return [&msg](const MailMessage::Sink& sink) { return msg.write(sink); };
}

MessageWriter leavingWriterOf(MailMessage& msg) {
    if (!marked(msg)) {
        return writerOf(msg);
    }
    return [&msg](const MailMessage::Sink& sink) { return sink(withoutMarks(textOf(msg), markEndOf(msg))); };
}

MessageWriter writerOf(std::string_view message) {
    return [message](const MailMessage::Sink& sink) { return message.empty() || sink(message); };
}

} // namespace quzo::platform
