// The store of named objects, for the programs.
//
// The library's own functions (NameObjectAccess, QuzoNamedObj) go through it too, but answer with bare codes;
// this class says what is wrong, and does what they have no words for: revisions, history, references of
// policies, changes that are made together or not at all.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/store_fault.h"
#include "platform/store/store_format.h"
#include "platform/store/stored_object.h"

namespace quzo::platform {

struct StoreSettings {
    // sqlite3://PATH, or PostgreSQL's postgresql://... or KEY=VALUE ...; [platform] store in quzo.ini.
    std::string connection;
    // Who makes changes, up to 255 bytes; empty: the name of the user that runs the program.
    std::string author;
    // How long to wait for another program's lock before giving up.
    unsigned waitSeconds = 5;
    // Whether to make a store that is not there and to upgrade an older one. Otherwise nothing is made or
    // changed, and a store that is not there is the fault Absent.
    bool make = true;
};

// One connection, used by one thread at a time; threads have one each. Nothing throws. Every operation is one
// transaction: a fault means that nothing was changed, and the store can be asked again (a server that went
// away is looked for again). The one exception is told in the text: a server that goes away while a change is
// being saved.
//
// A tenant is an organisation among those that share a store, an unsigned number of the operator's choice;
// ids are unique in the whole store and never given twice. Names are unique for each tenant and kind,
// compared by bytes: UTF-8 without control characters, at most 255 bytes, not beginning with "OPP:". Contents
// are the objects' text forms: UTF-8 without NUL, at most 1 MiB; whether they can be parsed is not looked at.
class ObjectStore {
public:
    // Opens the store, makes it on first use (a file with mode 0600), and upgrades an older one, of which a
    // copy is made beside it first when it is a file.
    static StoreResult<ObjectStore> open(const StoreSettings& settings);

    ObjectStore(ObjectStore&&) noexcept;
    ObjectStore& operator=(ObjectStore&&) noexcept;
    ~ObjectStore();

    // The format that was found when it was opened, and what has been made of it.
    const StoreFormat& format() const;

    // A tenant's objects, of one kind or of all (null), sorted by kind and by the bytes of their names.
    StoreResult<std::vector<ObjectSummary>> list(unsigned tenant, std::optional<ObjectKind> kind = {});
    // The same with the contents: for export.
    StoreResult<std::vector<StoredObject>> exportObjects(unsigned tenant,
                                                         std::optional<ObjectKind> kind = {});
    // Calls `visit` for each object of a tenant, in that order, all of one moment. Only id, tenant, kind,
    // name and content are set, and each object lasts for the call only. `visit` must not use the store.
    StoreDone visit(unsigned tenant, const std::function<void(const StoredObject&)>& visit);

    StoreResult<StoredObject> find(unsigned tenant, ObjectKind kind, const std::string& name);
    StoreResult<StoredObject> get(unsigned tenant, unsigned id);
    StoreResult<StoredObject> getOfAnyTenant(unsigned id);

    StoreResult<ObjectOutcome> add(unsigned tenant, ObjectKind kind, const std::string& name,
                                   const std::string& content);
    // With `expected`, an object that was changed since that revision is left as it is (ChangedMeanwhile).
    StoreResult<ObjectOutcome> modify(unsigned tenant, unsigned id, ObjectKind kind, const std::string& name,
                                      const std::string& content, std::optional<unsigned> expected = {});
    // Refused (InUse) while a reference exists. The versions stay.
    StoreResult<ObjectOutcome> remove(unsigned tenant, unsigned id, std::optional<unsigned> expected = {});
    StoreDone setReadOnly(unsigned tenant, unsigned id, bool on);

    // Every version of an object, oldest first, of a removed one too. Never empty: NotFound otherwise.
    StoreResult<std::vector<ObjectVersion>> history(unsigned tenant, unsigned id);
    // The id of the object that was removed last under this name.
    StoreResult<unsigned> findRemoved(unsigned tenant, ObjectKind kind, const std::string& name);
    // Makes a former version the newest one. A removed object comes back with its id.
    StoreResult<ObjectOutcome> restore(unsigned tenant, unsigned id, unsigned revision,
                                       std::optional<unsigned> expected = {});

    // What the tenant's policy refers to: the host replaces the whole list when it loads a policy. Writes
    // nothing when the list is there already, so a store that this user can only read serves too. True when
    // it changed.
    StoreResult<bool> setReferences(unsigned tenant, std::vector<ObjectReference> references);
    // Sorted by rule and object; those to one object when `id` is set.
    StoreResult<std::vector<ObjectReference>> references(unsigned tenant, std::optional<unsigned> id = {});

    // Makes all changes in this order, or none; with `dryRun` none in any case, but every check is made. The
    // fault is that of the first change that cannot be made; `failedAt`, when not null, receives its index.
    StoreResult<std::vector<ObjectOutcome>> apply(unsigned tenant, const std::vector<ObjectChange>& changes,
                                                  bool dryRun, std::size_t* failedAt = nullptr);

private:
    struct Impl;
    explicit ObjectStore(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> impl_;
};

} // namespace quzo::platform
