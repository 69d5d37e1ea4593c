// The header block of a message as it was received.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/message/structure/limits.h"
#include "platform/message/structure/structure.h"

namespace quzo::host {

// Reads the received bytes themselves, so edits of the message do not show and a NUL inside a field hides
// nothing behind it. Keeps a view of the message: it must outlive this object.
class ReceivedHeader {
public:
    ReceivedHeader(std::string_view message, const platform::Limits& limits);

    bool has(std::string_view name) const;

    // What stands behind the colon of each field of that name, folds and line break included.
    std::vector<std::string_view> rawValues(std::string_view name) const;

    // The same unfolded, with encoded words decoded, as valid UTF-8.
    std::vector<std::string> values(std::string_view name) const;

private:
    std::string_view message_;
    platform::HeaderSpan header_;
};

} // namespace quzo::host
