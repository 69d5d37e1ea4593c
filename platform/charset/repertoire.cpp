// Works the sets out from the converters themselves: a code belongs to the narrow charset when the narrow
// converter has a character for it, and the character that counts is the one that the wide converter
// gives, since that one does the reading and writing. No tables of ours, so nothing to keep in step.
#include "platform/charset/repertoire.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <memory>
#include <optional>

#include "platform/charset/icu_handle.h"

namespace quzo::platform {

namespace {

constexpr int kMaxCode = 2; // bytes of the longest code looked at

ConverterHandle openStopping(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    ConverterHandle converter(ucnv_open(name, &status));
    if (U_FAILURE(status)) {
        return nullptr;
    }
    status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    return U_FAILURE(status) ? nullptr : std::move(converter);
}

bool isPrivateUse(char16_t unit) { return unit >= 0xE000 && unit <= 0xF8FF; }
bool isUpperControl(char16_t unit) { return unit >= 0x80 && unit <= 0x9F; }

// The one character that `code` stands for; none when it is no code, several characters, or one that no
// narrow charset defines.
std::optional<char16_t> characterOf(UConverter& converter, const char* code, int length) {
    ucnv_resetToUnicode(&converter);
    UErrorCode status = U_ZERO_ERROR;
    const char* at = code;
    // Many thousand codes are asked for, and this is the quickest way to ask for one.
    const UChar32 character = ucnv_getNextUChar(&converter, &at, code + length, &status);
    if (U_FAILURE(status) || at != code + length || character > 0xFFFF) {
        return std::nullopt;
    }
    const auto unit = static_cast<char16_t>(character);
    return isPrivateUse(unit) || isUpperControl(unit) ? std::nullopt : std::optional(unit);
}

bool isWrittenAs(UConverter& converter, char16_t unit, const char* code, int length) {
    std::array<char, 8> bytes{};
    UErrorCode status = U_ZERO_ERROR;
    char* end = bytes.data();
    const char16_t* from = &unit;
    ucnv_resetFromUnicode(&converter);
    ucnv_fromUnicode(&converter, &end, bytes.data() + bytes.size(), &from, from + 1, nullptr, true, &status);
    if (U_FAILURE(status) || end != bytes.data() + length) {
        return false;
    }
    return bytes[0] == code[0] && (length == 1 || bytes[1] == code[1]);
}

// The Hangul filler of KS X 1001 begins a sequence of eight bytes for those who know it, and is a character
// of its own for those who do not.
bool isHangulFiller(char16_t unit) { return unit == 0x3164; }

// `leastHigh` is the least byte above 0x7F that the narrow charset uses.
Repertoire workOut(const char* narrowName, const char* wideName, unsigned leastHigh) {
    Repertoire set;
    const ConverterHandle narrow = openStopping(narrowName);
    const ConverterHandle wide = openStopping(wideName);
    if (narrow == nullptr || wide == nullptr) {
        return set;
    }
    const auto consider = [&](const char* code, int length) {
        const auto unit = characterOf(*wide, code, length);
        if (unit && !isHangulFiller(*unit) && characterOf(*narrow, code, length) &&
            isWrittenAs(*wide, *unit, code, length)) {
            set.add(*unit);
        }
    };
    for (unsigned first = 0; first <= 0xFF; ++first) {
        if (first >= 0x80 && first < leastHigh) {
            continue;
        }
        std::array<char, kMaxCode> code{static_cast<char>(first), '\0'};
        consider(code.data(), 1);
        if (first < 0x81 || ucnv_getMaxCharSize(narrow.get()) == 1) {
            continue;
        }
        for (unsigned second = 0x40; second <= 0xFE; ++second) {
            code[1] = static_cast<char>(second);
            consider(code.data(), kMaxCode);
        }
    }
    return set;
}

Repertoire asciiWithoutTilde() {
    Repertoire set;
    for (char16_t unit = 0; unit < 0x80; ++unit) {
        if (unit != u'~') {
            set.add(unit);
        }
    }
    return set;
}

} // namespace

const Repertoire* repertoireOf(Narrow narrow) {
    switch (narrow) {
        case Narrow::None:
            return nullptr;
        case Narrow::Gb2312: {
            static const Repertoire set = workOut("ibm-1383_P110-1999", "gb18030", 0xA1);
            return &set;
        }
        case Narrow::Gbk: {
            static const Repertoire set = workOut("windows-936-2000", "gb18030", 0x81);
            return &set;
        }
        case Narrow::EucKr: {
            static const Repertoire set = workOut("ibm-970_P110_P110-2006_U2", "windows-949-2000", 0xA1);
            return &set;
        }
        case Narrow::Iso885911: {
            static const Repertoire set = workOut("iso-8859_11-2001", "windows-874-2000", 0xA0);
            return &set;
        }
        case Narrow::Tis620: {
            static const Repertoire set = workOut("iso-8859_11-2001", "windows-874-2000", 0xA1);
            return &set;
        }
        case Narrow::Hz: {
            static const Repertoire set = asciiWithoutTilde();
            return &set;
        }
    }
    return nullptr;
}

} // namespace quzo::platform
