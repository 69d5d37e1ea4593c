// Where a store is: the connection string of [platform] store, taken apart.
#pragma once

#include <string>

namespace quzo::platform {

enum class Backend { Sqlite, Postgres };

struct ConnectionTarget {
    Backend backend = Backend::Sqlite;
    std::string path;       // SQLite: the file, never a name that SQLite reads as something else
    std::string connection; // what the database's client library is given; may hold a password
    std::string label;      // for messages; never holds a password
};

// Takes sqlite3://PATH (two slashes and a relative or absolute path; nothing is decoded), postgresql://...
// and postgres://... as libpq reads them, or KEY=VALUE ... of libpq. PostgreSQL gets a limit on the time to
// connect and on unanswered data where the string sets none, and always UTF-8. Throws StoreFailure
// (BadConnection).
ConnectionTarget parseConnection(const std::string& text);

} // namespace quzo::platform
