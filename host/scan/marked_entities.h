// The entities that made a rule match.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "quzo/core/message.h"

namespace quzo::host {

struct MarkedEntities {
    struct Entry {
        std::size_t number = 0; // its place in document order, the root being 0
        KvMsgEntity* entity = nullptr;
        std::vector<std::string> contentTypes; // of what matched: of the entity, or of parts inside it that
        std::vector<std::string> names;        // are not the message's own; each once
        std::size_t bodyBytes = 0;             // as they stand in the message
    };
    std::vector<Entry> entries;        // in document order, each once
    std::vector<std::string> patterns; // that matched, each once

    bool empty() const { return entries.empty(); }
};

} // namespace quzo::host
