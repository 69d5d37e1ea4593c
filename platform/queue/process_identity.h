// Who holds something on disk: a process, told apart from every other that had or will have its number.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// This process as a text for file names: its number, its start time and the machine's boot,
// "1234-56789-0f3a9c21", of [0-9a-f-] and at most 40 bytes. Right in a forked child too. Callable from any
// thread.
std::string processIdentity();

// Whether the text has that form.
bool isProcessIdentity(std::string_view text);

// Whether that process still runs. A dead one that nobody has waited for is gone. True when it cannot be
// found out. All processes of a queue run on one machine and see each other's numbers.
bool processRuns(std::string_view identity);

} // namespace quzo::platform
