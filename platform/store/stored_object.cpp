// The names of the kinds, as policies and the command line write them.
#include "platform/store/stored_object.h"

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

} // namespace quzo::platform
