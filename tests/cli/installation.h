// An installation with named objects and queues, for tests of the program.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/queue/queues.h"
#include "tests/cli/program.h"

namespace quzo::test {

// Settings quzo.ini, a policy p.toml, a store with the quarantine area "held" (30 days), "for ever" (no age
// limit), and the archive areas "copies" (10 days) and "audit" (no age limit).
class Installation {
public:
    // `inMemory`: the spool is there where that is possible, for tests that store much.
    explicit Installation(bool inMemory = false);
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    const TemporaryDirectory& dir() const { return dir_; }
    platform::Queues& queues() { return *queues_; }
    std::string spool() const { return spool_; }

    void addArea(bool quarantine, const std::string& name, unsigned days,
                 const std::string& description) const;

    // Rules of p.toml; `actions` is the list as it stands in a policy, for all messages.
    void policy(std::string_view rules) const { dir_.write("p.toml", rules); }
    void rule(std::string_view actions) const;

    ProgramRun apply(std::vector<std::string> arguments) const;
    // "quzo queue COMMAND -c quzo.ini ARGUMENTS..."
    ProgramRun queue(std::vector<std::string> arguments) const;

    // An entry of the queue as if it had been stored `age` seconds ago.
    void fill(const char* queue, platform::QueueEntry entry, std::string_view message, std::int64_t age = 0);

    // Each entry's message by its identifier. Fails the test for an entry that is not whole.
    std::map<std::string, std::string> entries(const char* queue);
    // The only entry of the queue.
    platform::QueueEntry only(const char* queue);

private:
    TemporaryDirectory dir_;
    std::string memory_; // a directory of our own; empty: none
    std::string spool_;
    std::unique_ptr<platform::Queues> queues_;
};

} // namespace quzo::test
