// Puts a text that comes in pieces into a transfer encoding.
//
// A large body is never held twice for it: the result grows while pieces of a few kilobytes are encoded.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {

class TransferEncoder {
public:
    // `encoding`: Base64 or QuotedPrintable. `lineBreak`: of the encoded lines; it outlives the encoder.
    // `expected`: about how many bytes will come.
    TransferEncoder(TransferEncoding encoding, std::string_view lineBreak, std::size_t expected);
    ~TransferEncoder();
    TransferEncoder(const TransferEncoder&) = delete;
    TransferEncoder& operator=(const TransferEncoder&) = delete;

    void add(std::string_view bytes);

    // What has been encoded, complete. The last call. The text has room for the header of a part.
    std::string finish();

private:
    void step(std::string_view bytes, bool isLast);

    struct State; // GMime's, which the headers of others need not know
    const std::unique_ptr<State> state_;
    const bool quoted_;
    const std::string_view lineBreak_;
    bool heldReturn_ = false; // a CR that may be half of a line break
    std::string piece_;
    std::string out_;
};

// `bytes` in that encoding, with these line ends; as they are for None. Not for Uuencode.
std::string encodedTransfer(std::string_view bytes, TransferEncoding encoding, std::string_view lineBreak);

} // namespace quzo::platform
