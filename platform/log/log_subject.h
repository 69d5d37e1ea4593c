// What the log lines of a thread are about.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// While it lives, every line that its thread writes to the log names what is being worked on: a message's
// file, its identifier, or both. Objects may nest on a thread; the latest counts. Not movable: it belongs to
// a scope.
class LogSubject {
public:
    explicit LogSubject(std::string text);
    ~LogSubject();
    LogSubject(const LogSubject&) = delete;
    LogSubject& operator=(const LogSubject&) = delete;

    // Says more of the same subject, such as the identifier that a message has got by then.
    void add(std::string_view more);

    // That of this thread; empty when there is none.
    static std::string_view current();

private:
    std::string text_;
    const LogSubject* outer_;
};

} // namespace quzo::platform
