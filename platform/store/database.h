// One session with a database of either kind, and its transactions.
//
// Writers are serial on both: SQLite by its write lock, PostgreSQL by an advisory lock that each writing
// transaction takes first. So what a transaction reads before it writes still holds when it writes, and no
// statement needs to be different for one of the two.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "platform/store/connection_target.h"
#include "platform/store/store_fault.h"
#include "platform/store/store_format.h"

namespace soci {
class session;
}

namespace quzo::platform {

// Not for use by two threads at once.
class Database {
public:
    enum class Access {
        Read, // one snapshot: what others commit meanwhile is not seen
        Write
    };

    // Connects; with `make`, makes or upgrades the tables (StoreSettings::make). Waits for locks of others up
    // to `waitSeconds`. Throws.
    Database(ConnectionTarget target, unsigned waitSeconds, bool make);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    const ConnectionTarget& target() const { return target_; }
    soci::session& session() { return *session_; }
    // What was found when it was opened first, and what has been made of it.
    const StoreFormat& format() const { return format_; }

    // Runs `work` in a transaction, which is committed when `keep` says so and otherwise rolled back. A
    // session that was lost since the last one is opened again first. Throws StoreFailure, with nothing
    // changed.
    template <typename Work>
    void transact(Access access, bool keep, Work&& work) {
        begin(access);
        try {
            work();
            if (keep) {
                commit();
            } else {
                rollback();
            }
        } catch (...) {
            const StoreFault fault =
                explain(std::current_exception()); // before rolling back hides the reason
            rollback();
            throw StoreFailure(fault);
        }
    }

    // What an exception means. Also notes whether the session has to be opened again.
    StoreFault explain(const std::exception_ptr& problem) noexcept;

private:
    void begin(Access access);
    void commit();
    void rollback() noexcept;
    void start(Access access);
    void open();
    void openSqlite();
    void openPostgres();
    bool lost() noexcept;
    StoreFault translate(const std::exception_ptr& problem);

    ConnectionTarget target_;
    unsigned waitSeconds_;
    bool make_;
    StoreFormat format_;
    std::unique_ptr<soci::session> session_;
    bool inTransaction_ = false;
    bool committing_ = false;
    bool opening_ = false;
    bool reopen_ = false;
    bool wasOpen_ = false; // a file that was there and has gone is not made anew: that would hide the loss
};

} // namespace quzo::platform
