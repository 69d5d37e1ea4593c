// The text helpers of the platform: conversion into a caller's buffer, splitting, and comparing names.
#include "quzo/core/text.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "platform/charset/converter.h"
#include "quzo/core/error_text.h"

namespace quzo {

namespace {

unsigned char lowerAscii(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte - 'A' + 'a') : byte;
}

} // namespace

int KvMsg_CharsetConverterString(const char* source, const char* sourceCharset, char* target,
                                 const char* targetCharset, std::size_t* length, int flag, char substitute) {
    if (source == nullptr || target == nullptr || length == nullptr) {
        return kErrorInvalidArgument;
    }
    const bool ascii = substitute != '\0' && static_cast<unsigned char>(substitute) < 0x80;
    try {
        if (platform::knownCharset(targetCharset) && !platform::holdsAscii(targetCharset)) {
            return kErrorNotSupported;
        }
        std::string out;
        const int error =
            platform::convert(source, sourceCharset, targetCharset,
                              flag == 0 ? platform::Unmappable::Fail : platform::Unmappable::Substitute,
                              ascii ? substitute : '?', out, *length);
        if (error != kErrorNone) {
            return error;
        }
        std::memcpy(target, out.data(), out.size());
        target[out.size()] = '\0';
        *length = out.size();
        return kErrorNone;
    } catch (const std::bad_alloc&) {
        return kErrorNoMemory;
    } catch (const std::exception&) {
        return kErrorInternal;
    }
}

void tokenize(const std::string& text, std::vector<std::string>& parts, const std::string& delimiters) {
    parts.clear();
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(delimiters, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

int platform_icasencmp(const char* a, const char* b, unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
        const int difference = lowerAscii(a[i]) - lowerAscii(b[i]);
        if (difference != 0 || a[i] == '\0') {
            return difference;
        }
    }
    return 0;
}

} // namespace quzo
