// Writing UTF-16 as bytes. ICU's own handlers for what cannot be written drop invisible characters without a
// word, so there is one of ours.
//
// A limit on the output is met by converting whole chunks as long as the worst case fits, and then
// character by character. In a charset with shift sequences the last few characters are tried on a copy of
// the converter, since only it knows what closing the text costs.
#include "platform/charset/unit_writer.h"

#include <unicode/ucnv_cb.h>
#include <unicode/ucnv_err.h>
#include <unicode/utf16.h>

#include <array>

#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

// More than one character and the closing of a text take in any charset of ICU.
constexpr std::size_t kNearEnd = 32;

constexpr std::size_t kBulkBytes = 8192;

// ICU's IBM tables exchange three control characters; see Charset::ibmControls.
char16_t permuteControl(char16_t unit) {
    switch (unit) {
        case 0x1A:
            return 0x1C;
        case 0x1C:
            return 0x7F;
        case 0x7F:
            return 0x1A;
        default:
            return unit;
    }
}

} // namespace

UnitWriter::UnitWriter(Charset& charset, Unmappable mode, char16_t substitute, std::string& out,
                       std::size_t maxBytes)
    : charset_(charset),
      mode_(mode),
      substitute_(substitute),
      out_(out),
      maxBytes_(maxBytes),
      repertoire_(repertoireOf(charset.narrow)) {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_resetFromUnicode(charset_.encoder.get());
    ucnv_setFromUCallBack(charset_.encoder.get(), &UnitWriter::unmappable, this, nullptr, nullptr, &status);
    if (ucnv_getType(charset_.encoder.get()) == UCNV_HZ) {
        // ICU announces the ASCII that hz begins with anyway, which others do not expect. Let it go by.
        std::array<char, kPieceBytes> announced{};
        feed(*charset_.encoder, u"a", 1, false, announced.data());
    }
}

UnitWriter::~UnitWriter() {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(charset_.encoder.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                          &status);
}

void UnitWriter::unmappable(const void* context, UConverterFromUnicodeArgs* args, const char16_t* /*units*/,
                            std::int32_t /*length*/, UChar32 /*character*/, UConverterCallbackReason reason,
                            UErrorCode* status) {
    if (reason > UCNV_IRREGULAR) {
        return;
    }
    const auto& writer = *static_cast<const UnitWriter*>(context);
    if (reason == UCNV_UNASSIGNED && writer.mode_ == Unmappable::Substitute) {
        const char16_t* source = &writer.substitute_;
        *status = U_ZERO_ERROR;
        ucnv_cbFromUWriteUChars(args, &source, source + 1, 0, status);
    }
}

int UnitWriter::write(char16_t* units, std::size_t count, bool last) {
    count = narrow(units, count);
    if (error_ == 0 && !full_) {
        switch (charset_.kind) {
            case Charset::Kind::Utf8:
                writeUtf8(units, count);
                break;
            case Charset::Kind::Iso2022Jp:
                writeIso2022(units, count, last);
                break;
            case Charset::Kind::Icu:
                writeIcu(units, count, last);
                break;
        }
    }
    return error_;
}

// Holds the text to the narrow charset; returns the units that are left. A character outside becomes the
// substitute or an error.
std::size_t UnitWriter::narrow(char16_t* units, std::size_t count) {
    if (repertoire_ == nullptr && !charset_.basicPlaneOnly && !charset_.ibmControls) {
        return count;
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count;) {
        UChar32 character = 0;
        U16_NEXT(units, i, count, character);
        const bool basic = character <= 0xFFFF;
        if (repertoire_ != nullptr || charset_.basicPlaneOnly) {
            const bool has =
                basic && (repertoire_ == nullptr || repertoire_->has(static_cast<char16_t>(character)));
            if (!has && mode_ == Unmappable::Fail) {
                error_ = kErrorUnmappable;
                return 0;
            }
            character = has ? character : static_cast<UChar32>(substitute_);
        }
        if (charset_.ibmControls && basic) {
            character = permuteControl(static_cast<char16_t>(character));
        }
        U16_APPEND_UNSAFE(units, kept, character);
    }
    return kept;
}

void UnitWriter::writeUtf8(const char16_t* units, std::size_t count) {
    std::array<char, 4> bytes{};
    for (std::size_t i = 0; i < count;) {
        UChar32 character = 0;
        U16_NEXT(units, i, count, character);
        std::size_t length = 0;
        if (character < 0x80) {
            bytes[length++] = static_cast<char>(character);
        } else if (U_IS_SURROGATE(character) && substitute_ < 0x80) {
            error_ = kErrorMalformedText;
            return;
        } else {
            if (U_IS_SURROGATE(character)) {
                character = substitute_; // U+FFFD: the text is only read
            }
            const auto tail = [&](unsigned shift) {
                bytes[length++] = static_cast<char>(0x80 | ((character >> shift) & 0x3F));
            };
            if (character < 0x800) {
                bytes[length++] = static_cast<char>(0xC0 | (character >> 6));
            } else {
                if (character < 0x10000) {
                    bytes[length++] = static_cast<char>(0xE0 | (character >> 12));
                } else {
                    bytes[length++] = static_cast<char>(0xF0 | (character >> 18));
                    tail(12);
                }
                tail(6);
            }
            tail(0);
        }
        if (length > room()) {
            full_ = true;
            return;
        }
        out_.append(bytes.data(), length);
    }
}

void UnitWriter::writeIso2022(const char16_t* units, std::size_t count, bool last) {
    std::string piece;
    for (std::size_t i = 0; i < count && !full_;) {
        UChar32 character = 0;
        U16_NEXT(units, i, count, character);
        if (U_IS_SURROGATE(character)) {
            error_ = kErrorMalformedText;
            return;
        }
        piece.clear();
        Iso2022JpWriter ahead = iso2022_;
        bool has = ahead.put(static_cast<char32_t>(character), piece);
        if (!has && mode_ == Unmappable::Substitute) {
            has = ahead.put(substitute_, piece);
        }
        if (!has) {
            error_ = kErrorUnmappable;
            return;
        }
        if (piece.size() > room() || ahead.closingBytes() > room() - piece.size()) {
            full_ = true;
        } else {
            out_ += piece;
            iso2022_ = ahead;
        }
    }
    if (last || full_) {
        iso2022_.close(out_);
    }
}

void UnitWriter::writeIcu(const char16_t* units, std::size_t count, bool last) {
    // ICU's own bound: ten units more than there are.
    const std::size_t bound = (count + 10) * charset_.maxCharBytes + kNearEnd;
    if (bound <= room()) {
        writeAll(units, count, last);
    } else {
        writeSingly(units, count, last);
    }
}

void UnitWriter::writeAll(const char16_t* units, std::size_t count, bool last) {
    std::array<char, kBulkBytes> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): written by ICU
    const char16_t* source = units;
    UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
    while (status == U_BUFFER_OVERFLOW_ERROR) {
        char* target = bytes.data();
        status = U_ZERO_ERROR;
        ucnv_fromUnicode(charset_.encoder.get(), &target, bytes.data() + bytes.size(), &source, units + count,
                         nullptr, static_cast<UBool>(last), &status);
        out_.append(bytes.data(), static_cast<std::size_t>(target - bytes.data()));
    }
    if (U_FAILURE(status)) {
        error_ = status == U_INVALID_CHAR_FOUND ? kErrorUnmappable : kErrorMalformedText;
    }
}

// Encodes into `piece`, which has kPieceBytes; returns the bytes written.
std::size_t UnitWriter::feed(UConverter& encoder, const char16_t* units, std::size_t count, bool flush,
                             char* piece) {
    char* target = piece;
    const char16_t* source = units;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_fromUnicode(&encoder, &target, piece + kPieceBytes, &source, units + count, nullptr,
                     static_cast<UBool>(flush), &status);
    if (U_FAILURE(status)) {
        error_ = status == U_INVALID_CHAR_FOUND ? kErrorUnmappable : kErrorMalformedText;
    }
    return static_cast<std::size_t>(target - piece);
}

void UnitWriter::writeSingly(const char16_t* units, std::size_t count, bool last) {
    std::array<char, kPieceBytes> piece{};
    for (std::size_t i = 0; i < count && !full_ && error_ == 0;) {
        std::size_t next = i;
        U16_FWD_1(units, next, count);
        if (charset_.stateful && room() < 2 * kNearEnd) {
            writeNearEnd(units + i, next - i);
        } else {
            const std::size_t bytes = feed(*charset_.encoder, units + i, next - i, false, piece.data());
            if (bytes > room()) {
                full_ = true;
            } else {
                out_.append(piece.data(), bytes);
            }
        }
        i = next;
    }
    if (last && !full_ && error_ == 0) {
        const std::size_t bytes = feed(*charset_.encoder, units, 0, true, piece.data());
        full_ = bytes > room();
        out_.append(piece.data(), full_ ? 0 : bytes);
    }
}

// One character in a stateful charset where the room may not hold it and the closing of the text.
void UnitWriter::writeNearEnd(const char16_t* units, std::size_t count) {
    std::array<char, kPieceBytes> piece{};
    std::array<char, kPieceBytes> closing{};
    UErrorCode status = U_ZERO_ERROR;
    const ConverterHandle before(ucnv_clone(charset_.encoder.get(), &status));
    const std::size_t bytes = feed(*charset_.encoder, units, count, false, piece.data());
    const ConverterHandle after(ucnv_clone(charset_.encoder.get(), &status));
    if (U_FAILURE(status)) {
        error_ = kErrorNoMemory;
    }
    if (error_ != 0) {
        return;
    }
    if (bytes + feed(*after, units, 0, true, closing.data()) <= room()) {
        out_.append(piece.data(), bytes);
        return;
    }
    full_ = true;
    if (!out_.empty()) { // else there is nothing to close
        out_.append(closing.data(), feed(*before, units, 0, true, closing.data()));
    }
}

} // namespace quzo::platform
