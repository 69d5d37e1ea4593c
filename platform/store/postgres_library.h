// PostgreSQL's client library and SOCI's backend on top of it, loaded when a store is on a server.
//
// They bring some twenty libraries along, of encryption, directories and tickets, whose loading takes as long
// as everything else that a filter call does. A program that has no such store never pays for them, and need
// not have them installed.
#pragma once

#include <libpq-fe.h>
#include <soci/postgresql/soci-postgresql.h>

#include <string>

namespace quzo::platform {

// The functions that are used, by the names that libpq gives them.
struct PostgresLibrary {
    decltype(&::PQconninfoParse) conninfoParse = nullptr;
    decltype(&::PQconninfoFree) conninfoFree = nullptr;
    decltype(&::PQfreemem) freemem = nullptr;
    decltype(&::PQconnectStart) connectStart = nullptr;
    decltype(&::PQconnectPoll) connectPoll = nullptr;
    decltype(&::PQfinish) finish = nullptr;
    decltype(&::PQsocket) socket = nullptr;
    decltype(&::PQerrorMessage) errorMessage = nullptr;
    decltype(&::PQsetErrorVerbosity) setErrorVerbosity = nullptr;
    decltype(&::PQconnectionNeedsPassword) connectionNeedsPassword = nullptr;

    decltype(&soci::factory_postgresql) factory = nullptr;
    std::string (*sqlstate)(const soci::postgresql_soci_error* error) = nullptr;
};

// Loads it at the first call, for good; any thread. Throws StoreFailure (CannotOpen) when it is not
// installed.
const PostgresLibrary& postgresLibrary();

} // namespace quzo::platform
