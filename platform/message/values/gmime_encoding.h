// What encoding and decoding by GMime's steps share.
#pragma once

#include <gmime/gmime.h>

#include <cstddef>

#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {

// How much is given to a step of GMime's at once, in bytes.
constexpr std::size_t kTransferPiece = 64U << 10U;

inline GMimeContentEncoding gmimeEncoding(TransferEncoding encoding) {
    switch (encoding) {
        case TransferEncoding::Base64:
            return GMIME_CONTENT_ENCODING_BASE64;
        case TransferEncoding::QuotedPrintable:
            return GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE;
        case TransferEncoding::Uuencode:
            return GMIME_CONTENT_ENCODING_UUENCODE;
        case TransferEncoding::None:
            break;
    }
    return GMIME_CONTENT_ENCODING_DEFAULT;
}

} // namespace quzo::platform
