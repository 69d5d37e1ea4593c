// See installation.h. Objects and entries are made through the platform, since it is the program that is
// tested.
#include "tests/cli/installation.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "platform/queue/leaving_message.h"
#include "platform/store/object_store.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/ui_quarantine_area.h"

namespace quzo::test {

using platform::ListedEntry;

namespace {

// Empty when there is no such place.
std::string directoryInMemory() {
    std::string name = "/dev/shm/quzo-cli-XXXXXX";
    return ::mkdtemp(name.data()) == nullptr ? std::string() : name;
}

} // namespace

Installation::Installation(bool inMemory)
    : memory_(inMemory ? directoryInMemory() : std::string()),
      spool_(memory_.empty() ? dir_.path("spool") : memory_ + "/spool"),
      queues_(std::make_unique<platform::Queues>(platform::QueuePlaces{spool_, {}, {}})) {
    dir_.write("quzo.ini", "[platform]\nspool = " + spool_ + "\nstore = sqlite3://" +
                               dir_.path("objects.db") + "\nlog = " + dir_.path("log") + "\n");
    addArea(true, "held", 30, "Held mail");
    addArea(true, "for ever", 0, "Held for ever");
    addArea(false, "copies", 10, "Copies");
    addArea(false, "audit", 0, "Audit");
}

Installation::~Installation() {
    if (!memory_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(memory_, ignored);
    }
}

void Installation::addArea(bool quarantine, const std::string& name, unsigned days,
                           const std::string& description) const {
    const auto add = [&](auto area, platform::ObjectKind kind) {
        area.agingDays = days;
        area.agingEnabled = days != 0;
        area.description = description;
        auto store = platform::ObjectStore::open({"sqlite3://" + dir_.path("objects.db"), "tests"});
        ASSERT_TRUE(store) << store.fault().text;
        const auto added = store->add(0, kind, name, area.serialize());
        ASSERT_TRUE(added) << added.fault().text;
    };
    if (quarantine) {
        add(uiQuarantineArea(), platform::ObjectKind::QuarantineArea);
    } else {
        add(ArchiveArea(), platform::ObjectKind::ArchiveArea);
    }
}

void Installation::rule(std::string_view actions) const {
    policy("[[rule]]\nid = 10\nname = \"Ten\"\nwhen = { always = true }\nactions = [" + std::string(actions) +
           "]\n");
}

ProgramRun Installation::apply(std::vector<std::string> arguments) const {
    std::vector<std::string> all = {"apply", "-c", "quzo.ini", "-p", "p.toml"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return dir_.quzo(all);
}

ProgramRun Installation::queue(std::vector<std::string> arguments) const {
    std::vector<std::string> all = {"queue", arguments.front(), "-c", "quzo.ini"};
    all.insert(all.end(), arguments.begin() + 1, arguments.end());
    return dir_.quzo(all);
}

void Installation::fill(const char* queue, platform::QueueEntry entry, std::string_view message,
                        std::int64_t age) {
    entry.stored = std::time(nullptr) - age;
    ASSERT_EQ(queues_->find(queue)->store(entry, platform::writerOf(message)), 0);
}

std::map<std::string, std::string> Installation::entries(const char* queue) {
    std::map<std::string, std::string> found;
    platform::QueueStore& store = *queues_->find(queue);
    EXPECT_EQ(store.forEach([&](ListedEntry&& listed) {
        std::string message;
        EXPECT_EQ(listed.error, 0) << listed.id;
        EXPECT_EQ(store.readMessage(listed.id, listed.entry.size, message), 0) << listed.id;
        found[listed.id] = message;
        return true;
    }),
              0);
    return found;
}

platform::QueueEntry Installation::only(const char* queue) {
    platform::QueueEntry entry;
    const auto found = entries(queue);
    EXPECT_EQ(found.size(), 1U) << queue;
    if (!found.empty()) {
        EXPECT_EQ(queues_->find(queue)->read(found.begin()->first, entry), 0);
    }
    return entry;
}

} // namespace quzo::test
