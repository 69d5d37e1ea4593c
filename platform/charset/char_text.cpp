// Cuts a text into characters by letting the converter say, for each UTF-16 unit, at which byte its code
// begins. That proves at the same time that the bytes are text of the charset at all.
#include "platform/charset/char_text.h"

#include "platform/base/utf8.h"
#include "platform/charset/unit_reader.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

int CharText::read(std::string_view bytes, Charset& charset) {
    bytes_ = bytes;
    units_.clear();
    characters_.clear();
    characters_.reserve(bytes.size());
    if (charset.asciiCompatible && isAscii(bytes)) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            add(i, i, static_cast<char16_t>(bytes[i]));
        }
        return kErrorNone;
    }
    // No charset that this is used for has a code that gives more units than it has bytes.
    units_.resize(bytes.size() + 1);
    std::vector<std::int32_t> offsets(units_.size());
    UnitReader reader(charset, OnUnreadable::Fail, 0);
    std::string_view rest = bytes;
    units_.resize(reader.read(rest, units_.data(), units_.size(), offsets.data()));
    if (reader.error() != 0 || !reader.done()) {
        return kErrorMalformedText;
    }
    for (std::size_t i = 0; i < units_.size(); ++i) {
        const auto begin = static_cast<std::size_t>(offsets[i]);
        if (i == 0 || begin > characters_.back().begin) {
            add(begin, i, units_[i]);
        } else {
            // The second half of a pair, or one code that gives two units: never cut there.
            characters_.back().plain = '\0';
        }
    }
    return kErrorNone;
}

void CharText::add(std::size_t begin, std::size_t unitIndex, char16_t unit) {
    const bool plain = (unit >= 0x20 && unit <= 0x7E) || unit == '\t';
    characters_.push_back({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(unitIndex),
                           plain ? static_cast<char>(unit) : '\0'});
}

std::size_t CharText::byteAt(std::size_t index) const {
    return index < characters_.size() ? characters_[index].begin : bytes_.size();
}

std::size_t CharText::unitAt(std::size_t index) const {
    return index < characters_.size() ? characters_[index].unit : units_.size();
}

std::string_view CharText::bytes(std::size_t begin, std::size_t end) const {
    const std::size_t first = byteAt(begin);
    return bytes_.substr(first, byteAt(end) - first);
}

std::u16string_view CharText::units(std::size_t begin, std::size_t end) const {
    const std::size_t first = unitAt(begin);
    return std::u16string_view(units_).substr(first, unitAt(end) - first);
}

} // namespace quzo::platform
