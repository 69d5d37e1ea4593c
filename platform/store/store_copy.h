// A copy of an embedded store beside it, for the case that people want it back as it was.
#pragma once

#include <string>

#include "platform/store/connection_target.h"

namespace quzo::platform {

// Made when the work that it is for begins, under a name that says so, and whole and on the disk for good by
// then. It goes with its owner unless it is kept. For one thread.
class StoreCopy {
public:
    StoreCopy() = default;
    ~StoreCopy();
    StoreCopy(const StoreCopy&) = delete;
    StoreCopy& operator=(const StoreCopy&) = delete;

    // Copies the store, of that format, with all that was ever committed, into PATH.format-N.new; owner and
    // mode are those of the store. The caller holds the lock of writers in a session of his own, in which he
    // has not written. Throws StoreFailure, or what SOCI throws; then there is none.
    void make(const ConnectionTarget& target, long long format);

    // Gives it its name, PATH.format-N, or PATH.format-N-2 and so on when that is taken. Throws StoreFailure.
    void giveName();

    // It stays when this goes.
    void keep() { kept_ = true; }

    // Where it is; empty when none was made.
    const std::string& path() const { return path_; }

private:
    std::string base_; // PATH.format-N
    std::string path_;
    std::string label_; // of the store
    bool kept_ = false;
};

} // namespace quzo::platform
