// See line_codec.h.
#include "quzo/actions/line_codec.h"

#include <unicode/ucnv_err.h>

#include <algorithm>
#include <limits>

namespace quzo {

LineCodec::LineCodec(const char* charset) {
    UErrorCode error = U_ZERO_ERROR;
    converter_.reset(ucnv_open(charset, &error));
    if (U_FAILURE(error) != 0) {
        converter_.reset();
    }
}

std::int64_t LineCodec::maxBytes() const { return ucnv_getMaxCharSize(converter_.get()); }

std::optional<icu::UnicodeString> LineCodec::decode(std::string_view bytes, Unmappable unmappable) {
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()) / 2) {
        return std::nullopt;
    }
    UErrorCode error = U_ZERO_ERROR;
    const bool strict = unmappable == Unmappable::Fail;
    ucnv_setToUCallBack(converter_.get(), strict ? UCNV_TO_U_CALLBACK_STOP : UCNV_TO_U_CALLBACK_SUBSTITUTE,
                        nullptr, nullptr, nullptr, &error);
    const auto length = static_cast<std::int32_t>(bytes.size());
    icu::UnicodeString text;
    const std::int32_t room = length * 2 + 1; // ICU's bound on the units of so many bytes
    char16_t* units = text.getBuffer(room);
    const std::int32_t written =
        units == nullptr ? 0 : ucnv_toUChars(converter_.get(), units, room, bytes.data(), length, &error);
    text.releaseBuffer(U_FAILURE(error) != 0 || units == nullptr ? 0 : written);
    return U_FAILURE(error) != 0 || units == nullptr ? std::nullopt : std::optional(std::move(text));
}

std::optional<std::string_view> LineCodec::encode(const icu::UnicodeString& text, std::int64_t capacity,
                                                  Unmappable unmappable, bool* whole) {
    UErrorCode error = U_ZERO_ERROR;
    const bool strict = unmappable == Unmappable::Fail;
    ucnv_setFromUCallBack(converter_.get(),
                          strict ? UCNV_FROM_U_CALLBACK_STOP : UCNV_FROM_U_CALLBACK_SUBSTITUTE, nullptr,
                          nullptr, nullptr, &error);
    // No more is needed than so many bytes, and what a charset writes around a text.
    constexpr std::int64_t kAround = 64;
    const std::int64_t room = std::min(capacity, text.length() * maxBytes() + kAround);
    if (room > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    buffer_.resize(static_cast<std::size_t>(room) + 1);
    const std::int32_t written =
        ucnv_fromUChars(converter_.get(), buffer_.data(), static_cast<std::int32_t>(room), text.getBuffer(),
                        text.length(), &error);
    if (U_FAILURE(error) != 0) {
        return std::nullopt;
    }
    const std::string_view bytes(buffer_.data(), static_cast<std::size_t>(written));
    const std::size_t end = std::min(bytes.find('\0'), bytes.size());
    if (whole != nullptr) {
        *whole = end == bytes.size();
    }
    return bytes.substr(0, end);
}

} // namespace quzo
