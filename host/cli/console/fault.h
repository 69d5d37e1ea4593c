// Something that went wrong, as the program says it: "quzo: FILE: what is wrong: what to do".
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quzo::host {

struct Fault {
    int exitCode = 0;
    std::string where;  // a file, FILE:LINE, an option; may be empty
    std::string what;   // what is wrong
    std::string advice; // what to do; may be empty

    // Every further output would meet the same fault (a full disk): it is no use to go on.
    bool forAll = false;

    // The line without its line break. Control characters in any of the texts are escaped.
    std::string line() const;
};

// Either nothing went wrong, or this did.
using MaybeFault = std::optional<Fault>;

// What an errno value means for `where`; `doing` says what was tried ("cannot be opened"). Advice is
// added where there is one to give.
Fault systemFault(int exitCode, std::string where, std::string_view doing, int errnoValue);

// The advice for an errno value, never empty.
std::string_view systemAdvice(int errnoValue);

} // namespace quzo::host
