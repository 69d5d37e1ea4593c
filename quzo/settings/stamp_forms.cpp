// See stamp_forms.h.
#include "quzo/settings/stamp_forms.h"

namespace quzo {
namespace {

constexpr char kStoredLineEnd = '\x03';
constexpr char kHtmlLineEnd = '\x1E';

// The text without the line end in front of the dividing line.
std::string_view withoutLineEnd(std::string_view text) {
    if (text.ends_with(kStoredLineEnd)) {
        text.remove_suffix(1);
    } else if (text.ends_with('\n')) {
        text.remove_suffix(text.ends_with("\r\n") ? 2 : 1);
    }
    return text;
}

} // namespace

std::string joinStampForms(const StampForms& forms) {
    std::string stored;
    for (const char c : forms.text) {
        if (c != '\n') {
            stored += c;
            continue;
        }
        if (stored.ends_with('\r')) {
            stored.pop_back();
        }
        stored += kStoredLineEnd;
    }
    if (forms.html) {
        stored.append({kStoredLineEnd, kStampHtmlBegins, kStoredLineEnd});
        for (const char c : *forms.html) {
            if (c != '\r') {
                stored += c == '\n' ? kHtmlLineEnd : c;
            }
        }
    }
    return stored;
}

StampForms splitStampForms(std::string_view stored) {
    const std::size_t divider = stored.find(kStampHtmlBegins);
    if (divider == std::string_view::npos) {
        return {std::string(stored), std::nullopt};
    }
    StampForms forms{std::string(withoutLineEnd(stored.substr(0, divider))), std::string()};
    for (const char c : stored.substr(divider + 1)) {
        if (c == kHtmlLineEnd) {
            *forms.html += '\n';
        } else if (c != '\r' && c != '\n' && c != kStoredLineEnd) {
            *forms.html += c;
        }
    }
    return forms;
}

bool canBeStampForm(std::string_view text) {
    return text.find_first_of(std::string_view("\0\x03\x1C\x1E", 4)) == std::string_view::npos;
}

} // namespace quzo
