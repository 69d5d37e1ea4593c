// The double-byte set is taken from ICU's Shift_JIS, whose rows 1 to 94 are those of JIS X 0208 with NEC's
// additions: each code is decoded once, and where two codes give one character the lower, which is the
// standard's own, is the one that is written.
#include "platform/charset/iso2022jp.h"

#include <unicode/utf16.h>

#include <array>
#include <memory>

#include "platform/charset/icu_handle.h"

namespace quzo::platform {

namespace {

// For each character of the Basic Multilingual Plane its two 7-bit bytes, 0 when it has none.
using KanjiTable = std::array<std::uint16_t, 0x10000>;

constexpr unsigned kCellsInRow = 94;

// Row and cell, both counted from 0, as the two bytes of Shift_JIS.
std::array<char, 2> shiftJis(unsigned row, unsigned cell) {
    const unsigned lead = row / 2 + (row < 62 ? 0x81U : 0xC1U);
    unsigned trail = cell + 0x9FU;
    if (row % 2 == 0) {
        trail = cell + (cell < 63 ? 0x40U : 0x41U);
    }
    return {static_cast<char>(lead), static_cast<char>(trail)};
}

std::unique_ptr<KanjiTable> makeKanjiTable() {
    auto table = std::make_unique<KanjiTable>();
    UErrorCode status = U_ZERO_ERROR;
    const ConverterHandle converter(ucnv_open("Shift_JIS", &status));
    if (U_FAILURE(status)) {
        return table;
    }
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    for (unsigned row = 0; row < kCellsInRow; ++row) {
        for (unsigned cell = 0; cell < kCellsInRow; ++cell) {
            const std::array<char, 2> code = shiftJis(row, cell);
            std::array<char16_t, 2> units{};
            status = U_ZERO_ERROR;
            const auto count = ucnv_toUChars(converter.get(), units.data(), 2, code.data(), 2, &status);
            if (U_SUCCESS(status) && count == 1 && units[0] >= 0x80 && (*table)[units[0]] == 0) {
                (*table)[units[0]] = static_cast<std::uint16_t>((row + 0x21) * 0x100 + cell + 0x21);
            }
        }
    }
    return table;
}

std::uint16_t kanjiCode(char32_t character) {
    static const std::unique_ptr<KanjiTable> table = makeKanjiTable();
    return character <= 0xFFFF ? (*table)[character] : std::uint16_t{0};
}

bool isShift(char32_t character) { return character == 0x1B || character == 0x0E || character == 0x0F; }

} // namespace

void Iso2022JpWriter::select(Set set, std::string& out) {
    if (set == set_) {
        return;
    }
    switch (set) {
        case Set::Ascii:
            out += "\x1B(B";
            break;
        case Set::Roman:
            out += "\x1B(J";
            break;
        case Set::Katakana:
            out += "\x1B(I";
            break;
        case Set::Kanji:
            out += "\x1B$B";
            break;
    }
    set_ = set;
}

bool Iso2022JpWriter::put(char32_t character, std::string& out) {
    if (character < 0x80) {
        if (isShift(character)) {
            return false; // it would be taken for a shift sequence
        }
        select(Set::Ascii, out);
        out += static_cast<char>(character);
        return true;
    }
    if (character == 0xA5 || character == 0x203E) { // yen sign and overline
        select(Set::Roman, out);
        out += character == 0xA5 ? '\\' : '~';
        return true;
    }
    if (character >= 0xFF61 && character <= 0xFF9F) {
        select(Set::Katakana, out);
        out += static_cast<char>(character - 0xFF61 + 0x21);
        return true;
    }
    const std::uint16_t code = kanjiCode(character);
    if (code == 0) {
        return false;
    }
    select(Set::Kanji, out);
    out += static_cast<char>(code >> 8U);
    out += static_cast<char>(code & 0xFFU);
    return true;
}

void Iso2022JpWriter::close(std::string& out) { select(Set::Ascii, out); }

std::size_t writeIso2022Jp(std::u16string_view units, std::size_t maxBytes, std::string& out) {
    Iso2022JpWriter writer;
    std::string piece;
    std::size_t taken = 0;
    std::size_t written = 0;
    while (taken < units.size()) {
        std::size_t next = taken;
        char32_t character = 0;
        U16_NEXT(units.data(), next, units.size(), character);
        piece.clear();
        Iso2022JpWriter ahead = writer;
        if (!ahead.put(character, piece) || written + piece.size() + ahead.closingBytes() > maxBytes) {
            break;
        }
        out += piece;
        written += piece.size();
        writer = ahead;
        taken = next;
    }
    writer.close(out);
    return taken;
}

} // namespace quzo::platform
