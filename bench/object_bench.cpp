// What reading the named objects costs at start, against the sqlite3 program that writes out the same rows:
// CPU time, user and system, of the program as a whole on the one side, of opening the store and making the
// objects on the other. Both work in turns on one file.
//
//     object_bench [OBJECTS [TURNS]]
//
// Works in the folder for temporary files and removes what it makes there. Prints medians over the turns, and
// the ratio; exit code 1 when it is above 3.
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/store/object_store.h"
#include "platform/store/stored_named_objects.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_stamp_area.h"

namespace {

using namespace quzo::platform;
namespace fs = std::filesystem;

constexpr double kMostAllowed = 3;
constexpr const char* kSelect = "select id, kind, name, content from quzo_object order by kind, name";

double milliseconds(const rusage& usage) {
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

ObjectStore openStore(const std::string& file) {
    auto store = ObjectStore::open({"sqlite3://" + file, "object_bench"});
    if (!store) {
        throw std::runtime_error(store.fault().text);
    }
    return std::move(*store);
}

std::string sampleObject(unsigned long number, bool stamp) {
    if (stamp) {
        quzo::uiStampArea area;
        area.position = 2;
        area.signedTnefMode = 1;
        area.description = "Disclaimer of department " + std::to_string(number);
        area.stampText =
            "This message from %SENDER% is meant for %RCPTS%.\x03It may hold confidential matter.";
        return area.serialize();
    }
    quzo::uiNotifyArea area;
    area.sender = "postmaster@example.com";
    area.recipients = "admin@example.com;help@example.com";
    area.subject = "[%RULENAME%] a message was stopped";
    area.message = "The message \"%SUBJECT%\" of %SENDER% to %RCPTS% was stopped by a rule.";
    return area.serialize();
}

void fill(const std::string& file, unsigned long count) {
    std::vector<ObjectChange> changes;
    for (unsigned long number = 0; number < count; ++number) {
        const bool stamp = number % 2 != 0;
        changes.push_back({ObjectChange::Type::Add,
                           stamp ? ObjectKind::StampArea : ObjectKind::NotifyArea,
                           0,
                           {},
                           "object " + std::to_string(number),
                           sampleObject(number, stamp)});
    }
    ObjectStore store = openStore(file);
    if (const auto done = store.apply(0, changes, false); !done) {
        throw std::runtime_error(done.fault().text);
    }
}

// Milliseconds of this process.
double load(const std::string& file, unsigned long count) {
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    {
        ObjectStore store = openStore(file);
        const auto objects = StoredNamedObjects::load(store, 0);
        if (!objects || (*objects)->size() != count) {
            throw std::runtime_error("not all objects were loaded");
        }
        getrusage(RUSAGE_SELF, &after);
    }
    return milliseconds(after) - milliseconds(before);
}

// Milliseconds of one run of the sqlite3 program, its output thrown away.
double dump(const std::string& file, const char* command) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::string program = "sqlite3";
    std::string path = file;
    std::string text = command;
    const std::array<char*, 4> arguments{program.data(), path.data(), text.data(), nullptr};
    pid_t child = -1;
    const int error = posix_spawnp(&child, "sqlite3", &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    rusage usage{};
    if (error != 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
        throw std::runtime_error("the sqlite3 program does not work (package sqlite3)");
    }
    return milliseconds(usage);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

int compare(const std::string& file, unsigned long count, unsigned long turns) {
    fill(file, count);
    std::vector<double> loads;
    std::vector<double> selects;
    std::vector<double> dumps;
    for (unsigned long turn = 0; turn < turns; ++turn) {
        loads.push_back(load(file, count));
        selects.push_back(dump(file, kSelect));
        dumps.push_back(dump(file, ".dump quzo_object"));
    }
    const double ratio = median(loads) / median(selects);
    fmt::print("{} objects, medians of {} turns, CPU time\n", count, turns);
    fmt::print("loaded by quzo      {:7.2f} ms\n", median(loads));
    fmt::print("sqlite3, select     {:7.2f} ms   ratio {:.2f}\n", median(selects), ratio);
    fmt::print("sqlite3, .dump      {:7.2f} ms   ratio {:.2f}\n", median(dumps),
               median(loads) / median(dumps));
    return ratio <= kMostAllowed ? 0 : 1;
}

unsigned long numberOf(int argc, char** argv, int index, unsigned long otherwise) {
    return argc > index ? std::max(1UL, std::strtoul(argv[index], nullptr, 10)) : otherwise;
}

} // namespace

int main(int argc, char** argv) {
    std::string folder = (fs::temp_directory_path() / "quzo-object-bench-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
        fmt::print(stderr, "object_bench: no folder for temporary files\n");
        return 2;
    }
    int code = 2;
    try {
        code = compare(folder + "/store.db", numberOf(argc, argv, 1, 10000), numberOf(argc, argv, 2, 41));
    } catch (const std::exception& problem) {
        fmt::print(stderr, "object_bench: {}\n", problem.what());
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    return code;
}
