// Every key of quzo.ini that somebody reads, with what its value has to be and its default.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace quzo::platform {

enum class KeyType : std::uint8_t {
    Text,
    Host, // the name of one
    Path, // of a file or folder, from the folder of quzo.ini on when it is relative
    Charset,
    Integer,  // decimal, fits an int
    Switch,   // an integer: 0 is off, anything else on
    Positive, // an integer of 1 or more
    YesNo,    // the word "yes" or "no"
    Count,    // a number of things; 0 is no limit
    Size,     // a number of bytes, with K, M or G for 2^10, 2^20 or 2^30; 0 is no limit
    Choice,   // one of `choices`
    Duration, // a time of more than nothing, such as 90s, 5m, 4h, 5d
    NextHop,  // the URL of a mail server
    Prefix,   // begins with one of `choices`
    Snmp,     // what platform/config/snmp_settings.h says of the key
    Milter,   // what platform/config/milter_settings.h says of the key
};

struct KnownKey {
    std::string_view section;
    std::string_view key;
    KeyType type = KeyType::Text;
    std::string_view usual = {};   // what it is where the file does not say, as it would stand there; or none
    std::string_view choices = {}; // separated by '|'
    std::string_view made = {};    // where `usual` is none: what then stands in its place, in words
    bool secret = false;           // may hold a password: its value is never shown
    std::size_t most = 0;          // of a Size; 0: whatever fits
};

const std::vector<KnownKey>& knownKeys();

const KnownKey* findKnownKey(std::string_view section, std::string_view key);
bool isKnownSection(std::string_view section);

// The key of that section (or the section) whose name is nearest to `name`; empty when none is near.
std::string_view nearestKey(std::string_view section, std::string_view name);
std::string_view nearestSection(std::string_view name);

// A section that has a key of that very name; empty when none has.
std::string_view sectionOfKey(std::string_view key);

// Whether a value is what the types above say.
bool isSize(const KnownKey& known, std::string_view text);
bool isHost(std::string_view text);
bool isDuration(std::string_view text);
bool isChoice(std::string_view text, std::string_view choices);
bool hasPrefix(std::string_view text, std::string_view prefixes);

} // namespace quzo::platform
