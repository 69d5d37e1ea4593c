// The byte order of UTF-16 text without a byte order mark.
//
// The standards say big-endian, and much of the mail that is written so is little-endian. Read in the wrong
// order, nearly every text has characters that nobody assigned, lone surrogates, or letters of scripts that
// mail hardly uses; and where it has none, what was ASCII is ASCII no more.
#include "platform/charset/utf16_order.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <tuple>

namespace quzo::platform {

namespace {

constexpr std::size_t kLookedAt = 2000; // bytes

// How a text reads in one order; the smaller is the better.
struct Reading {
    std::size_t broken = 0;  // surrogates without their other half
    std::size_t faults = 0;  // what is no character of a text
    std::size_t strange = 0; // characters of scripts that are rare in mail
    std::size_t other = 0;   // characters that are not of ASCII

    bool worseThan(const Reading& that) const {
        return std::tie(broken, faults, strange, other) >
               std::tie(that.broken, that.faults, that.strange, that.other);
    }
};

char16_t unitAt(std::string_view text, std::size_t at, bool littleEndian) {
    const auto first = static_cast<unsigned char>(text[at]);
    const auto second = static_cast<unsigned char>(text[at + 1]);
    return static_cast<char16_t>(littleEndian ? second << 8 | first : first << 8 | second);
}

bool isUsual(UChar32 character) {
    static constexpr std::array kScripts = {
        USCRIPT_COMMON,   USCRIPT_INHERITED, USCRIPT_LATIN,      USCRIPT_GREEK,  USCRIPT_CYRILLIC,
        USCRIPT_ARMENIAN, USCRIPT_HEBREW,    USCRIPT_ARABIC,     USCRIPT_THAI,   USCRIPT_GEORGIAN,
        USCRIPT_HIRAGANA, USCRIPT_KATAKANA,  USCRIPT_DEVANAGARI, USCRIPT_HANGUL, USCRIPT_HAN,
        USCRIPT_BENGALI,  USCRIPT_TAMIL};
    const UBlockCode block = ublock_getCode(character);
    if (block == UBLOCK_CJK_UNIFIED_IDEOGRAPHS_EXTENSION_A || block == UBLOCK_ARABIC_PRESENTATION_FORMS_A) {
        return false;
    }
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(character, &status);
    return std::find(kScripts.begin(), kScripts.end(), script) != kScripts.end();
}

Reading readIn(bool littleEndian, std::string_view text) {
    Reading reading;
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
        UChar32 character = unitAt(text, at, littleEndian);
        if (U16_IS_LEAD(character) && at + 3 < text.size()) {
            const char16_t trail = unitAt(text, at + 2, littleEndian);
            if (U16_IS_TRAIL(trail)) {
                character = U16_GET_SUPPLEMENTARY(character, trail);
                at += 2;
            }
        }
        const bool control = character < 0x20 && character != '\t' && character != '\r' && character != '\n';
        reading.broken += U_IS_SURROGATE(character) ? 1 : 0;
        if (control || !u_isdefined(character) || u_charType(character) == U_PRIVATE_USE_CHAR) {
            ++reading.faults;
        }
        reading.strange += isUsual(character) ? 0 : 1;
        reading.other += character < 0x80 ? 0 : 1;
    }
    return reading;
}

} // namespace

bool hasUtf16Mark(std::string_view text) {
    const std::string_view mark = text.substr(0, 2);
    return mark == "\xFE\xFF" || mark == "\xFF\xFE";
}

bool isLittleEndian(std::string_view text) {
    const std::string_view beginning = text.substr(0, kLookedAt);
    return !readIn(true, beginning).worseThan(readIn(false, beginning));
}

} // namespace quzo::platform
