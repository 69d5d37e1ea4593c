// Settings that travel as a key/value blob.
#pragma once

#include <string>

#include "quzo/core/blob.h"
#include "quzo/core/guard.h"
#include "quzo/settings/setting_text.h"

namespace quzo {

// `bind(map, store)` binds the object's keys in their fixed order with Blob::bindBlobField and returns false
// at the first that fails. Reading keeps the fields bound before a failure; every key is required.
template <typename Bind>
bool constructFromBlob(const char* where, const char* setting, unsigned length, Bind&& bind) {
    return guarded(where, false, [&] {
        if (setting == nullptr) {
            return false;
        }
        const SettingText text(setting, length);
        const char* cursor = text.begin();
        Blob::Map map;
        return Blob::readBlob(cursor, map) && cursor == text.end() && bind(map, false);
    });
}

// The text of the object's fields; empty when one cannot be bound.
template <typename Bind>
std::string serializeToBlob(const char* where, Bind&& bind) {
    return guarded(where, std::string(), [&] {
        Blob::Map map;
        std::string text;
        if (bind(map, true)) {
            Blob::writeBlob(text, map);
        }
        return text;
    });
}

} // namespace quzo
