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

} // namespace

std::vector<KvMsgEntity*> listedEntities(const std::string& list) {
    const std::size_t length = std::min(list.find('\0'), list.size());
    std::vector<KvMsgEntity*> entities;
    for (std::size_t at = 0; at < length;) {
        const std::size_t end = std::min(list.find(';', at), length);
        const std::uintptr_t address = end - at > kMaxEntry ? 0 : addressIn(list.substr(at, end - at));
        if (address == 0) {
            break;
        }
        // NOLINTNEXTLINE(performance-no-int-to-ptr): that is what the list holds
        entities.push_back(reinterpret_cast<KvMsgEntity*>(address));
        at = end + 1;
    }
    return entities;
}

} // namespace quzo
