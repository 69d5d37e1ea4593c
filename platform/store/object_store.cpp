// Each operation: a transaction around a reader or a writer, and what is thrown made a result.
#include "platform/store/object_store.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>

#include "platform/base/visible_text.h"
#include "platform/store/database.h"
#include "platform/store/object_reader.h"
#include "platform/store/object_writer.h"
#include "platform/store/store_text.h"

namespace quzo::platform {
namespace {

std::string userName() {
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
        return found->pw_name;
    }
    return "uid " + std::to_string(geteuid());
}

StoreFailure notFound(const std::string& what) { return {StoreTrouble::NotFound, "there is no " + what}; }

std::string objectWithId(unsigned id) { return "object with id " + std::to_string(id); }

} // namespace

struct ObjectStore::Impl {
    Impl(ConnectionTarget target, std::string changedBy, const StoreSettings& settings)
        : author(std::move(changedBy)), database(std::move(target), settings.waitSeconds, settings.make) {}

    // Runs `work` in a transaction, which is committed when `keep` says so.
    template <typename T, typename Work>
    StoreResult<T> run(Database::Access access, Work&& work, bool keep = true) {
        try {
            std::optional<T> value;
            database.transact(access, keep, [&] { value.emplace(work()); });
            return *std::move(value);
        } catch (...) {
            return database.explain(std::current_exception());
        }
    }

    template <typename T, typename Work>
    StoreResult<T> read(Work&& work) {
        return run<T>(Database::Access::Read, std::forward<Work>(work));
    }

    template <typename T, typename Work>
    StoreResult<T> write(Work&& work, bool keep = true) {
        return run<T>(
            Database::Access::Write,
            [&] {
                ObjectWriter writer(database.session(), author);
                return work(writer);
            },
            keep);
    }

    soci::session& session() { return database.session(); }

    std::string author;
    Database database;
};

ObjectStore::ObjectStore(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
ObjectStore::ObjectStore(ObjectStore&&) noexcept = default;
ObjectStore& ObjectStore::operator=(ObjectStore&&) noexcept = default;
ObjectStore::~ObjectStore() = default;

StoreResult<ObjectStore> ObjectStore::open(const StoreSettings& settings) {
    try {
        std::string author = settings.author.empty() ? userName() : settings.author;
        checkName(author, "author");
        return ObjectStore(
            std::make_unique<Impl>(parseConnection(settings.connection), std::move(author), settings));
    } catch (const StoreFailure& failure) {
        return failure.fault();
    } catch (...) {
        return StoreFault{StoreTrouble::NoMemory, "out of memory"};
    }
}

const StoreFormat& ObjectStore::format() const { return impl_->database.format(); }

StoreResult<std::vector<ObjectSummary>> ObjectStore::list(unsigned tenant, std::optional<ObjectKind> kind) {
    return impl_->read<std::vector<ObjectSummary>>(
        [&] { return readSummaries(impl_->session(), tenant, kind); });
}

StoreResult<std::vector<StoredObject>> ObjectStore::exportObjects(unsigned tenant,
                                                                  std::optional<ObjectKind> kind) {
    return impl_->read<std::vector<StoredObject>>(
        [&] { return readObjects(impl_->session(), tenant, kind); });
}

StoreDone ObjectStore::visit(unsigned tenant, const std::function<void(const StoredObject&)>& visit) {
    return impl_->read<Nothing>([&] {
        visitObjects(impl_->session(), tenant, visit);
        return Nothing{};
    });
}

StoreResult<StoredObject> ObjectStore::find(unsigned tenant, ObjectKind kind, const std::string& name) {
    return impl_->read<StoredObject>([&] {
        checkName(name, "name");
        std::optional<StoredObject> object = readObject(impl_->session(), tenant, kind, name);
        if (!object) {
            throw notFound(std::string(objectKindName(kind)) + " " + quotedText(name));
        }
        return *std::move(object);
    });
}

StoreResult<StoredObject> ObjectStore::get(unsigned tenant, unsigned id) {
    return impl_->read<StoredObject>([&] {
        std::optional<StoredObject> object = readObject(impl_->session(), id);
        if (!object || object->tenant != tenant) {
            throw notFound(objectWithId(id));
        }
        return *std::move(object);
    });
}

StoreResult<StoredObject> ObjectStore::getOfAnyTenant(unsigned id) {
    return impl_->read<StoredObject>([&] {
        std::optional<StoredObject> object = readObject(impl_->session(), id);
        if (!object) {
            throw notFound(objectWithId(id));
        }
        return *std::move(object);
    });
}

StoreResult<ObjectOutcome> ObjectStore::add(unsigned tenant, ObjectKind kind, const std::string& name,
                                            const std::string& content) {
    return impl_->write<ObjectOutcome>(
        [&](ObjectWriter& writer) { return writer.add(tenant, kind, name, content); });
}

StoreResult<ObjectOutcome> ObjectStore::modify(unsigned tenant, unsigned id, ObjectKind kind,
                                               const std::string& name, const std::string& content,
                                               std::optional<unsigned> expected) {
    return impl_->write<ObjectOutcome>(
        [&](ObjectWriter& writer) { return writer.modify(tenant, id, kind, name, content, expected); });
}

StoreResult<ObjectOutcome> ObjectStore::remove(unsigned tenant, unsigned id,
                                               std::optional<unsigned> expected) {
    return impl_->write<ObjectOutcome>(
        [&](ObjectWriter& writer) { return writer.remove(tenant, id, expected); });
}

StoreDone ObjectStore::setReadOnly(unsigned tenant, unsigned id, bool on) {
    return impl_->write<Nothing>([&](ObjectWriter& writer) {
        writer.setReadOnly(tenant, id, on);
        return Nothing{};
    });
}

StoreResult<std::vector<ObjectVersion>> ObjectStore::history(unsigned tenant, unsigned id) {
    return impl_->read<std::vector<ObjectVersion>>([&] {
        std::vector<ObjectVersion> versions = readHistory(impl_->session(), tenant, id);
        if (versions.empty()) {
            throw notFound(objectWithId(id));
        }
        return versions;
    });
}

StoreResult<unsigned> ObjectStore::findRemoved(unsigned tenant, ObjectKind kind, const std::string& name) {
    return impl_->read<unsigned>([&] {
        checkName(name, "name");
        const std::optional<unsigned> id = readRemovedId(impl_->session(), tenant, kind, name);
        if (!id) {
            throw notFound("removed " + std::string(objectKindName(kind)) + " " + quotedText(name));
        }
        return *id;
    });
}

StoreResult<ObjectOutcome> ObjectStore::restore(unsigned tenant, unsigned id, unsigned revision,
                                                std::optional<unsigned> expected) {
    return impl_->write<ObjectOutcome>(
        [&](ObjectWriter& writer) { return writer.restore(tenant, id, revision, expected); });
}

StoreResult<bool> ObjectStore::setReferences(unsigned tenant, std::vector<ObjectReference> references) {
    const auto key = [](const ObjectReference& reference) {
        return std::pair(reference.ruleId, reference.objectId);
    };
    const auto before = [&](const auto& left, const auto& right) { return key(left) < key(right); };
    const auto same = [&](const auto& left, const auto& right) { return key(left) == key(right); };
    std::stable_sort(references.begin(), references.end(), before);
    references.erase(std::unique(references.begin(), references.end(), same), references.end());
    const StoreResult<bool> known = impl_->read<bool>(
        [&] { return readReferences(impl_->session(), tenant, std::nullopt) == references; });
    if (!known || *known) {
        return known.ok() ? StoreResult<bool>(false) : known;
    }
    return impl_->write<bool>([&](ObjectWriter& writer) {
        writer.replaceReferences(tenant, references);
        return true;
    });
}

StoreResult<std::vector<ObjectReference>> ObjectStore::references(unsigned tenant,
                                                                  std::optional<unsigned> id) {
    return impl_->read<std::vector<ObjectReference>>(
        [&] { return readReferences(impl_->session(), tenant, id); });
}

StoreResult<std::vector<ObjectOutcome>> ObjectStore::apply(unsigned tenant,
                                                           const std::vector<ObjectChange>& changes,
                                                           bool dryRun, std::size_t* failedAt) {
    std::size_t index = 0;
    auto outcomes = impl_->write<std::vector<ObjectOutcome>>(
        [&](ObjectWriter& writer) {
            std::vector<ObjectOutcome> done;
            done.reserve(changes.size());
            for (; index < changes.size(); ++index) {
                done.push_back(writer.apply(tenant, changes[index]));
            }
            return done;
        },
        !dryRun);
    if (!outcomes && failedAt != nullptr) {
        *failedAt = index;
    }
    return outcomes;
}

} // namespace quzo::platform
