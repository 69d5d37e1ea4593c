// The charset of a message. See charset_of_message.h.
#include "platform/message/charset_of_message.h"

#include <algorithm>
#include <array>

#include "platform/base/utf8.h"
#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "platform/message/ascii.h"
#include "platform/message/message_impl.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

bool saysNothing(std::string_view charset) {
    static constexpr std::array<std::string_view, 3> kAscii = {"us-ascii", "ascii", "ansi_x3.4-1968"};
    return charset.empty() || std::any_of(kAscii.begin(), kAscii.end(),
                                          [&](std::string_view name) { return equalsNoCase(charset, name); });
}

// The charset of the first encoded word (=?charset?B?...), without the language behind a '*'.
std::string_view firstWordCharset(std::string_view value) {
    for (std::size_t at = value.find("=?"); at != std::string_view::npos; at = value.find("=?", at + 2)) {
        const std::size_t begin = at + 2;
        const std::size_t mark = value.find_first_of("? \t\r\n", begin);
        if (mark == std::string_view::npos) {
            break;
        }
        const bool isWord = value[mark] == '?' && mark > begin && mark + 2 < value.size() &&
                            value[mark + 2] == '?' &&
                            std::string_view("bBqQ").find(value[mark + 1]) != std::string_view::npos;
        if (isWord) {
            std::string_view name = value.substr(begin, mark - begin);
            name = name.substr(0, name.find('*'));
            return isCharsetName(name) ? name : std::string_view();
        }
    }
    return {};
}

// The text part whose charset counts; null when there is none.
Entity* firstTextPart(MessageImpl& message) {
    Entity* part = &message.root();
    if (!message.plainlyLeaf()) {
        const std::vector<Entity*>& body = message.tree().body();
        part = body.empty() ? nullptr : body.front();
    }
    return part != nullptr && startsWithNoCase(part->mediaType(), "text/") ? part : nullptr;
}

} // namespace

std::string charsetOfMessage(MessageImpl& message) {
    if (const Entity* part = firstTextPart(message)) {
        std::string charset = part->charset();
        if (!saysNothing(charset)) {
            return charset;
        }
    }
    const std::optional<std::string_view> subject = message.root().header().rawValue("Subject");
    const std::string_view charset = subject ? firstWordCharset(*subject) : std::string_view();
    return saysNothing(charset) ? std::string() : std::string(charset);
}

bool subjectOfMessage(MessageImpl& message, const std::string& localCharset, const std::string& mailCharset,
                      std::string& out) {
    HeaderField* subject = message.root().header().find("Subject");
    const char* wordCharset = nullptr;
    const char* value = subject == nullptr ? nullptr : subject->getValue(&wordCharset);
    if (value == nullptr) {
        return false;
    }
    const std::string local = localCharset.empty() ? "utf-8" : localCharset;
    const auto readIn = [&](const char* charset) {
        return charset != nullptr && *charset != '\0' &&
               convert(value, charset, local.c_str(), Unmappable::Substitute, '?', out) == kErrorNone;
    };
    if (wordCharset != nullptr) {
        return readIn(wordCharset);
    }
    if (isAscii(value)) {
        return readIn("us-ascii");
    }
    return readIn(mailCharset.c_str()) || readIn(message.charset()) || readIn("utf-8") ||
           readIn(local.c_str());
}

} // namespace quzo::platform
