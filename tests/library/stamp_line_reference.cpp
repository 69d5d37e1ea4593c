// Slow and plain. See stamp_line_reference.h.
#include "stamp_line_reference.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/unistr.h>

#include <memory>
#include <optional>

namespace quzo::test {
namespace {

struct Close {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, Close>;

Converter open(const char* name) {
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(name, &error));
    return U_SUCCESS(error) != 0 ? std::move(converter) : nullptr;
}

std::optional<icu::UnicodeString> decode(UConverter* converter, const std::string& bytes, bool strict) {
    UErrorCode error = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter, strict ? UCNV_TO_U_CALLBACK_STOP : UCNV_TO_U_CALLBACK_SUBSTITUTE, nullptr,
                        nullptr, nullptr, &error);
    icu::UnicodeString text(bytes.data(), static_cast<int32_t>(bytes.size()), converter, error);
    return U_SUCCESS(error) != 0 ? std::optional(text) : std::nullopt;
}

std::optional<std::string> encode(UConverter* converter, const icu::UnicodeString& text, long long capacity,
                                  bool strict) {
    UErrorCode error = U_ZERO_ERROR;
    ucnv_setFromUCallBack(converter, strict ? UCNV_FROM_U_CALLBACK_STOP : UCNV_FROM_U_CALLBACK_SUBSTITUTE,
                          nullptr, nullptr, nullptr, &error);
    std::string buffer(static_cast<std::size_t>(capacity) + 1, '\0');
    text.extract(buffer.data(), static_cast<int32_t>(capacity), converter, error);
    if (U_FAILURE(error) != 0) {
        return std::nullopt;
    }
    return std::string(buffer.c_str());
}

} // namespace

bool divideUnitByUnit(std::string& text, const char* charset, int limit, std::vector<std::string>& log) {
    limit = limit > 0 ? limit : 990;
    const Converter utf8 = open("utf-8");
    const Converter target = charset == nullptr ? nullptr : open(charset);
    if (text.empty() || !target) {
        return false;
    }
    const long long most = ucnv_getMaxCharSize(target.get());
    const icu::UnicodeString lineBreak(u"\r\n");
    const std::optional<std::string> broken = encode(target.get(), lineBreak, most * 2, true);
    const auto units = decode(utf8.get(), text, true);
    if (!broken || broken->empty() || !units) {
        return false;
    }
    const long long n = units->length() * most;
    const long long capacity = n / limit * static_cast<long long>(broken->size()) + n;
    const std::optional<std::string> encoded = encode(target.get(), *units, capacity, true);
    if (!encoded || encoded->empty()) {
        return false;
    }
    const std::size_t room = static_cast<std::size_t>(limit) + broken->size();
    std::string result;
    bool changed = false;
    std::size_t at = 0;
    while (true) {
        const std::size_t found = encoded->find(*broken, at);
        const std::size_t end = found == std::string::npos ? encoded->size() : found + broken->size();
        const std::string line = encoded->substr(at, end - at);
        if (line.size() <= room) {
            result += line;
        } else {
            log.push_back("Long line detected '" + std::to_string(line.size()) + "'");
            const auto lineUnits = decode(target.get(), line, false);
            if (!lineUnits) {
                return false;
            }
            icu::UnicodeString piece;
            for (int32_t i = 0; i < lineUnits->length(); ++i) {
                const auto candidate =
                    encode(target.get(), piece + lineUnits->charAt(i) + lineBreak, capacity, false);
                if (!candidate) {
                    return false;
                }
                if (candidate->size() > room) {
                    const auto cut = encode(target.get(), piece + lineBreak, capacity, false);
                    if (!cut) {
                        return false;
                    }
                    result += *cut;
                    log.push_back("Long line divided '" + std::to_string(cut->size()) + "'");
                    piece.remove();
                    changed = true;
                }
                piece += lineUnits->charAt(i);
            }
            if (!piece.isEmpty()) {
                const auto last = encode(target.get(), piece, capacity, false);
                if (!last) {
                    return false;
                }
                result += *last;
            }
        }
        if (found == std::string::npos || end >= encoded->size()) {
            break;
        }
        at = end;
    }
    const auto divided = changed ? decode(target.get(), result, false) : std::nullopt;
    const auto back = divided ? encode(utf8.get(), *divided, capacity, false) : std::nullopt;
    if (!back) {
        return false;
    }
    text = *back;
    return true;
}

} // namespace quzo::test
