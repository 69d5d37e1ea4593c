// Putting a stamp into a message: all of it, or nothing.
#pragma once

#include <string>
#include <string_view>

#include "platform/message/edit/entity.h"
#include "platform/message/stamp/placement.h"

namespace quzo::platform {

struct StampRequest {
    StampPosition position = StampPosition::After;
    // UTF-8, lines with CRLF or LF, with an HTML form or without (splitStampForms()). Bytes that are no UTF-8
    // become U+FFFD.
    std::string_view stamp;
    const char* charset = nullptr; // to be written in, if it can carry text and stamp; null: any
    bool asAttachment = false;     // as a file, and no text is touched
    bool once = false;             // leave alone what shows this stamp already, however it is quoted
};

// Stamps every text alternative of the message's body. Returns 0 or a KvMsgError, and then nothing has
// changed: a message that a limit cut or that would exceed one (kErrorLimit), a header block that cannot be
// read. std::bad_alloc passes.
int insertStamp(Entity& root, const StampRequest& request);

} // namespace quzo::platform
