// The charset of a message. See charset_of_message.h.
#include "platform/message/charset_of_message.h"

#include "platform/base/ascii.h"
#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/charset/word_scan.h"
#include "platform/message/message_impl.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

// The charset of the first encoded word, without the language behind a '*'; empty when there is none.
std::string firstWordCharset(std::string_view value) {
    for (std::size_t at = value.find("=?"); at != std::string_view::npos; at = value.find("=?", at + 2)) {
        EncodedWord word;
        if (readEncodedWord(value, at, word)) {
            return std::string(word.charset);
        }
    }
    return {};
}

// Whether the name says more than us-ascii, and text in that charset is a C string that may begin with ASCII.
bool isUseful(const std::string& charset) {
    return holdsAscii(charset.c_str()) && !sameCharset(charset.c_str(), "us-ascii");
}

// Whether the library gets the value without the charset that reads it.
bool comesAsRawBytes(MessageImpl& message, const HeaderField& field) {
    return message.rawValues() == RawValues::AsTheyCame && !field.hasWords() &&
           !field.charsetOfText().empty();
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

std::string bodyCharset(MessageImpl& message) {
    const Entity* part = firstTextPart(message);
    std::string charset = part != nullptr ? part->charset() : std::string();
    return isUseful(charset) ? charset : std::string();
}

std::string charsetOfMessage(MessageImpl& message) {
    std::string body = bodyCharset(message);
    std::string own;
    bool several = false;
    bool raw = false;
    for (const HeaderField* subject : message.root().header().all("Subject")) {
        const std::string& charset = subject->charsetOfText();
        const bool isRaw = comesAsRawBytes(message, *subject);
        // UTF-8 has every character, so a text is never too much for it.
        const bool counts = !charset.empty() && (isRaw || !sameCharset(charset.c_str(), "utf-8"));
        several = several || (counts && !own.empty() && !sameCharset(charset.c_str(), own.c_str()));
        raw = raw || isRaw;
        own = counts ? charset : own;
    }
    if (several) {
        return raw ? "windows-1252" : "us-ascii"; // it reads all bytes; it has no text that one of them lacks
    }
    if (!own.empty() && !sameCharset(own.c_str(), body.c_str())) {
        return own;
    }
    if (!body.empty()) {
        return body;
    }
    const std::optional<std::string_view> subject = message.root().header().rawValue("Subject");
    const std::string charset = subject ? firstWordCharset(*subject) : std::string();
    return isUseful(charset) ? charset : std::string();
}

bool subjectOfMessage(MessageImpl& message, const std::string& localCharset, const std::string& mailCharset,
                      std::string& out) {
    HeaderField* subject = message.root().header().find("Subject");
    const char* value = subject == nullptr ? nullptr : subject->getValue(nullptr);
    if (value == nullptr) {
        return false;
    }
    const std::string local = localCharset.empty() ? "utf-8" : localCharset;
    const auto readIn = [&](const std::string& charset) {
        return !charset.empty() &&
               convert(value, charset.c_str(), local.c_str(), Unmappable::Substitute, '?', out) == kErrorNone;
    };
    const std::string& charset = subject->charsetOfText();
    if (charset.empty()) {
        return readIn("us-ascii");
    }
    const bool sure = subject->hasWords() || isAscii(value) || isUtf8(value);
    return (!sure && (readIn(mailCharset) || readIn(bodyCharset(message)) || readIn(local))) ||
           readIn(charset);
}

} // namespace quzo::platform
