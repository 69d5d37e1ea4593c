// What the completions of shells ask the program: `quzo complete`, which no help tells of.
//
//   quzo complete -- WORD...            the words behind the program's name, the last one unfinished
//   quzo complete --bash TAIL -- LINE   the line up to the cursor as bash has it; bash puts the answer in the
//   place
//                                       of TAIL, the end of the line
//
// An answer is one line for each candidate: its text, a tab, and its description. Instead of one there may be
// a tab and the word "files" or "folders": names of those belong there. Texts have no control characters;
// those for bash are quoted for it.
#pragma once

#include <vector>

#include "host/cli/console/console.h"
#include "host/cli/help/command_tree.h"

namespace quzo::host {

bool isCompletionCall(int argc, const char* const* argv);

// Answers such a call. Takes a second at most, says nothing on standard error, and always returns 0: a fault
// has no candidates.
int runCompletion(const std::vector<DescribedCommand>& commands, int argc, const char* const* argv,
                  Console& console);

} // namespace quzo::host
