// Settings of the X-header action. They are typed by an administrator and become a line of every message that
// a rule matches, so nothing but printable ASCII passes.
#include "quzo/settings/ui_insert_xheader_tag.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "quzo/core/guard.h"
#include "quzo/core/trim.h"

namespace quzo {
namespace {

constexpr std::size_t kMaxLength = 512;

} // namespace

bool uiInsertXHeaderTag::_checkXHeaderTagValidation(const char* text, int length, std::string& out) {
    if (text == nullptr || length <= 0) {
        return false;
    }
    // One byte more than allowed is enough to see that a text is too long.
    const std::size_t looked = std::min(static_cast<std::size_t>(length), kMaxLength + 1);
    const std::size_t n = strnlen(text, looked);
    if (n == 0 || n > kMaxLength) {
        return false;
    }
    out.assign(text, n);
    return out.find(':') != std::string::npos &&
           std::all_of(out.begin(), out.end(), [](char c) { return c >= 32 && c <= 126; });
}

bool uiInsertXHeaderTag::construct(const char* setting, unsigned length) {
    constexpr unsigned kMaxInt = std::numeric_limits<int>::max();
    return guarded("uiInsertXHeaderTag::construct", false, [&] {
        std::string text;
        if (!_checkXHeaderTagValidation(setting, static_cast<int>(std::min(length, kMaxInt)), text)) {
            return false;
        }
        const std::size_t colon = text.find(':');
        headerName = withoutSpaces(std::string_view(text).substr(0, colon));
        headerValue = withoutSpaces(std::string_view(text).substr(colon + 1));
        return !headerName.empty() && !headerValue.empty();
    });
}

std::string uiInsertXHeaderTag::serialize() {
    return guarded("uiInsertXHeaderTag::serialize", std::string(),
                   [&] { return headerName + ":" + headerValue; });
}

void uiInsertXHeaderTag::getXHeaderTag(std::string& name, std::string& value) {
    guarded("uiInsertXHeaderTag::getXHeaderTag", false, [&] {
        name = headerName;
        value = headerValue;
        return true;
    });
}

void uiInsertXHeaderTag::setXHeaderTag(std::string& name, std::string& value) {
    guarded("uiInsertXHeaderTag::setXHeaderTag", false, [&] {
        std::string copy = value; // both or neither
        headerName = name;
        headerValue = std::move(copy);
        return true;
    });
}

} // namespace quzo
