// The format of a store's tables: what was found when it was opened, and what it is since.
#pragma once

#include <string>

namespace quzo::platform {

struct StoreFormat {
    long long found = 0; // 0: there were no tables
    long long now = 0;
    // The file that has the store as it was before; empty when none was made.
    std::string copy;

    bool upgraded() const { return found != 0 && found != now; }
};

} // namespace quzo::platform
