// The names of the kinds, as policies and the command line write them, and times.
#include "platform/store/stored_object.h"

#include <cstdio>
#include <iterator>

namespace quzo::platform {
namespace {

constexpr const char* kNames[] = {"object", "notify", "stamp", "quarantine", "archive"};

} // namespace

const char* objectKindName(ObjectKind kind) {
    const auto number = static_cast<unsigned>(kind);
    return number < std::size(kNames) ? kNames[number] : kNames[0];
}

std::optional<ObjectKind> objectKindNamed(std::string_view name) {
    for (unsigned number = 1; number < std::size(kNames); ++number) {
        if (name == kNames[number]) {
            return static_cast<ObjectKind>(number);
        }
    }
    return std::nullopt;
}

std::string objectTime(std::chrono::sys_seconds time) {
    const auto days = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{days};
    const std::chrono::hh_mm_ss clock{time - days};
    char text[64];
    std::snprintf(text, sizeof text, "%d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

} // namespace quzo::platform
