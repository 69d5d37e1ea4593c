// The second half of a conversion: UTF-16 to bytes, in pieces, up to a limit. Uses the encoder of its
// Charset, which must not be used for anything else until the writer is destroyed.
#pragma once

#include <unicode/ucnv.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "platform/charset/iso2022jp.h"

namespace quzo::platform {

class UnitWriter {
public:
    // Appends to `out`, which grows to at most `maxBytes`.
    UnitWriter(Charset& charset, Unmappable mode, char16_t substitute, std::string& out,
               std::size_t maxBytes);
    ~UnitWriter();
    UnitWriter(const UnitWriter&) = delete;
    UnitWriter& operator=(const UnitWriter&) = delete;

    // Encodes whole characters; `units` is overwritten. `last` true also closes the text. Returns zero or
    // a KvMsgError, after which nothing more may be written.
    int write(char16_t* units, std::size_t count, bool last);

    // Whether the text was cut because the room is used up. It is closed then.
    bool full() const { return full_; }

private:
    static constexpr std::size_t kPieceBytes = 64; // of one character with its shifts, and far below

    static void unmappable(const void* context, UConverterFromUnicodeArgs* args, const char16_t* units,
                           std::int32_t length, UChar32 character, UConverterCallbackReason reason,
                           UErrorCode* status);

    std::size_t narrow(char16_t* units, std::size_t count);
    void writeUtf8(const char16_t* units, std::size_t count);
    void writeIso2022(const char16_t* units, std::size_t count, bool last);
    void writeIcu(const char16_t* units, std::size_t count, bool last);
    void writeAll(const char16_t* units, std::size_t count, bool last);
    void writeSingly(const char16_t* units, std::size_t count, bool last);
    void writeNearEnd(const char16_t* units, std::size_t count);
    std::size_t feed(UConverter& encoder, const char16_t* units, std::size_t count, bool flush, char* piece);
    std::size_t room() const { return maxBytes_ - out_.size(); }

    Charset& charset_;
    Unmappable mode_;
    char16_t substitute_;
    std::string& out_;
    std::size_t maxBytes_;
    const Repertoire* repertoire_;
    Iso2022JpWriter iso2022_;
    bool full_ = false;
    int error_ = 0;
};

} // namespace quzo::platform
