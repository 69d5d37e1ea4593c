// The transfer encoding of a body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quzo::platform {

enum class TransferEncoding : std::uint8_t { None, Base64, QuotedPrintable, Uuencode };

// What a value of Content-Transfer-Encoding says, comments and parameters passed over. One that is not known
// counts as None.
TransferEncoding transferEncodingOf(std::string_view value);

// Whether a body is base64 and nothing else, so that all readers find the same in it.
bool isCleanBase64(std::string_view body);

// `body` decoded, at most `maxBytes` of the result.
std::string decodedTransfer(std::string_view body, TransferEncoding encoding, std::size_t maxBytes);

// What bytes that are stored as they are ask of the way: "7bit", "8bit" or "binary".
std::string_view plainEncodingOf(std::string_view bytes);

// Whether quoted-printable keeps bytes readable, and short: at most a quarter of them is not ASCII.
bool isMostlyAscii(std::string_view bytes);

// `bytes` in that encoding, with these line ends; as they are for None. Not for Uuencode.
std::string encodedTransfer(std::string_view bytes, TransferEncoding encoding, std::string_view lineBreak);

} // namespace quzo::platform
