// The text form of stamp texts. Both numbers are from 1 to 4294967294: 0 is what a text without digits reads
// as, and 4294967295 what a number out of range does.
#include "quzo/settings/ui_stamp_area.h"

#include "quzo/core/guard.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"

namespace quzo {
namespace {

bool read_number(const char* text, char*& end, unsigned& number) {
    const unsigned long value = readSettingNumber(text, end);
    if (value == 0 || value == kMaxSettingNumber) {
        return false;
    }
    number = static_cast<unsigned>(value);
    return true;
}

} // namespace

bool uiStampArea::construct(const char* setting, unsigned length) {
    return guarded("uiStampArea::construct", false, [&] {
        const SettingText text(setting, length);
        char* end = nullptr;
        if (text.empty() || !read_number(text.begin(), end, position) ||
            !read_number(end + 1, end, signedTnefMode) || *end == '\0') {
            return false;
        }
        const char* cursor = end + 1;
        const auto consumed = static_cast<unsigned long>(cursor - text.begin());
        if (consumed > length) {
            return false;
        }
        unsigned budget = length - static_cast<unsigned>(consumed);
        return _get_string_data(stampText, cursor, end, budget) &&
               _get_string_data(description, cursor, end, budget);
    });
}

std::string uiStampArea::serialize() {
    return guarded("uiStampArea::serialize", std::string(), [&] {
        std::string text;
        appendSettingNumber(text, position);
        appendSettingNumber(text, signedTnefMode);
        appendSettingString(text, stampText);
        appendSettingString(text, description);
        return text;
    });
}

} // namespace quzo
