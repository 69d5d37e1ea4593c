// See entity_list.h.
#include "quzo/actions/entity_list.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace quzo {
namespace {

constexpr std::size_t kMaxEntry = 63;

// The address in an entry; 0 when there is none.
std::uintptr_t addressIn(const std::string& entry) {
    char* behindId = nullptr;
    std::strtoul(entry.c_str(), &behindId, 10);
    if (behindId == entry.c_str()) {
        return 0;
    }
    static_assert(sizeof(std::uintptr_t) <= sizeof(unsigned long long));
    return static_cast<std::uintptr_t>(std::strtoull(behindId, nullptr, 16));
}

// Appends entities up to the list's end, or to an entry that is none; then the result is false.
bool read_entities(const std::string& list, std::vector<KvMsgEntity*>& entities) {
    const std::size_t length = std::min(list.find('\0'), list.size());
    for (std::size_t at = 0; at <= length;) { // an empty last entry is one too, and none of an entity
        const std::size_t end = std::min(list.find(';', at), length);
        const std::uintptr_t address = end - at > kMaxEntry ? 0 : addressIn(list.substr(at, end - at));
        if (address == 0) {
            return false;
        }
        // NOLINTNEXTLINE(performance-no-int-to-ptr): that is what the list holds
        entities.push_back(reinterpret_cast<KvMsgEntity*>(address));
        at = end + 1;
    }
    return true;
}

} // namespace

std::vector<KvMsgEntity*> listedEntities(const std::string& list) {
    std::vector<KvMsgEntity*> entities;
    read_entities(list, entities);
    return entities;
}

bool readWholeEntityList(const std::string& list, std::vector<KvMsgEntity*>& entities) {
    entities.clear();
    if (!read_entities(list, entities)) {
        entities.clear();
    }
    return !entities.empty();
}

} // namespace quzo
