// How fast a queue takes messages, against the least that durability asks for: a loop that writes the same
// two files, syncs and renames each, and syncs their directory. Both work in turns on directories of one
// disk, so that whatever else the disk does slows both; and one thread in turns with several.
//
//     queue_bench DIRECTORY [STORES [THREADS]]
//
// DIRECTORY must be on the disk in question; what is made there is removed. Prints medians over the turns.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/identifiers.h"
#include "platform/queue/leaving_message.h"
#include "platform/queue/queue_store.h"

namespace {

using namespace quzo::platform;

constexpr std::size_t kMessageSize = 20000;
constexpr unsigned kTurn = 20; // stores between two changes

class UnsyncedFileSystem final : public FileSystem {
protected:
    int callSync(int /*descriptor*/) override { return 0; }
};

void require(bool done, const char* what) {
    if (!done) {
        throw std::runtime_error(what);
    }
}

QueueEntry entryNamed(const std::string& id) {
    QueueEntry entry;
    entry.id = id;
    entry.sender = "from@example.com";
    entry.recipients = {"to@example.com", "too@example.com"};
    entry.subject = "A subject as they are";
    entry.rule = 10;
    entry.area = "Suspicious attachments";
    entry.aging = 30;
    entry.stored = 1700000000;
    return entry;
}

const std::string& message() {
    static const std::string text(kMessageSize, 'x');
    return text;
}

void storeInQueue(QueueStore& store) {
    QueueEntry entry = entryNamed(newIdentifier());
    require(store.store(entry, writerOf(std::string_view(message()))) == 0, "cannot store");
}

// Write, sync, rename; no checks, no claims, nothing to come back to.
void writeBare(int directory, const std::string& name, const std::string& text) {
    const std::string temporary = name + ".tmp";
    const int file = ::openat(directory, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    require(file >= 0, "cannot create");
    require(::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "cannot write");
    require(::fsync(file) == 0, "cannot sync");
    ::close(file);
    require(::renameat(directory, temporary.c_str(), directory, name.c_str()) == 0, "cannot rename");
}

void storeBare(const std::string& root) {
    const std::string id = newIdentifier();
    const std::string place = root + "/" + id[0] + "/" + id[1];
    const int directory = ::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(directory >= 0, "cannot open");
    std::string text;
    require(encodeEntry(entryNamed(id), text) == 0, "cannot encode");
    writeBare(directory, id + ".DF", message());
    writeBare(directory, id + ".json", text);
    require(::fsync(directory) == 0, "cannot sync");
    ::close(directory);
}

// One entry in each place, so that neither side makes directories while it is measured.
void prepare(const std::string& root) {
    UnsyncedFileSystem files;
    QueueStore store("bench", root, files);
    for (const char first : QueueDirectories::kCharacters) {
        for (const char second : QueueDirectories::kCharacters) {
            QueueEntry entry = entryNamed({first, second});
            require(store.store(entry, writerOf(std::string_view("x"))) == 0, "cannot prepare");
        }
    }
}

template <typename Work>
double seconds(Work&& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Stores `count` in all on `threads` threads.
template <typename Store>
double inThreads(unsigned threads, unsigned count, const Store& store) {
    return seconds([&] {
        std::atomic<unsigned> next{0};
        std::vector<std::thread> running;
        for (unsigned i = 0; i < threads; ++i) {
            running.emplace_back([&] {
                while (next++ < count) {
                    store();
                }
            });
        }
        for (std::thread& thread : running) {
            thread.join();
        }
    });
}

struct Side {
    const char* name;
    std::vector<double> rates; // stores a second, one for each turn
    double total = 0;          // seconds
};

void measure(const std::string& root, unsigned stores, unsigned threads) {
    const std::string bareRoot = root + "/bare";
    QueueStore store("bench", root + "/queue");
    prepare(bareRoot);
    prepare(store.directory());
    ::sync();
    Side bare{"bare loop, 1 thread", {}};
    Side one{"queue, 1 thread", {}};
    Side many{"queue, threads", {}};
    Side bareMany{"bare loop, threads", {}};
    std::vector<double> ratios;
    std::vector<double> gains;
    const auto turn = [](Side& side, unsigned count, double time) {
        side.rates.push_back(count / time);
        side.total += time;
        return count / time;
    };
    const unsigned turns = std::max(3U, stores / kTurn);
    for (unsigned i = 0; i < turns; ++i) {
        const auto bareTurn = [&] {
            return turn(bare, kTurn, inThreads(1, kTurn, [&] { storeBare(bareRoot); }));
        };
        const auto queueTurn = [&] {
            return turn(one, kTurn, inThreads(1, kTurn, [&] { storeInQueue(store); }));
        };
        // Who comes first changes, so that neither profits from what the other left in the journal.
        const double first = i % 2 == 0 ? bareTurn() : queueTurn();
        const double second = i % 2 == 0 ? queueTurn() : bareTurn();
        ratios.push_back(i % 2 == 0 ? second / first : first / second);
        const unsigned count = kTurn * threads;
        turn(bareMany, count, inThreads(threads, count, [&] { storeBare(bareRoot); }));
        const double rate = turn(many, count, inThreads(threads, count, [&] { storeInQueue(store); }));
        gains.push_back(rate / one.rates.back());
    }
    fmt::print("{} turns of {} stores of {} bytes, {} threads\n", turns, kTurn, kMessageSize, threads);
    for (const Side* side : {&bare, &one, &bareMany, &many}) {
        fmt::print("{:22} {:8.1f} stores/s (median)\n", side->name, median(side->rates));
    }
    fmt::print("queue / bare loop, 1 thread:   {:.2f} (median of the turns), {:.2f} (of the total times)\n",
               median(ratios), bare.total / one.total);
    fmt::print("queue, threads / 1 thread:     {:.2f} (median of the turns)\n", median(gains));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fmt::print(stderr, "usage: queue_bench DIRECTORY [STORES [THREADS]]\n");
        return 64;
    }
    std::string root = std::string(argv[1]) + "/queue-bench-XXXXXX";
    try {
        require(::mkdtemp(root.data()) != nullptr, "cannot make a directory there");
        measure(root, argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : 400,
                argc > 3 ? static_cast<unsigned>(std::stoul(argv[3])) : 8);
        std::filesystem::remove_all(root);
        return 0;
    } catch (const std::exception& problem) {
        fmt::print(stderr, "queue_bench: {}: {}\n", root, problem.what());
        return 74;
    }
}
