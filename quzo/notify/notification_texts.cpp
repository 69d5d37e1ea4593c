// What a notification says. A text that cannot be put into the charset that the installation prefers goes out
// in UTF-8: no character of it is lost.
#include "quzo/notify/notification_texts.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "quzo/core/error_text.h"
#include "quzo/core/msgu.h"
#include "quzo/core/text.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/tokens/action_utils.h"

namespace quzo {
namespace {

constexpr char kUtf8[] = "utf-8";

bool replace_tokens(TokenMap<ScanToken>& tokens, const std::string& text, const KvMsgMailMessage* msg,
                    std::string& out) {
    if (msg == nullptr) {
        out = text;
        return true;
    }
    return ActionUtils::replaceTokens(tokens, text, *msg, out);
}

// `body` comes in UTF-8.
void put_into_charset(std::string& body, std::string& charset) {
    std::string converted;
    int error = 0;
    if (msgu::conv(body.c_str(), kUtf8, charset.c_str(), converted, error, true)) {
        body.swap(converted);
    } else {
        ActionLog::L1("Cannot convert from charset 'utf-8' to '%s', error %u ('%s') with string: %.32s.",
                      charset.c_str(), static_cast<unsigned>(error), KVMSGERR::I2A(error), body.c_str());
        charset = kUtf8;
    }
    if (exceedsUsAscii(body)) {
        charset = kUtf8;
    }
}

} // namespace

bool makeNotificationTexts(const uiNotifyArea& area, const KvMsgMailMessage* msg, TokenMap<ScanToken>& tokens,
                           NotificationTexts& texts) {
    texts.charset = ActionUtils::getDefaultDstCharset();
    if (!replace_tokens(tokens, area.subject, msg, texts.subject)) {
        return false;
    }
    if (texts.subject.empty()) {
        texts.subject = area.subject;
    }
    if (area.sendSnmpTrap && !area.snmpMessage.empty() &&
        !replace_tokens(tokens, area.snmpMessage, msg, texts.snmp)) {
        return false;
    }
    if (!replace_tokens(tokens, area.message, msg, texts.body)) {
        return false;
    }
    put_into_charset(texts.body, texts.charset);
    return true;
}

std::string notificationMessageId(unsigned scannerId, unsigned long long microseconds,
                                  const char* identifier) {
    char text[1024];
    // Two numbers in a row, without zeros in front: the form that receivers know.
    std::snprintf(text, sizeof text, "<%X-%X%X-%s>", scannerId, static_cast<unsigned>(microseconds >> 32U),
                  static_cast<unsigned>(microseconds & 0xFFFFFFFFU), identifier);
    return text;
}

bool isCharset(const std::string& charset, const char* name) {
    const std::size_t length = std::strlen(name);
    return charset.size() == length &&
           platform_icasencmp(charset.c_str(), name, static_cast<unsigned>(length)) == 0;
}

bool exceedsUsAscii(const std::string& text) {
    return isCharset(ActionUtils::getDefaultDstCharset(), "us-ascii") &&
           std::any_of(text.begin(), text.end(),
                       [](char c) { return (static_cast<unsigned char>(c) & 0x80U) != 0; });
}

} // namespace quzo
