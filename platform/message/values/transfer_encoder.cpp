// Encoding by GMime's steps. See transfer_encoder.h.
#include "platform/message/values/transfer_encoder.h"

#include <algorithm>
#include <utility>

#include "platform/base/line_breaks.h"
#include "platform/message/values/gmime_encoding.h"
#include "platform/message/values/header_room.h"

namespace quzo::platform {
namespace {

// Bytes of memory for that many encoded ones, line ends included; more are needed for quoted-printable of
// much that is not ASCII.
std::size_t roomFor(std::size_t bytes, bool quoted) {
    const std::size_t encoded = quoted ? bytes : bytes / 3 * 4;
    return encoded + encoded / 24 + kHeaderRoom;
}

} // namespace

struct TransferEncoder::State {
    GMimeEncoding steps{};
};

TransferEncoder::TransferEncoder(TransferEncoding encoding, std::string_view lineBreak, std::size_t expected)
    : state_(std::make_unique<State>()),
      quoted_(encoding == TransferEncoding::QuotedPrintable),
      lineBreak_(lineBreak) {
    g_mime_encoding_init_encode(&state_->steps, gmimeEncoding(encoding));
    out_.reserve(roomFor(expected, quoted_));
}

TransferEncoder::~TransferEncoder() = default;

void TransferEncoder::add(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::string_view piece = bytes.substr(0, kTransferPiece);
        bytes.remove_prefix(piece.size());
        if (!quoted_) {
            step(piece, false);
            continue;
        }
        // Quoted-printable has its line breaks as they are; GMime knows LF as one.
        std::string text(heldReturn_ ? "\r" : "");
        heldReturn_ = piece.ends_with('\r');
        text.append(piece.substr(0, piece.size() - (heldReturn_ ? 1 : 0)));
        step(withLineBreaks(text, "\n"), false);
    }
}

std::string TransferEncoder::finish() {
    step(heldReturn_ ? "\r" : "", true);
    return std::move(out_);
}

void TransferEncoder::step(std::string_view bytes, bool isLast) {
    piece_.resize(g_mime_encoding_outlen(&state_->steps, bytes.size()));
    piece_.resize(isLast ? g_mime_encoding_flush(&state_->steps, bytes.data(), bytes.size(), piece_.data())
                         : g_mime_encoding_step(&state_->steps, bytes.data(), bytes.size(), piece_.data()));
    out_ += withLineBreaks(piece_, lineBreak_);
}

std::string encodedTransfer(std::string_view bytes, TransferEncoding encoding, std::string_view lineBreak) {
    if (encoding == TransferEncoding::None) {
        return std::string(bytes);
    }
    TransferEncoder encoder(encoding, lineBreak, bytes.size());
    encoder.add(bytes);
    return encoder.finish();
}

} // namespace quzo::platform
