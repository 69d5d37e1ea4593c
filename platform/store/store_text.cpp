// Checks on code points, byte by byte over the UTF-8.
#include "platform/store/store_text.h"

#include "platform/base/utf8.h"
#include "platform/base/visible_text.h"
#include "platform/store/store_fault.h"

namespace quzo::platform {
namespace {

bool fitsName(char32_t point) {
    const auto within = [point](char32_t first, char32_t last) { return point >= first && point <= last; };
    return point >= 0x20 && !within(0x7F, 0x9F) && !within(0x2028, 0x202E) && !within(0x2066, 0x2069);
}

void checkHoldable(std::string_view text, const std::string& what) {
    if (!isUtf8(text)) {
        throw StoreFailure(StoreTrouble::BadText, what + " is not UTF-8 at byte " +
                                                      std::to_string(validUtf8Prefix(text)) +
                                                      ": the store holds UTF-8 text");
    }
    if (const std::size_t at = text.find('\0'); at != std::string_view::npos) {
        throw StoreFailure(StoreTrouble::BadText,
                           what + " has a NUL at byte " + std::to_string(at) + ": the store cannot hold it");
    }
}

void checkSize(std::string_view text, std::size_t limit, const std::string& what) {
    if (text.size() > limit) {
        throw StoreFailure(StoreTrouble::TooLong, what + " has " + std::to_string(text.size()) +
                                                      " bytes: at most " + std::to_string(limit) +
                                                      " are kept");
    }
}

} // namespace

void checkName(std::string_view text, const char* what) {
    const std::string subject =
        "the " + std::string(what) + (text.empty() ? "" : " ") + (text.empty() ? "" : quotedText(text));
    if (text.empty()) {
        throw StoreFailure(StoreTrouble::BadArgument, subject + " is empty");
    }
    checkSize(text, kMaxObjectName, subject);
    checkHoldable(text, subject);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8SequenceLength(text, at);
        if (!fitsName(codePoint(text.substr(at, length)))) {
            throw StoreFailure(StoreTrouble::BadText, subject + " has a control character at byte " +
                                                          std::to_string(at) +
                                                          ": use visible characters and blanks");
        }
        at += length;
    }
}

void checkContent(std::string_view content, std::string_view name) {
    const std::string subject = "the content of " + quotedText(name);
    if (content.empty()) {
        throw StoreFailure(StoreTrouble::BadArgument, subject + " is empty");
    }
    checkSize(content, kMaxObjectContent, subject);
    checkHoldable(content, subject);
}

void checkRuleName(std::string_view name, unsigned ruleId) {
    const std::string subject = "the name of rule " + std::to_string(ruleId);
    checkSize(name, kMaxRuleName, subject);
    checkHoldable(name, subject);
}

} // namespace quzo::platform
