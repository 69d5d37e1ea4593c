// Traces of files that lie in a body in a format of their own, without being parts of the message.
//
// Nobody takes them apart here: this says that they are there.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quzo::platform {

enum class EmbeddedFormat : std::uint8_t { Uuencode, Tnef, Yenc, Binhex, Count };

// Their names, in the order of the values.
inline constexpr std::array<std::string_view, static_cast<std::size_t>(EmbeddedFormat::Count)>
    kEmbeddedFormatNames = {"uuencode", "tnef", "yenc", "binhex"};

// By the values of EmbeddedFormat.
using EmbeddedFormats = std::bitset<static_cast<std::size_t>(EmbeddedFormat::Count)>;

// What a type in lower case ("application/ms-tnef"), or the name of a file, says about the part that bears
// it.
EmbeddedFormats embeddedFormatsOfType(std::string_view contentType);
EmbeddedFormats embeddedFormatsOfName(std::string_view fileName);

// What a body says, transfer encodings undone: anywhere the first lines of uuencoded (also "begin-base64"),
// yEnc and BinHex files, and TNEF data by its first bytes. Costs one pass.
EmbeddedFormats embeddedFormatsOfBody(std::string_view body);

} // namespace quzo::platform
