// Between an action's fields and its stored setting text, for `quzo action encode` and `decode`.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quzo::host {

enum class CodecStatus {
    Done,
    UnknownType, // no such action type
    Refused,     // a key, a value or the setting text is wrong
};

struct Encoded {
    CodecStatus status = CodecStatus::Done;
    std::string setting; // when Done; may be empty, and may hold any byte
    // Otherwise one text for each fault: "KEY: what is wrong: what to do".
    std::vector<std::string> faults;
};

struct Decoded {
    CodecStatus status = CodecStatus::Done;
    std::vector<std::pair<std::string, std::string>> fields; // key and value as texts, when Done
    std::vector<std::string> faults;
};

// The setting text of a type from "key", "value" pairs. Flags are true or false; the lists "to" and "ids"
// may be given as one text (separated by ';' and ',') or as several pairs. Types whose settings are named
// objects (quarantine, archive, stamp, notify) take "ids" here, since names need a store. Also types that
// this build cannot carry out are encoded.
Encoded encodeAction(std::string_view type, const std::vector<std::pair<std::string, std::string>>& pairs);

// The fields of a setting text, such that encodeAction() of them gives the same text.
Decoded decodeAction(std::string_view type, std::string_view setting);

} // namespace quzo::host
