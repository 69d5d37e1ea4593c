// Checks arguments, opens the store, passes on, and turns the store's answers into result codes.
#include "quzo/settings/name_object_access.h"

#include <cstring>
#include <utility>

#include "quzo/core/guard.h"
#include "quzo/settings/action_n.h"

namespace quzo {
namespace {

using Result = NameObjectAccess::Result;

Result check(const char* name, const char* content) {
    if (name == nullptr || *name == '\0' || content == nullptr || *content == '\0') {
        return Result::kMissingArgument;
    }
    return std::strncmp(name, "OPP:", 4) == 0 ? Result::kReservedName : Result::kSuccess;
}

} // namespace

std::uint32_t NameObjectAccess::getList(unsigned tenant, std::vector<NameObjectSummary>& out) {
    out.clear();
    return guarded("NameObjectAccess::getList", std::uint32_t{kNotListed}, [&]() -> std::uint32_t {
        RdbmsInterface store;
        std::vector<SummaryNamedObject> rows;
        if (!QuzoNamedObj::getIds(store, tenant, type_, rows)) {
            return kNotListed;
        }
        std::vector<NameObjectSummary> list;
        list.reserve(rows.size());
        for (SummaryNamedObject& row : rows) {
            list.push_back({row.id, std::move(row.name), row.inUse, row.readOnly});
        }
        out = std::move(list);
        return kSuccess;
    });
}

std::uint32_t NameObjectAccess::add(unsigned tenant, const char* name, const char* content, unsigned& newId) {
    if (const Result refused = check(name, content); refused != kSuccess) {
        return refused;
    }
    return guarded("NameObjectAccess::add", std::uint32_t{kNotAdded}, [&]() -> std::uint32_t {
        RdbmsInterface store;
        return QuzoNamedObj::add(store, tenant, name, content, type_, newId) ? kSuccess : kNotAdded;
    });
}

std::uint32_t NameObjectAccess::update(unsigned id, unsigned tenant, const char* name, const char* content) {
    if (const Result refused = check(name, content); refused != kSuccess) {
        return refused;
    }
    return guarded("NameObjectAccess::update", std::uint32_t{kNotModified}, [&]() -> std::uint32_t {
        RdbmsInterface store;
        return QuzoNamedObj::modify(store, tenant, id, name, content, type_) ? kSuccess : kNotModified;
    });
}

std::uint32_t NameObjectAccess::get(unsigned id, std::string& name, std::string& content) {
    return guarded("NameObjectAccess::get", std::uint32_t{kNotRead}, [&]() -> std::uint32_t {
        RdbmsInterface store;
        return QuzoNamedObj::getContentBlob(store, id, name, content) ? kSuccess : kNotRead;
    });
}

std::uint32_t NameObjectAccess::remove(unsigned tenant, unsigned id) {
    return guarded("NameObjectAccess::remove", std::uint32_t{kNotModified}, [&]() -> std::uint32_t {
        RdbmsInterface store;
        return QuzoNamedObj::remove(store, tenant, id);
    });
}

std::uint32_t NameObjectAccess::bind(const QuzoActionN& action, const std::vector<unsigned>& ids) {
    if (ids.empty()) {
        return kMissingArgument;
    }
    return guarded("NameObjectAccess::bind", std::uint32_t{kNotRead}, [&]() -> std::uint32_t {
        RdbmsInterface store;
        for (const unsigned id : ids) {
            std::string name;
            std::string content;
            if (!QuzoNamedObj::getContentBlob(store, id, name, content)) {
                return kNotRead;
            }
        }
        action.namedObjIds = ids;
        return kSuccess;
    });
}

std::uint32_t NameObjectAccess::getBindings(const QuzoActionN& action, std::vector<unsigned>& ids) {
    if (action.namedObjIds.empty()) {
        return kMissingArgument;
    }
    return guarded("NameObjectAccess::getBindings", std::uint32_t{kMissingArgument}, [&]() -> std::uint32_t {
        ids = action.namedObjIds;
        return kSuccess;
    });
}

} // namespace quzo
