// The date field. The process's locale is never switched for it, which would race with other threads: the
// names of days and months come from a locale object of its own.
#include "quzo/notify/notification_date.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace quzo {
namespace {

constexpr std::size_t kBufferSize = 2048;

// Null when there is no memory for it.
locale_t plain_locale() {
    static const std::unique_ptr<std::remove_pointer_t<locale_t>, decltype(&freelocale)> locale(
        newlocale(LC_ALL_MASK, "C", nullptr), &freelocale);
    return locale.get();
}

std::string date_and_time(const std::tm& local) {
    char text[kBufferSize] = {};
    const locale_t locale = plain_locale();
    if (locale != nullptr && strftime_l(text, sizeof text, "%a, %d %b %Y %H:%M:%S", &local, locale) != 0) {
        return text;
    }
    const char* plain = asctime_r(&local, text); // null for a year that it has no room for
    std::string result = plain != nullptr ? plain : "";
    if (!result.empty() && result.back() == '\n') {
        result.pop_back();
    }
    return result;
}

} // namespace

std::string notificationDate(std::time_t now) {
    std::tm local = {};
    std::tm utc = {};
    localtime_r(&now, &local);
    gmtime_r(&now, &utc);
    auto offset = static_cast<long>(now - std::mktime(&utc)); // seconds
    if (local.tm_isdst > 0) {
        offset += 3600;
    }
    const auto minutes = static_cast<unsigned>(std::labs(offset) / 60);
    char zone[64];
    std::snprintf(zone, sizeof zone, " %c%02u%02u", offset >= 0 ? '+' : '-', minutes / 60, minutes % 60);
    return date_and_time(local).append(zone);
}

} // namespace quzo
