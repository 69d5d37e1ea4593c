// Charsets by the names that mail uses, with their converters.
//
// Names come from hostile mail: what is too long or holds a character that no charset name has never
// reaches ICU, and each thread keeps the converters of a bounded number of names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/charset/icu_handle.h"
#include "platform/charset/repertoire.h"

namespace quzo::platform {

constexpr std::size_t kMaxCharsetName = 64;       // bytes
constexpr std::size_t kCharsetsKeptByThread = 32; // the least recently used one goes first

// One charset, for the thread that found it.
struct Charset {
    enum class Kind : std::uint8_t { Utf8, Iso2022Jp, Icu };

    std::string folded;   // the name without case and punctuation
    std::string mimeName; // a name that may stand in an encoded word; may be empty
    Kind kind = Kind::Icu;
    bool asciiCompatible = false; // see asciiCompatible() in converter.h
    bool holdsAscii = false;      // see holdsAscii() in converter.h
    bool stateful = false;        // bytes mean what shift sequences before them say
    bool wide = false;            // units of 2 or 4 bytes: the bytes may be NUL
    bool orderByMark = false;     // UTF-16 that may begin with a byte order mark
    bool basicPlaneOnly = false;  // no character above U+FFFF
    bool ibmControls = false;     // ICU's table permutes the control characters 1A, 1C and 7F
    unsigned maxCharBytes = 1;    // as ICU states it: for one UTF-16 unit, shift sequences included
    Narrow narrow = Narrow::None; // what may be written is held to this narrower charset
    ConverterHandle decoder;      // never null
    ConverterHandle encoder;      // never null; unused for the kinds Utf8 and Iso2022Jp
};

// The charset of that name, or null: unknown, no name at all, or a null pointer. It stays usable by this
// thread as long as the pointer is held.
std::shared_ptr<Charset> findCharset(std::string_view name);
std::shared_ptr<Charset> findCharset(const char* name);

// Whether both are the same charset under the same or another name.
bool isSameCharset(const Charset& a, const Charset& b);

// Whether `name` is a text that a charset name can be (length and characters).
bool isCharsetName(std::string_view name);

} // namespace quzo::platform
