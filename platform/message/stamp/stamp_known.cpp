// See stamp_known.h.
#include "platform/message/stamp/stamp_known.h"

#include <algorithm>
#include <cstring>

#include "platform/base/utf8.h"
#include "platform/message/stamp/html_text.h"

namespace quzo::platform {
namespace {

// Blanks, the marks of quoting, and characters that nobody sees.
bool isPassedOver(char32_t c) {
    return c <= ' ' || c == '>' || c == '|' || c == 0xA0 || c == 0xAD || (c >= 0x2000 && c <= 0x200F) ||
           c == 0x202F || c == 0x2060 || c == 0x3000 || c == 0xFEFF;
}

} // namespace

std::string quotedForm(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t length = utf8SequenceLength(utf8, at);
        const std::string_view one = utf8.substr(at, std::max<std::size_t>(length, 1));
        at += one.size();
        if (length != 0 && !isPassedOver(codePoint(one))) {
            out += one;
        }
    }
    return out;
}

KnownStamp::KnownStamp(std::string_view text, std::string_view html)
    : text_(quotedForm(text)), html_(quotedForm(textOfHtml(html))) {}

bool KnownStamp::shownIn(std::string_view utf8) const {
    const std::string shown = quotedForm(utf8);
    const auto holds = [&shown](const std::string& form) {
        // memmem is linear whatever the texts are.
        return !form.empty() && memmem(shown.data(), shown.size(), form.data(), form.size()) != nullptr;
    };
    return holds(text_) || holds(html_);
}

} // namespace quzo::platform
