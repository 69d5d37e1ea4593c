// The text form of quarantine and archive areas.
#include "quzo/settings/area.h"

#include "quzo/core/guard.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"

namespace quzo {

bool Area::construct(const char* setting, unsigned length) {
    return guarded("Area::construct", false, [&] {
        const SettingText text(setting, length);
        if (text.empty() || *text.begin() == '\0') {
            return false;
        }
        const char* cursor = text.begin();
        char* end = nullptr;
        agingDays = static_cast<unsigned>(readSettingNumber(cursor, end));
        agingEnabled = agingDays != 0;
        cursor = end + 1;
        const auto consumed = static_cast<unsigned long>(cursor - text.begin());
        if (consumed > length) {
            return false;
        }
        unsigned budget = length - static_cast<unsigned>(consumed);
        return _get_string_data(description, cursor, end, budget);
    });
}

std::string Area::serialize() {
    if (!agingEnabled) {
        agingDays = 0;
    }
    return guarded("Area::serialize", std::string(), [&] {
        std::string text;
        text.reserve(1024);
        appendSettingNumber(text, agingDays);
        appendSettingString(text, description);
        return text;
    });
}

} // namespace quzo
