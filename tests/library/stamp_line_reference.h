// The division of long lines as it is defined: each unit is tried, and the whole piece encoded for it.
#pragma once

#include <string>
#include <vector>

namespace quzo::test {

// As divideLongLines(), with the numbers of the log lines: "detected N", "divided N".
bool divideUnitByUnit(std::string& text, const char* charset, int limit, std::vector<std::string>& log);

} // namespace quzo::test
