// Decoding by GMime's steps, in pieces, so that a limit saves the work and not only the result.
#include "platform/message/values/transfer_encoding.h"

#include <gmime/gmime.h>

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/base/line_breaks.h"
#include "platform/base/utf8.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/values/gmime_encoding.h"

namespace quzo::platform {
namespace {

// Behind the "begin MODE NAME" line of a uuencoded body; npos without one.
std::size_t behindBeginLine(std::string_view body) {
    std::size_t line = 0;
    while (line < body.size()) {
        const std::size_t end = body.find('\n', line);
        if (body.substr(line, 6) == "begin ") {
            return end == std::string_view::npos ? body.size() : end + 1;
        }
        if (end == std::string_view::npos) {
            break;
        }
        line = end + 1;
    }
    return std::string_view::npos;
}

bool isOfBase64(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

// What base64 lacks at its end, so that the last one or two bytes are not lost.
std::string_view missingPadding(std::string_view body) {
    if (body.find('=') != std::string_view::npos) {
        return {};
    }
    const auto rest = std::count_if(body.begin(), body.end(), isOfBase64) % 4;
    return rest == 2 ? "==" : rest == 3 ? "=" : std::string_view();
}

} // namespace

bool isCleanBase64(std::string_view body) {
    const std::size_t end = std::min(body.find('='), body.size());
    const auto isBreak = [](char c) { return c == '\r' || c == '\n'; };
    std::size_t blanks = std::string_view::npos; // where blanks began that may be the end of a line
    for (std::size_t at = 0; at < end; ++at) {
        if (isBreak(body[at])) {
            blanks = std::string_view::npos;
        } else if (isBlank(body[at])) {
            blanks = std::min(blanks, at);
        } else if (!isOfBase64(body[at]) || blanks != std::string_view::npos) {
            return false;
        }
    }
    return body.substr(end).find_first_not_of("= \t\r\n") == std::string_view::npos;
}

TransferEncoding transferEncodingOf(std::string_view value) {
    const std::string name = lowered(readContentType(value).type); // a token, as a type is
    switch (g_mime_content_encoding_from_string(name.c_str())) {
        case GMIME_CONTENT_ENCODING_BASE64:
            return TransferEncoding::Base64;
        case GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE:
            return TransferEncoding::QuotedPrintable;
        case GMIME_CONTENT_ENCODING_UUENCODE:
            return TransferEncoding::Uuencode;
        default:
            return TransferEncoding::None;
    }
}

void decodeTransfer(std::string_view body, TransferEncoding encoding, const TextSink& sink) {
    GMimeEncoding state;
    g_mime_encoding_init_decode(&state, gmimeEncoding(encoding));
    if (encoding == TransferEncoding::Uuencode) {
        const std::size_t begin = behindBeginLine(body);
        if (begin == std::string_view::npos) {
            encoding = TransferEncoding::None;
        } else {
            body.remove_prefix(begin);
            state.state |= GMIME_UUDECODE_STATE_BEGIN;
        }
    }
    if (encoding == TransferEncoding::None) {
        sink(body);
        return;
    }
    std::string decoded;
    const auto step = [&](std::string_view piece) {
        decoded.resize(g_mime_encoding_outlen(&state, piece.size()));
        decoded.resize(g_mime_encoding_step(&state, piece.data(), piece.size(), decoded.data()));
        return sink(decoded);
    };
    for (std::size_t at = 0; at < body.size(); at += kTransferPiece) {
        if (!step(body.substr(at, kTransferPiece))) {
            return;
        }
    }
    if (encoding == TransferEncoding::Base64) {
        step(missingPadding(body));
    }
}

std::string decodedTransfer(std::string_view body, TransferEncoding encoding, std::size_t maxBytes) {
    std::string out;
    decodeTransfer(body, encoding, [&](std::string_view piece) {
        out.append(piece.substr(0, maxBytes - out.size()));
        return out.size() < maxBytes;
    });
    return out;
}

std::string_view plainEncodingOf(std::string_view bytes) {
    if (bytes.find('\0') != std::string_view::npos || hasLongLine(bytes)) {
        return "binary";
    }
    return isAscii(bytes) ? "7bit" : "8bit";
}

bool isMostlyAscii(std::string_view bytes) {
    const auto high = std::count_if(bytes.begin(), bytes.end(), [](char c) { return (c & '\x80') != 0; });
    return static_cast<std::size_t>(high) <= bytes.size() / 4;
}

} // namespace quzo::platform
