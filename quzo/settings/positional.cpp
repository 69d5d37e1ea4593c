// Reading and writing of the positional encoding.
//
// The readers keep the answers of the format's first implementation, loose bound included, because stored
// objects were accepted by it. They are safe for any text because the copy they read is padded with zeros.
#include "quzo/settings/positional.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace quzo {
namespace {

// Whether the number that was read from `text` up to `end` has a minus sign.
bool isNegative(const char* text, const char* end) {
    return std::memchr(text, '-', static_cast<std::size_t>(end - text)) != nullptr;
}

} // namespace

unsigned long readSettingNumber(const char* text, char*& end) {
    const int before = errno;
    errno = 0;
    const unsigned long value = std::strtoul(text, &end, 10);
    const bool tooLarge = errno == ERANGE;
    errno = before;
    // The C library takes the negative of what stands behind the sign; here its type has 64 bits.
    const bool negative = isNegative(text, end);
    const unsigned long magnitude = negative && !tooLarge ? 0UL - value : value;
    if (tooLarge || magnitude > kMaxSettingNumber) {
        return kMaxSettingNumber;
    }
    return negative ? (0UL - magnitude) & kMaxSettingNumber : magnitude;
}

bool _get_numeric_data(long& value, const char*& position, char*& end) {
    value = static_cast<long>(readSettingNumber(position, end));
    position = end + 1;
    return true;
}

bool _get_string_data(std::string& value, const char*& position, char*& end, unsigned& budget) {
    if (position == nullptr || *position == '\0') {
        return false;
    }
    const unsigned long length = readSettingNumber(position, end);
    const auto consumed = static_cast<unsigned long>(end - position);
    if (consumed > budget) {
        return false;
    }
    budget -= static_cast<unsigned>(consumed);
    const char* text = end + 1;
    if (length >= budget || text[length] != ':') {
        return false;
    }
    value.assign(text, strnlen(text, length));
    position = text + length + 1;
    return true;
}

void appendSettingNumber(std::string& out, unsigned value) {
    out.append(std::to_string(value)).append(1, ':');
}

void appendSettingString(std::string& out, std::string_view value) {
    appendSettingNumber(out, static_cast<unsigned>(value.size()));
    out.append(value).append(1, ':');
}

} // namespace quzo
