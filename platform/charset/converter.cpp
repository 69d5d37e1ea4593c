// The public face of the conversions: finds both charsets, takes the short ways where the bytes need no
// conversion at all, and otherwise joins a UnitReader and a UnitWriter chunk by chunk.
#include "platform/charset/converter.h"

#include <unicode/utf16.h>

#include <algorithm>
#include <array>

#include "platform/base/utf8.h"
#include "platform/charset/charset.h"
#include "platform/charset/unit_reader.h"
#include "platform/charset/unit_writer.h"
#include "platform/charset/utf16_order.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

constexpr std::size_t kChunkUnits = 2048;
constexpr char16_t kReplacement = 0xFFFD;

// UTF-8 to UTF-8: a check and a copy.
int copyUtf8(std::string_view in, std::string& out, std::size_t maxBytes) {
    const std::string_view head = in.substr(0, maxBytes);
    const std::size_t valid = validUtf8Prefix(head);
    if (valid != head.size() && (head.size() == in.size() || utf8SequenceLength(in, valid) == 0)) {
        return kErrorMalformedText;
    }
    out.assign(head.substr(0, valid));
    return kErrorNone;
}

// The charset to read `in` with.
std::shared_ptr<Charset> findSource(const char* name, std::string_view in) {
    auto charset = findCharset(name);
    if (charset == nullptr || !charset->orderByMark || charset->basicPlaneOnly || hasUtf16Mark(in)) {
        return charset;
    }
    return findCharset(std::string_view(isLittleEndian(in) ? "utf-16le" : "utf-16be"));
}

bool isPrintableAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

int transcode(std::string_view in, UnitReader& reader, UnitWriter& writer) {
    std::array<char16_t, kChunkUnits>
        units;            // NOLINT(cppcoreguidelines-pro-type-member-init): filled by read()
    std::size_t held = 0; // 1 when a pair's first half waits for the second
    while (!reader.done() && !writer.full()) {
        std::size_t count = held + reader.read(in, units.data() + held, units.size() - held);
        if (reader.error() != 0) {
            return reader.error();
        }
        held = !reader.done() && count > 0 && U16_IS_LEAD(units[count - 1]) ? 1 : 0;
        count -= held;
        const char16_t lead = held != 0 ? units[count] : u'\0';
        const int error = writer.write(units.data(), count, reader.done());
        if (error != 0) {
            return error;
        }
        units[0] = lead;
    }
    return kErrorNone;
}

} // namespace

int convert(std::string_view in, const char* from, const char* to, Unmappable mode, char substitute,
            std::string& out, std::size_t maxBytes) {
    out.clear();
    const auto source = findSource(from, in);
    const auto target = findCharset(to);
    if (source == nullptr || target == nullptr) {
        return kErrorUnknownCharset;
    }
    if ((source->asciiCompatible && target->asciiCompatible && isAscii(in)) ||
        (source->holdsAscii && target->holdsAscii && isPrintableAscii(in))) {
        out.assign(in.substr(0, maxBytes));
        return kErrorNone;
    }
    if (source->kind == Charset::Kind::Utf8 && target->kind == Charset::Kind::Utf8) {
        return copyUtf8(in, out, maxBytes);
    }
    const auto mark = static_cast<char16_t>(substitute & 0x7F);
    UnitReader reader(*source, OnUnreadable::Fail, mark);
    UnitWriter writer(*target, mode, mark, out, maxBytes);
    return transcode(in, reader, writer);
}

int decodeLeniently(std::string_view in, const char* from, std::string& out, std::size_t maxBytes) {
    out.clear();
    // In mail that says iso-8859-1, bytes 80 to 9F are meant as windows-1252, not as control characters.
    const auto source = findSource(sameCharset(from, "iso-8859-1") ? "windows-1252" : from, in);
    const auto target = findCharset(std::string_view("utf-8"));
    if (source == nullptr || target == nullptr) {
        return kErrorUnknownCharset;
    }
    if (source->asciiCompatible && isAscii(in)) {
        out.assign(in.substr(0, maxBytes));
        return kErrorNone;
    }
    if (source->kind == Charset::Kind::Utf8 && copyUtf8(in, out, maxBytes) == kErrorNone) {
        return kErrorNone;
    }
    out.clear();
    UnitReader reader(*source, OnUnreadable::ReplaceAll, kReplacement);
    UnitWriter writer(*target, Unmappable::Substitute, kReplacement, out, maxBytes);
    return transcode(in, reader, writer);
}

bool knownCharset(const char* name) { return findCharset(name) != nullptr; }

bool sameCharset(const char* a, const char* b) {
    const auto first = findCharset(a);
    const auto second = findCharset(b);
    return first != nullptr && second != nullptr && isSameCharset(*first, *second);
}

bool asciiCompatible(const char* name) {
    const auto charset = findCharset(name);
    return charset != nullptr && charset->asciiCompatible;
}

bool holdsAscii(const char* name) {
    const auto charset = findCharset(name);
    return charset != nullptr && charset->holdsAscii;
}

} // namespace quzo::platform
