// The messages of the databases quote statements and differ from language to language: what counts is the
// code, and the words are ours.
#include "platform/store/database_fault.h"

#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "platform/store/postgres_diagnosis.h"
#include "platform/store/postgres_library.h"

namespace quzo::platform {
namespace {

std::string storeName(const ConnectionTarget& target) {
    return target.backend == Backend::Sqlite ? "the store " + target.label
                                             : "the store (" + target.label + ")";
}

StoreFault fault(const FailureContext& context, StoreTrouble trouble, const std::string& text) {
    return {trouble, storeName(context.target) + " " + text};
}

StoreFault locked(const FailureContext& context) {
    return fault(
        context, StoreTrouble::Locked,
        "is locked by another program (waited " + std::to_string(context.waitSeconds) + " s): try again");
}

StoreFault full(const FailureContext& context) {
    return fault(context, StoreTrouble::NoSpace, "is full: make room on its disk");
}

StoreFault readOnly(const FailureContext& context) {
    const bool fileIsWritable = access(context.target.path.c_str(), W_OK) == 0;
    return fault(context, StoreTrouble::ReadOnlyStore,
                 fileIsWritable ? "cannot be changed by this user: its folder has to be writable, too"
                                : "is read-only for this user: change its owner or its mode");
}

// Why SQLite cannot open or write the file, or the journal beside it.
StoreFault notAccessible(const FailureContext& context) {
    struct stat status {};
    if (stat(context.target.path.c_str(), &status) != 0) {
        return fault(context, StoreTrouble::CannotOpen, "is gone: restore it from a backup");
    }
    if (access(context.target.path.c_str(), R_OK) != 0) {
        return fault(context, StoreTrouble::CannotOpen,
                     "cannot be read by this user: change its owner or its mode");
    }
    return readOnly(context);
}

StoreFault sqliteFault(const FailureContext& context, int code) {
    constexpr int kPrimary = 0xFF; // the rest is detail
    switch (code & kPrimary) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return locked(context);
        case SQLITE_FULL:
            return full(context);
        case SQLITE_IOERR: // a quota that is used up, among others
            return fault(context, StoreTrouble::InputOutput,
                         "cannot be read or written: check its disk, and the quota");
        case SQLITE_CANTOPEN:
        case SQLITE_READONLY:
            return notAccessible(context);
        case SQLITE_NOTADB:
            return fault(context, StoreTrouble::NotAStore,
                         "is no database: give the store a file of its own");
        case SQLITE_CORRUPT:
            return fault(context, StoreTrouble::Damaged, "is damaged: restore it from a backup");
        case SQLITE_NOMEM:
            return {StoreTrouble::NoMemory, "out of memory"};
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return fault(context, StoreTrouble::NotAllowed, "does not allow this");
        default:
            return fault(context, StoreTrouble::Refused,
                         "gave an answer that is not expected (SQLite error " + std::to_string(code) + ")");
    }
}

StoreFault connectionLost(const FailureContext& context) {
    if (context.committing) {
        return fault(context, StoreTrouble::Unreachable,
                     "went away while a change was being saved: look whether it is there, then try again");
    }
    return fault(context, StoreTrouble::Unreachable, "went away: try again");
}

StoreFault postgresFault(const FailureContext& context, std::string_view state) {
    static constexpr struct {
        std::string_view prefix;
        StoreTrouble trouble;
        const char* text;
    } kRows[] = {
        {"53100", StoreTrouble::NoSpace, "is full: make room on its disk"},
        {"53", StoreTrouble::Unreachable, "is short of memory or sessions: try again"},
        {"57P", StoreTrouble::Unreachable, "is starting up or shutting down: try again"},
        {"25006", StoreTrouble::ReadOnlyStore, "is read-only: use the primary server"},
        {"42501", StoreTrouble::NotAllowed, "does not allow this to its user: grant the right"},
        {"3F", StoreTrouble::NotAllowed, "has no schema for the tables of its user: create one"},
        {"22021", StoreTrouble::BadText, "cannot hold the text"},
        {"58", StoreTrouble::InputOutput, "cannot be read or written: input/output error"},
        {"XX", StoreTrouble::Damaged, "is damaged: restore it from a backup"},
    };
    if (state == "55P03" || state == "40001" || state == "40P01" || state == "57014") {
        return locked(context);
    }
    if (context.lost || state.starts_with("08")) {
        return connectionLost(context);
    }
    for (const auto& row : kRows) {
        if (state.starts_with(row.prefix)) {
            return fault(context, row.trouble, row.text);
        }
    }
    return fault(context, StoreTrouble::Refused,
                 "gave an answer that is not expected (SQLSTATE " + std::string(state) + ")");
}

} // namespace

StoreFault explainFailure(const FailureContext& context, const std::exception_ptr& problem) {
    try {
        std::rethrow_exception(problem);
    } catch (const soci::sqlite3_soci_error& error) {
        return sqliteFault(context, error.result());
    } catch (const soci::postgresql_soci_error& error) {
        return postgresFault(context, postgresLibrary().sqlstate(&error));
    } catch (const soci::soci_error&) {
        if (context.target.backend == Backend::Postgres && context.session == nullptr) {
            return diagnosePostgres(context.target);
        }
        return context.lost ? connectionLost(context)
                            : fault(context, StoreTrouble::Refused, "gave an answer that is not expected");
    } catch (...) {
        return fault(context, StoreTrouble::Refused, "cannot be used: unexpected fault");
    }
}

} // namespace quzo::platform
