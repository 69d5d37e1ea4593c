// Rows come sorted by kind and name, so names are found by halving; ids get an order of their own.
#include "platform/store/stored_named_objects.h"

#include <algorithm>
#include <tuple>

#include "quzo/settings/archive_area.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_stamp_area.h"

namespace quzo::platform {

std::unique_ptr<QuzoNamedObj> makeNamedObject(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::NotifyArea:
            return std::make_unique<uiNotifyArea>();
        case ObjectKind::StampArea:
            return std::make_unique<uiStampArea>();
        case ObjectKind::QuarantineArea:
            return std::make_unique<uiQuarantineArea>();
        case ObjectKind::ArchiveArea:
            return std::make_unique<ArchiveArea>();
    }
    return nullptr;
}

StoreResult<std::unique_ptr<StoredNamedObjects>> StoredNamedObjects::load(ObjectStore& store,
                                                                          unsigned tenant) {
    try {
        std::unique_ptr<StoredNamedObjects> objects(new StoredNamedObjects);
        const StoreDone done =
            store.visit(tenant, [&](const StoredObject& stored) { objects->take(stored); });
        if (!done) {
            return done.fault();
        }
        objects->sortIds();
        return objects;
    } catch (...) {
        return StoreFault{StoreTrouble::NoMemory, "out of memory"};
    }
}

void StoredNamedObjects::take(const StoredObject& stored) {
    std::unique_ptr<QuzoNamedObj> object = makeNamedObject(stored.kind);
    if (object && object->construct(stored.content.data(), static_cast<unsigned>(stored.content.size()))) {
        entries_.push_back({stored.id, stored.kind, stored.name, std::move(object)});
    } else {
        unusable_.push_back({stored.id, stored.kind, stored.name});
    }
}

void StoredNamedObjects::sortIds() {
    idOrder_.reserve(entries_.size());
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        idOrder_.emplace_back(entries_[index].id, index);
    }
    std::sort(idOrder_.begin(), idOrder_.end());
}

const StoredNamedObjects::Entry* StoredNamedObjects::entryOf(unsigned id) const {
    const auto found = std::lower_bound(idOrder_.begin(), idOrder_.end(), std::pair(id, std::size_t{0}));
    return found != idOrder_.end() && found->first == id ? &entries_[found->second] : nullptr;
}

std::unique_ptr<StoredNamedObjects> StoredNamedObjects::none() {
    return std::unique_ptr<StoredNamedObjects>(new StoredNamedObjects);
}

const QuzoNamedObj* StoredNamedObjects::find(unsigned id) const {
    const Entry* entry = entryOf(id);
    return entry != nullptr ? entry->object.get() : nullptr;
}

std::string_view StoredNamedObjects::nameOf(unsigned id) const {
    const Entry* entry = entryOf(id);
    return entry != nullptr ? std::string_view(entry->name) : std::string_view();
}

std::optional<unsigned> StoredNamedObjects::idOf(ObjectKind kind, std::string_view name) const {
    const auto before = [](const Entry& entry, const std::pair<ObjectKind, std::string_view>& key) {
        return std::pair(entry.kind, std::string_view(entry.name)) < key;
    };
    const std::pair key(kind, name);
    const auto found = std::lower_bound(entries_.begin(), entries_.end(), key, before);
    return found != entries_.end() && found->kind == kind && found->name == name ? std::optional(found->id)
                                                                                 : std::nullopt;
}

} // namespace quzo::platform
