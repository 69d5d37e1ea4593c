// One charset's conversions for the division of long lines, each into one buffer of a given capacity.
#pragma once

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quzo {

class LineCodec {
public:
    explicit LineCodec(const char* charset);

    // Whether the charset is known.
    explicit operator bool() const { return converter_ != nullptr; }

    // The most bytes that one UTF-16 unit takes, shift sequences included.
    std::int64_t maxBytes() const;

    // What cannot be converted: an error, or else the charset's substitute.
    enum class Unmappable : std::uint8_t { Fail, Substitute };

    std::optional<icu::UnicodeString> decode(std::string_view bytes, Unmappable unmappable);

    // The bytes up to the first NUL, which hold until the next call. Nothing when there are more than
    // `capacity`, those behind a NUL counted. `whole` says whether no NUL was among them.
    std::optional<std::string_view> encode(const icu::UnicodeString& text, std::int64_t capacity,
                                           Unmappable unmappable, bool* whole = nullptr);

private:
    struct Close {
        void operator()(UConverter* converter) const { ucnv_close(converter); }
    };
    std::unique_ptr<UConverter, Close> converter_;
    std::string buffer_;
};

} // namespace quzo
