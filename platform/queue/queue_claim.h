// An entry that one claimer has for itself.
#pragma once

#include <cstdint>
#include <string>

#include "platform/queue/file_system.h"
#include "platform/queue/queue_entry.h"

namespace quzo::platform {

class QueueStore;

enum class ClaimOutcome : std::uint8_t {
    Taken,
    Busy,    // somebody who is alive has it
    Missing, // no such entry
    Failed,  // the system refused, or it cannot be told; logged
};

// Filled by QueueStore::claim(), which it must not outlive. Gives the entry back when it goes. For one thread
// at a time. Results are 0 or a KvMsgError.
class QueueClaim {
public:
    QueueClaim() = default;
    QueueClaim(QueueClaim&& other) noexcept;
    QueueClaim& operator=(QueueClaim&& other) noexcept;
    ~QueueClaim() { release(); }

    // Whether it has an entry.
    explicit operator bool() const { return store_ != nullptr; }

    // The name of the queue; only with an entry.
    const std::string& queue() const;
    const std::string& id() const { return id_; }

    // Non-zero when what is known of the entry cannot be read; entry() then says nothing. Such an entry can
    // be given back and removed.
    int error() const { return error_; }
    const QueueEntry& entry() const { return entry_; }

    // Replaces what is known of it, on the disk for good. The identifier stays. On failure the former text
    // stands, or, when only the last sync failed, the new one.
    int update(const QueueEntry& entry);

    // Removes the entry. When the claim has no entry any more afterwards it is gone, also with a non-zero
    // result, which then says that a crash of the machine might bring it back.
    int remove();

    // Gives it back as it is.
    int release() noexcept;

private:
    friend class QueueStore;

    QueueStore* store_ = nullptr;
    std::string id_;
    std::string name_; // of the file with what is known
    FileHandle directory_;
    QueueEntry entry_;
    int error_ = 0;
};

} // namespace quzo::platform
