// The scanner's named objects, as they were in the store at start.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/store/object_store.h"

namespace quzo::platform {

// An object of that kind with the library's defaults; null for any other number.
std::unique_ptr<QuzoNamedObj> makeNamedObject(ObjectKind kind);

// One tenant's objects, all of one moment. Immutable: any number of threads may use it, and the store is not
// needed any more.
class StoredNamedObjects {
public:
    // An object that is in the store and is not here, since its content cannot be parsed or its kind is
    // unknown.
    struct Unusable {
        unsigned id = 0;
        ObjectKind kind = ObjectKind::NotifyArea;
        std::string name;
    };

    StoredNamedObjects() = default; // none, for a program without a store

    // Reads the objects of `tenant`. Unusable ones are no fault: the caller tells them to the administrator.
    // Nothing throws.
    static StoreResult<std::unique_ptr<StoredNamedObjects>> load(ObjectStore& store, unsigned tenant);

    // No objects: what a store has that is not there yet.
    static std::unique_ptr<StoredNamedObjects> none();

    // The object with this id, owned here; null when there is none.
    const QuzoNamedObj* find(unsigned id) const;

    // The id of the object of this name, or of none. Unusable objects have none.
    std::optional<unsigned> idOf(ObjectKind kind, std::string_view name) const;
    // The name of the object with this id; empty when there is none. Valid as long as this object.
    std::string_view nameOf(unsigned id) const;

    const std::vector<Unusable>& unusable() const { return unusable_; }
    std::size_t size() const { return entries_.size(); }

private:
    struct Entry {
        unsigned id = 0;
        ObjectKind kind = ObjectKind::NotifyArea;
        std::string name;
        std::unique_ptr<QuzoNamedObj> object;
    };

    void take(const StoredObject& stored);
    void sortIds();
    const Entry* entryOf(unsigned id) const;

    std::vector<Entry> entries_;                            // sorted by kind and name
    std::vector<std::pair<unsigned, std::size_t>> idOrder_; // id and index into entries_, sorted
    std::vector<Unusable> unusable_;
};

} // namespace quzo::platform
