// The names that are loaded come from the build, which found them beside the headers.
#include "platform/store/postgres_library.h"

#include <dlfcn.h>

#include <cstring>

#include "platform/store/store_fault.h"

namespace quzo::platform {
namespace {

[[noreturn]] void refuse(const char* name) {
    throw StoreFailure(StoreTrouble::CannotOpen, std::string("a PostgreSQL store needs ") + name +
                                                     ", which cannot be loaded: install it");
}

void* load(const char* name) {
    void* library = ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? library : (refuse(name), nullptr);
}

template <typename Function>
void find(void* library, const char* libraryName, const char* name, Function& function) {
    void* found = ::dlsym(library, name);
    if (found == nullptr) {
        refuse(libraryName);
    }
    static_assert(sizeof function == sizeof found);
    std::memcpy(&function, &found, sizeof found);
}

PostgresLibrary loadAll() {
    PostgresLibrary all;
    void* libpq = load(QUZO_LIBPQ);
    const auto ofLibpq = [&](const char* name, auto& function) { find(libpq, QUZO_LIBPQ, name, function); };
    ofLibpq("PQconninfoParse", all.conninfoParse);
    ofLibpq("PQconninfoFree", all.conninfoFree);
    ofLibpq("PQfreemem", all.freemem);
    ofLibpq("PQconnectStart", all.connectStart);
    ofLibpq("PQconnectPoll", all.connectPoll);
    ofLibpq("PQfinish", all.finish);
    ofLibpq("PQsocket", all.socket);
    ofLibpq("PQerrorMessage", all.errorMessage);
    ofLibpq("PQsetErrorVerbosity", all.setErrorVerbosity);
    ofLibpq("PQconnectionNeedsPassword", all.connectionNeedsPassword);
    void* backend = load(QUZO_SOCI_POSTGRESQL);
    find(backend, QUZO_SOCI_POSTGRESQL, "factory_postgresql", all.factory);
    // soci::postgresql_soci_error::sqlstate() const. The ABI of C++ passes `this` of such a member function
    // as the first argument of a free one.
    find(backend, QUZO_SOCI_POSTGRESQL, "_ZNK4soci21postgresql_soci_error8sqlstateB5cxx11Ev", all.sqlstate);
    return all;
}

} // namespace

const PostgresLibrary& postgresLibrary() {
    static const PostgresLibrary kLibrary = loadAll();
    return kLibrary;
}

} // namespace quzo::platform
