// GMime's name of a transfer encoding.
#pragma once

#include <gmime/gmime.h>

#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {

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
