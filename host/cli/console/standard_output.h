// Standard output, written so that a failure is noticed.
#pragma once

#include <string>
#include <string_view>

#include "host/base/fault.h"

namespace quzo::host {

// Buffers up to 64 KiB. After the first failure everything is dropped and fault() says what happened, so
// callers need not look at each write. Used by one thread.
class StandardOutput {
public:
    // Returns false once writing has failed.
    bool write(std::string_view bytes);
    bool flush();

    // Flushes and says whether all of it went out.
    MaybeFault finish();

    bool failed() const { return error_ != 0; }

    // Whether a person is likely to be reading: a terminal, on which colours may be used (NO_COLOR
    // unset).
    static bool colours();

private:
    std::string buffer_;
    int error_ = 0;
};

} // namespace quzo::host
