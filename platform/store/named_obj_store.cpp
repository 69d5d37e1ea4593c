// The library's view of the store: RdbmsInterface and the static functions of QuzoNamedObj.
#include <optional>
#include <utility>

#include "platform/store/store_connection.h"
#include "quzo/core/rdbms.h"
#include "quzo/settings/named_obj.h"

namespace quzo {

struct RdbmsInterface::Impl {
    std::optional<platform::ObjectStore> store;
};

RdbmsInterface::RdbmsInterface() : impl_(std::make_unique<Impl>()) {}
RdbmsInterface::~RdbmsInterface() = default;

namespace platform {
namespace {

StoreSettings& settings() {
    static StoreSettings kept;
    return kept;
}

StoreFault& lastFault() {
    static thread_local StoreFault kept;
    return kept;
}

// Runs `work` on the store; false, with the fault kept, when either fails.
template <typename Work>
bool succeeds(RdbmsInterface& connection, Work&& work) noexcept {
    try {
        ObjectStore* store = storeOf(connection);
        if (store == nullptr) {
            return false;
        }
        auto result = work(*store);
        if (!result) {
            lastFault() = result.fault();
        }
        return result.ok();
    } catch (...) {
        lastFault() = {StoreTrouble::NoMemory, "out of memory"};
        return false;
    }
}

StoreFault missingText() { return {StoreTrouble::BadArgument, "an object needs a name and a content"}; }

} // namespace

void setStoreConnection(const StoreSettings& settings_) { settings() = settings_; }

const StoreFault& lastStoreFault() { return lastFault(); }

ObjectStore* storeOf(RdbmsInterface& connection) {
    std::optional<ObjectStore>& store = connection.impl().store;
    if (!store) {
        StoreResult<ObjectStore> opened = ObjectStore::open(settings());
        if (!opened) {
            lastFault() = opened.fault();
            return nullptr;
        }
        store.emplace(std::move(*opened));
    }
    return &*store;
}

} // namespace platform

using platform::ObjectOutcome;
using platform::ObjectStore;
using platform::StoreResult;

bool QuzoNamedObj::getIds(RdbmsInterface& store, unsigned tenant, NaObjType type,
                          std::vector<SummaryNamedObject>& rows) {
    return platform::succeeds(store, [&](ObjectStore& objects) {
        auto list = objects.list(tenant, type);
        if (list) {
            std::vector<SummaryNamedObject> found;
            found.reserve(list->size());
            for (platform::ObjectSummary& row : *list) {
                found.push_back(
                    {row.id, std::uint8_t{row.inUse}, std::uint8_t{row.readOnly}, std::move(row.name)});
            }
            rows = std::move(found);
        }
        return list;
    });
}

bool QuzoNamedObj::add(RdbmsInterface& store, unsigned tenant, const char* name, const char* content,
                       NaObjType type, unsigned& newId) {
    return platform::succeeds(store, [&](ObjectStore& objects) -> StoreResult<ObjectOutcome> {
        if (name == nullptr || content == nullptr) {
            return platform::missingText();
        }
        auto outcome = objects.add(tenant, type, name, content);
        if (outcome) {
            newId = outcome->id;
        }
        return outcome;
    });
}

bool QuzoNamedObj::modify(RdbmsInterface& store, unsigned tenant, unsigned id, const char* name,
                          const char* content, NaObjType type) {
    return platform::succeeds(store, [&](ObjectStore& objects) -> StoreResult<ObjectOutcome> {
        if (name == nullptr || content == nullptr) {
            return platform::missingText();
        }
        return objects.modify(tenant, id, type, name, content);
    });
}

bool QuzoNamedObj::getContentBlob(RdbmsInterface& store, unsigned id, std::string& name,
                                  std::string& content) {
    return platform::succeeds(store, [&](ObjectStore& objects) {
        auto object = objects.getOfAnyTenant(id);
        if (object) {
            name = std::move(object->name);
            content = std::move(object->content);
        }
        return object;
    });
}

unsigned QuzoNamedObj::remove(RdbmsInterface& store, unsigned tenant, unsigned id) {
    return platform::succeeds(store, [&](ObjectStore& objects) { return objects.remove(tenant, id); })
               ? 0
               : static_cast<unsigned>(platform::lastStoreFault().code());
}

} // namespace quzo
