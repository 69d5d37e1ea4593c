// The names that are loaded come from the build, which found them beside the headers.
#include "platform/store/postgres_library.h"

#include "platform/base/shared_library.h"
#include "platform/store/store_fault.h"

namespace quzo::platform {
namespace {

[[noreturn]] void refuse(const char* name) {
    throw StoreFailure(StoreTrouble::CannotOpen, std::string("a PostgreSQL store needs ") + name +
                                                     ", which cannot be loaded: install it");
}

template <typename Target>
void find(const SharedLibrary& library, const char* libraryName, const char* name, Target*& target) {
    if (!library.find(name, target)) {
        refuse(libraryName);
    }
}

PostgresLibrary loadAll() {
    PostgresLibrary all;
    const SharedLibrary libpq(QUZO_LIBPQ);
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
    const SharedLibrary backend(QUZO_SOCI_POSTGRESQL);
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
