// Opening sessions through SOCI's factory objects, so that none of SOCI's own search for libraries takes
// place.
//
// SQLite keeps its rollback journal, not a write-ahead log: the store is then one file that can be copied,
// and that a scanner without a right to write can read. "extra" also syncs the folder when a journal goes,
// without which a power cut right after a commit could undo it.
#include "platform/store/database.h"

#include <soci/sqlite3/soci-sqlite3.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "platform/base/visible_text.h"
#include "platform/store/database_fault.h"
#include "platform/store/database_file.h"
#include "platform/store/postgres_library.h"
#include "platform/store/query.h"
#include "platform/store/schema.h"

namespace quzo::platform {
namespace {

constexpr long long kWriterLock = 0x71757A6F; // the key of PostgreSQL's advisory lock: ours by agreement

constexpr unsigned kLongestWait = 24U * 60U * 60U; // seconds

void execute(soci::session& session, const char* text) { session.once << text; }

} // namespace

Database::Database(ConnectionTarget target, unsigned waitSeconds, bool make)
    : target_(std::move(target)), waitSeconds_(std::min(waitSeconds, kLongestWait)), make_(make) {
    open();
}

Database::~Database() { rollback(); }

void Database::open() {
    session_.reset();
    inTransaction_ = false;
    committing_ = false;
    reopen_ = false;
    opening_ = true;
    try {
        if (target_.backend == Backend::Sqlite) {
            openSqlite();
        } else {
            openPostgres();
        }
        StoreFormat format = prepareSchema(*this, make_);
        if (!wasOpen_) {
            format_ = std::move(format);
        }
    } catch (...) {
        const StoreFault fault = explain(std::current_exception());
        opening_ = false;
        reopen_ = true;
        throw StoreFailure(fault);
    }
    opening_ = false;
    wasOpen_ = true;
}

void Database::openSqlite() {
    if (!make_ && !wasOpen_ && ::access(target_.path.c_str(), F_OK) != 0 && errno == ENOENT) {
        throw StoreFailure(StoreTrouble::Absent, "the store " + target_.label + " is not there yet");
    }
    ensureDatabaseFile(target_.path, target_.label, make_ && !wasOpen_);
    session_ = std::make_unique<soci::session>(
        soci::sqlite3, target_.connection + " timeout=" + std::to_string(waitSeconds_));
    execute(*session_, "pragma foreign_keys = on");
    execute(*session_, "pragma synchronous = extra");
}

void Database::openPostgres() {
    session_ = std::make_unique<soci::session>(*postgresLibrary().factory(), target_.connection);
    const std::string wait = waitSeconds_ == 0 ? "1ms" : std::to_string(waitSeconds_) + "s";
    std::string answer;
    std::string encoding;
    Query(*session_,
          "select set_config('lock_timeout', :wait, false) ||"
          " set_config('client_min_messages', 'warning', false), current_setting('server_encoding')")
        .use(wait)
        .into(answer)
        .into(encoding)
        .run()
        .next();
    if (encoding != "UTF8") {
        throw StoreFailure(StoreTrouble::NotAStore, "the store (" + target_.label + ") has the encoding " +
                                                        visibleText(encoding) +
                                                        ": create the database with encoding UTF8");
    }
}

void Database::begin(Access access) {
    try {
        if (reopen_) {
            open();
        }
        try {
            start(access);
        } catch (const soci::soci_error&) {
            // A session that died while nobody used it: nothing has been asked of it yet.
            if (opening_ || !lost()) {
                throw;
            }
            open();
            start(access);
        }
    } catch (...) {
        throw StoreFailure(explain(std::current_exception()));
    }
}

void Database::start(Access access) {
    if (target_.backend == Backend::Sqlite) {
        execute(*session_, access == Access::Read ? "begin" : "begin immediate");
        inTransaction_ = true;
        return;
    }
    execute(*session_, access == Access::Read ? "begin isolation level repeatable read read only"
                                              : "begin isolation level read committed read write");
    inTransaction_ = true;
    if (access == Access::Write) {
        try {
            Query(*session_, "select pg_advisory_xact_lock(:lock)").use(kWriterLock).change();
        } catch (...) {
            rollback();
            throw;
        }
    }
}

void Database::commit() {
    committing_ = true;
    execute(*session_, "commit");
    committing_ = false;
    inTransaction_ = false;
}

void Database::rollback() noexcept {
    if (!inTransaction_) {
        return;
    }
    inTransaction_ = false;
    committing_ = false;
    try {
        execute(*session_, "rollback");
    } catch (...) {
        // The database has rolled back by itself, as it does when it loses a session or runs out of space.
    }
}

bool Database::lost() noexcept {
    try {
        return target_.backend == Backend::Postgres && !session_->is_connected();
    } catch (...) {
        return true;
    }
}

StoreFault Database::explain(const std::exception_ptr& problem) noexcept {
    try {
        return translate(problem);
    } catch (...) {
        return {StoreTrouble::NoMemory, "out of memory"};
    }
}

StoreFault Database::translate(const std::exception_ptr& problem) {
    try {
        std::rethrow_exception(problem);
    } catch (const StoreFailure& failure) {
        return failure.fault();
    } catch (const std::bad_alloc&) {
        return {StoreTrouble::NoMemory, "out of memory"};
    } catch (...) {
        const bool dead = session_ != nullptr && lost();
        StoreFault fault =
            explainFailure({target_, session_.get(), waitSeconds_, dead, committing_}, problem);
        reopen_ = reopen_ || dead || fault.trouble == StoreTrouble::CannotOpen ||
                  fault.trouble == StoreTrouble::Damaged;
        return fault;
    }
}

} // namespace quzo::platform
