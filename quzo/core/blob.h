// The key/value text form of settings. The platform owns the form; it only has to bring a map of
// strings back as it was.
#pragma once

#include <map>
#include <string>

namespace quzo {

class Blob {
public:
    using Map = std::map<std::string, std::string>;

    // Parses the NUL-terminated text at `cursor` into `map`, adding to what it holds, and moves
    // `cursor` behind what was read. False for a text that is no blob or names a key twice; `map` may
    // then hold part of it.
    static bool readBlob(const char*& cursor, Map& map);

    // Renders the map as text without NUL bytes, replacing `out`.
    static void writeBlob(std::string& out, const Map& map);

    // `store` false: takes the value of `key` out of the map into `field`; false when the key is
    // missing or, for a number, when the whole value is not a decimal int. `store` true: puts the
    // field's value into the map. A field is untouched on false.
    static bool bindBlobField(Map& map, const char* key, std::string& field, bool store);
    static bool bindBlobField(Map& map, const char* key, int& field, bool store);
};

} // namespace quzo
