// The ways in which readers may understand the header block of an entity.
//
// Readers differ in which of two contradicting fields they go by. Whoever looks for what a part may be shown
// as has to see all of them.
#pragma once

#include <string_view>
#include <vector>

#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure.h"
#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {

// The types that count, each once: that which decides about the structure, the first and the last. Empty when
// no Content-Type can be read, and the default of the place applies. Views into `text`. That which decides
// may be a multipart without a subtype; all others are valid().
std::vector<ContentType> typeReadings(std::string_view text, const HeaderSpan& header);

// The encodings that its Content-Transfer-Encoding fields name, each once, the first field's in front; None
// alone without such a field.
std::vector<TransferEncoding> encodingReadings(std::string_view text, const HeaderSpan& header);

} // namespace quzo::platform
