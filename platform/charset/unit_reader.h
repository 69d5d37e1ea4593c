// The first half of a conversion: bytes to UTF-16, in pieces, so that a text of any length needs only a small
// buffer. Uses the decoder of its Charset, which must not be used for anything else until the reader is
// destroyed.
#pragma once

#include <unicode/ucnv.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/charset/charset.h"

namespace quzo::platform {

// What becomes of bytes that cannot be read.
enum class OnUnreadable : std::uint8_t {
    Fail,       // an error
    ReplaceAll, // every such sequence becomes the substitute
};

class UnitReader {
public:
    UnitReader(Charset& charset, OnUnreadable onUnreadable, char16_t substitute);
    ~UnitReader();
    UnitReader(const UnitReader&) = delete;
    UnitReader& operator=(const UnitReader&) = delete;

    // Decodes from the front of `in`, which is the rest of the text and is shortened by what was taken,
    // into `buffer`; returns the units written. A surrogate pair may be cut by the buffer's end.
    // `offsets`, which may be null, receives for each unit where in `in` its bytes begin.
    std::size_t read(std::string_view& in, char16_t* buffer, std::size_t capacity,
                     std::int32_t* offsets = nullptr);

    // Whether the text has been read to its end.
    bool done() const { return done_; }

    // Zero or a KvMsgError; nothing more can be read after one.
    int error() const { return error_; }

private:
    static void unreadable(const void* context, UConverterToUnicodeArgs* args, const char* bytes,
                           std::int32_t length, UConverterCallbackReason reason, UErrorCode* status);

    Charset& charset_;
    OnUnreadable onUnreadable_;
    char16_t substitute_;
    bool done_ = false;
    int error_ = 0;
};

} // namespace quzo::platform
