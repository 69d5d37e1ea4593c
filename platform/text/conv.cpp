// The charset helpers of msgu: thin covers over platform/charset that turn its results into the library's.
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "quzo/core/error_text.h"
#include "quzo/core/factories.h"
#include "quzo/core/msgu.h"

namespace quzo {

namespace {

// Runs `work`, whose result is an error number, into `error`.
template <typename Work>
bool succeeds(int& error, Work&& work) noexcept {
    try {
        error = std::forward<Work>(work)();
    } catch (const std::bad_alloc&) {
        error = kErrorNoMemory;
    } catch (...) {
        error = kErrorInternal;
    }
    return error == kErrorNone;
}

int convertTo(const char* text, const char* fromCharset, const char* toCharset, bool strict,
              std::size_t maxBytes, std::string& out) {
    if (text == nullptr) {
        return kErrorInvalidArgument;
    }
    return platform::convert(text, fromCharset, toCharset,
                             strict ? platform::Unmappable::Fail : platform::Unmappable::Substitute, '?', out,
                             maxBytes);
}

} // namespace

bool msgu::conv(const char* text, const char* fromCharset, const char* toCharset, std::string& out,
                int& error, bool strict) {
    return succeeds(error, [&] {
        std::string converted; // `text` may be inside `out`
        const int result = convertTo(text, fromCharset, toCharset, strict, std::string::npos, converted);
        if (result == kErrorNone) {
            out = std::move(converted);
        }
        return result;
    });
}

bool msgu::conv(const char* text, const char* fromCharset, const char* toCharset, char* out,
                unsigned long& length, int& error, bool strict) {
    return succeeds(error, [&] {
        if (out == nullptr || length == 0) {
            return static_cast<int>(kErrorInvalidArgument);
        }
        std::string converted;
        const int result = convertTo(text, fromCharset, toCharset, strict, length - 1, converted);
        if (result == kErrorNone) {
            std::memcpy(out, converted.data(), converted.size());
            out[converted.size()] = '\0';
            length = converted.size();
        }
        return result;
    });
}

char* msgu::genRfc2047(const char* text, const char* charset, int& error) {
    char* value = nullptr;
    succeeds(error, [&] {
        if (text == nullptr) {
            return static_cast<int>(kErrorInvalidArgument);
        }
        std::string words;
        const int result = platform::encodeAsWords(text, charset, words);
        if (result == kErrorNone) {
            auto copy = std::make_unique<char[]>(words.size() + 1);
            std::memcpy(copy.get(), words.c_str(), words.size() + 1);
            value = copy.release(); // to KvMsg_FreeHeaderValue
        }
        return result;
    });
    return value;
}

void KvMsg_FreeHeaderValue(char* value) {
    delete[] value; // NOLINT(cppcoreguidelines-owning-memory): the other half of genRfc2047
}

} // namespace quzo
