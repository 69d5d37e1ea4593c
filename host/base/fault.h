// Something that went wrong, as the programs say it: "quzo: FILE: what is wrong: what to do".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::host {

struct Fault {
    enum class Severity : std::uint8_t { Error, Warning };

    int exitCode = 0;   // what a program that ends by it says; of a warning nothing
    std::string where;  // a file, FILE:LINE, an option; may be empty
    std::string what;   // what is wrong
    std::string advice; // what to do; may be empty

    // Every further output would meet the same fault (a full disk): it is no use to go on.
    bool forAll = false;
    Severity severity = Severity::Error;

    // Something that people should know and that keeps nobody from working.
    static Fault warning(std::string where, std::string what, std::string advice = {});

    bool isError() const { return severity == Severity::Error; }

    // The line without its line break; "warning: " stands before what a warning is about. Control characters
    // in any of the texts are escaped.
    std::string line() const;
};

// Either nothing went wrong, or this did.
using MaybeFault = std::optional<Fault>;

// All there is to tell, in order.
using Faults = std::vector<Fault>;

bool hasErrors(const Faults& faults);

// How a program ends that is kept from working by these: by the highest code, so that a wrong setting, which
// stays wrong, counts more than a store that may be back in a minute. 0 when none is an error.
int exitCodeOf(const Faults& faults);

// What an errno value means for `where`; `doing` says what was tried ("cannot be opened"). Advice is
// added where there is one to give.
Fault systemFault(int exitCode, std::string where, std::string_view doing, int errnoValue);

// The advice for an errno value, never empty.
std::string_view systemAdvice(int errnoValue);

} // namespace quzo::host
