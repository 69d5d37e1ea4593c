// The line that the log has of a message: what it was, what was done, how it ended. All programs that pass
// messages through the policy write the same one.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/gateway/message_pipeline.h"
#include "platform/config/quzo_settings.h"
#include "platform/log/file_log.h"

namespace quzo::host {

// What the caller of passMessage() knows.
struct MessageFacts {
    std::string_view name{};           // what the caller calls the message; may be empty
    std::chrono::nanoseconds taken{0}; // by the message
    // What went wrong behind the policy, so that the message is not where the outcome says; empty: nothing.
    // What the policy itself reports comes first.
    std::string_view error{};
};

// Texts are cut at kMostText bytes, and of long lists the first entries are told; the count of recipients is
// that of all. Nothing here throws but std::bad_alloc.
class MessageLine {
public:
    MessageLine(const MessageResult& result, const MessageFacts& facts);

    // Fields "key=value" with a blank between them; a value that holds anything but letters, digits and
    // "@._-+/:%,<>" stands in double quotes, with a backslash before each quote and backslash in it.
    // One line of visible characters (platform/base/visible_text.h), whatever the message holds.
    std::string text() const;

    // A JSON object in ASCII. Bytes that are not UTF-8 become U+FFFD.
    std::string json() const;

    static constexpr std::size_t kMostText = 256;   // bytes
    static constexpr std::size_t kMostEntries = 20; // of a list

private:
    std::string id_, file_, messageId_, sender_;
    std::vector<std::string> recipients_; // the first ones
    std::size_t recipientCount_ = 0;
    std::size_t bytes_ = 0; // as received
    std::vector<std::uint32_t> rules_;
    std::vector<std::string> actions_; // that were run
    std::vector<std::string> failed_;  // of those
    std::string outcome_;
    std::string error_; // empty: none
    std::int64_t milliseconds_ = 0;
};

// Writes the lines; any number of threads may use one.
class MessageLog {
public:
    // The log must outlive it.
    MessageLog(platform::FileLog& log, platform::PlatformSettings::LogMessages form)
        : log_(log), form_(form) {}

    // Never throws: a line for which memory runs out is left out.
    void tell(const MessageResult& result, const MessageFacts& facts) const noexcept;

private:
    platform::FileLog& log_;
    platform::PlatformSettings::LogMessages form_;
};

} // namespace quzo::host
