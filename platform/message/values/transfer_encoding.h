// The transfer encoding of a body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quzo::platform {

enum class TransferEncoding : std::uint8_t { None, Base64, QuotedPrintable, Uuencode };

// What a value of Content-Transfer-Encoding says, comments and parameters passed over. One that is not known
// counts as None.
TransferEncoding transferEncodingOf(std::string_view value);

// Whether a body is base64 and nothing else, so that all readers find the same in it.
bool isCleanBase64(std::string_view body);

// Hands `body` decoded to `sink` in pieces, which hold until it returns; until it returns false.
using TextSink = std::function<bool(std::string_view piece)>;
void decodeTransfer(std::string_view body, TransferEncoding encoding, const TextSink& sink);

// `body` decoded, at most `maxBytes` of the result.
std::string decodedTransfer(std::string_view body, TransferEncoding encoding, std::size_t maxBytes);

// What bytes that are stored as they are ask of the way: "7bit", "8bit" or "binary".
std::string_view plainEncodingOf(std::string_view bytes);

// Whether quoted-printable keeps bytes readable, and short: at most a quarter of them is not ASCII.
bool isMostlyAscii(std::string_view bytes);

} // namespace quzo::platform
