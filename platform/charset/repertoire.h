// The characters that a narrow charset has within a wider one.
//
// Real mail labels text with the narrow name and fills it from the wide one (gb2312 and gb18030, euc-kr
// and windows-949). Such text is read and written with the wide converter, so that what was read comes
// back as the same bytes; what is written is held to the narrow charset by one of these sets.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quzo::platform {

// Which narrow charset. None: everything the converter has. Hz: ICU does not close a text in hz, so only what
// needs no shift is written in it.
enum class Narrow : std::uint8_t { None, Gb2312, Gbk, EucKr, Iso885911, Tis620, Hz };

// A set of characters of the Basic Multilingual Plane. Immutable, may be used by any thread.
class Repertoire {
public:
    bool has(char16_t unit) const { return ((bits_[unit >> 6U] >> (unit & 63U)) & 1U) != 0; }
    void add(char16_t unit) { bits_[unit >> 6U] |= std::uint64_t{1} << (unit & 63U); }

private:
    std::array<std::uint64_t, 1024> bits_{};
};

// The set of a narrow charset: static storage, worked out once at first use; null for Narrow::None, and
// when the converters that it is worked out from are missing.
const Repertoire* repertoireOf(Narrow narrow);

} // namespace quzo::platform
