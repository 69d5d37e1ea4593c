// The connection to the store of named objects.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace quzo {

// One connection to the store, opened on first use with the platform's connection string and closed by
// the destructor. Used by one thread at a time.
class RdbmsInterface {
public:
    RdbmsInterface();
    ~RdbmsInterface();
    RdbmsInterface(const RdbmsInterface&) = delete;
    RdbmsInterface& operator=(const RdbmsInterface&) = delete;

    struct Impl;
    // The platform's side of the connection; never null.
    Impl& impl() { return *impl_; }

private:
    std::unique_ptr<Impl> impl_;
};

// One row of a listing as the store gives it.
struct SummaryNamedObject {
    std::uint32_t id = 0;
    std::uint8_t inUse = 0;    // non-zero: a policy refers to the object
    std::uint8_t readOnly = 0; // non-zero: the object cannot be changed from the administration side
    std::string name;
};

} // namespace quzo
