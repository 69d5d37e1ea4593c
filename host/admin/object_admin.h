// What administrators do with the named objects of a tenant, whatever they do it from.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/admin/object_file.h"
#include "host/base/fault.h"
#include "host/base/result.h"
#include "host/policy/policy.h"
#include "platform/store/object_store.h"

namespace quzo::host {

// Values of fields as people write them, by the fields' names.
using FieldTexts = std::vector<std::pair<std::string, std::string>>;

// The text to store for a new object with these fields, and for a stored one of which they are changed; the
// others stay. A fault names the field that is unknown (64) or refused (65). Nothing is stored.
Result<std::string> newObjectText(platform::ObjectKind kind, const std::string& name,
                                  const FieldTexts& fields);
Result<std::string> changedObjectText(const platform::StoredObject& object, const FieldTexts& fields);

// One object with the rules that refer to it.
struct ObjectView {
    platform::StoredObject object;
    std::vector<platform::ObjectReference> references;
};

struct ObjectHistory {
    unsigned id = 0;
    std::vector<platform::ObjectVersion> versions; // oldest first, never empty
};

// What became of an object by a change.
struct ObjectChanged {
    const char* what = ""; // "added", "changed", "unchanged", "removed", "restored"
    platform::ObjectKind kind = platform::ObjectKind::NotifyArea;
    std::string name;
    unsigned id = 0;
    unsigned revision = 0;
    Faults warnings{}; // of what was written: see doubtsOf(const QuzoNamedObj&)
};

struct ObjectExport {
    std::string text; // see object_file.h; depends on the objects alone
    Faults warnings;  // of objects whose stored text cannot be read: an import refuses them
};

struct ObjectImport {
    std::vector<platform::ObjectOutcome::Effect> effects; // in the order of the file
    Faults warnings{};                                    // likewise
};

// Used by one thread; the store is the caller's and outlives it. Each change is one transaction, made under
// the revision that was looked at, so that of two administrators the second one is told (65). A fault means
// that nothing was changed: 65 a change that is refused, 66 no such object, 75 a store that cannot be reached
// now.
class ObjectAdmin {
public:
    using Kind = platform::ObjectKind;

    // `settingsFile` names the store in what is said of it.
    ObjectAdmin(platform::ObjectStore& store, unsigned tenant, std::string settingsFile)
        : store_(store), tenant_(tenant), settingsFile_(std::move(settingsFile)) {}

    // All kinds without one.
    Result<std::vector<platform::ObjectSummary>> list(std::optional<Kind> kind);

    Result<platform::StoredObject> find(Kind kind, const std::string& name);
    Result<ObjectView> show(Kind kind, const std::string& name);

    // Of an object that is there, or else of the one that was removed last under the name.
    Result<ObjectHistory> history(Kind kind, const std::string& name);

    Result<ObjectChanged> add(Kind kind, const std::string& name, const std::string& content);

    // With `expected`, an object that was changed since that revision is left as it is.
    Result<ObjectChanged> update(Kind kind, const std::string& name, const FieldTexts& fields,
                                 std::optional<unsigned> expected = {});

    // Refused (65) while a rule refers to it: of the policies that were applied, which the store knows, and
    // of `policy`, which was read from `policyFile`; null: none.
    Result<ObjectChanged> remove(Kind kind, const std::string& name, std::optional<unsigned> expected = {},
                                 const Policy* policy = nullptr, const std::string& policyFile = {});

    // Brings a former revision back as the newest one; of a removed object it may be left out: the last one.
    Result<ObjectChanged> restore(Kind kind, const std::string& name, std::optional<unsigned> revision = {});

    // One object, those of a kind, or all.
    Result<ObjectExport> exportText(std::optional<Kind> kind, const std::optional<std::string>& name = {});

    // All objects of the file, which came from `fileName`, or none; with `dryRun` none in any case, but every
    // check is made.
    Result<ObjectImport> import(const ObjectFile& file, const std::string& fileName, bool dryRun);

private:
    Fault fault(const platform::StoreFault& fault) const;
    Result<ObjectChanged> changed(const char* what, Kind kind, const std::string& name,
                                  const platform::StoreResult<platform::ObjectOutcome>& outcome) const;

    platform::ObjectStore& store_;
    unsigned tenant_;
    std::string settingsFile_;
};

} // namespace quzo::host
