// How fast messages are stamped and stripped, against a program on GMime that does the same. Everything is in
// memory and on one thread; all work in turns on the same messages, each turn gives one ratio to GMime's, and
// their medians are printed. bench/compare.sh calls it.
//
//     edit_speed FOLDER STORE [TURNS]         exit code 1 when a promised ratio is missed
//     edit_speed --write FOLDER STORE OUT     writes what GMime makes to OUT/gmime-stamp, OUT/gmime-strip
//
// STORE is an object store with the stamp that bench/compare/stamp.toml names. It is called in the root of
// the sources.
#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/gmime_edits.h"
#include "bench/gmime_message.h"
#include "bench/mail_folder.h"
#include "bench/memory_job.h"
#include "platform/config/quzo_settings.h"
#include "platform/store/object_store.h"
#include "quzo/core/init_action_lib.h"

namespace quzo::bench {
namespace {

namespace fs = std::filesystem;

// Times as fast as GMime.
constexpr double kPromised = 2;

std::string contentOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error(fmt::format("{} cannot be read", path));
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::unique_ptr<platform::StoredNamedObjects> objectsOf(const std::string& file) {
    auto store = platform::ObjectStore::open({"sqlite3://" + file, "edit_speed"});
    if (!store) {
        throw std::runtime_error(store.fault().text);
    }
    auto objects = platform::StoredNamedObjects::load(*store, 0);
    if (!objects) {
        throw std::runtime_error(objects.fault().text);
    }
    return std::move(*objects);
}

struct Pair {
    const char* name;
    std::unique_ptr<Job> gmime;
    std::unique_ptr<Job> ours;
    std::vector<double> gmimeRates{};
    std::vector<double> ourRates{};
    std::vector<double> ratios{};
};

std::vector<Pair> makePairs(const platform::StoredNamedObjects& objects) {
    std::vector<Pair> pairs;
    pairs.push_back({"stamp",
                     std::make_unique<GMimeStamp>(contentOf("bench/compare/disclaimer.txt"),
                                                  contentOf("bench/compare/disclaimer.html")),
                     std::make_unique<ThroughPolicy>(contentOf("bench/compare/stamp.toml"), &objects)});
    pairs.push_back({"strip", std::make_unique<GMimeStrip>(),
                     std::make_unique<ThroughPolicy>(contentOf("bench/compare/strip.toml"))});
    return pairs;
}

int measure(std::vector<Pair> pairs, const std::vector<std::string>& messages, unsigned turns) {
    bool reached = true;
    for (Pair& pair : pairs) {
        rate(*pair.gmime, messages); // warm
        rate(*pair.ours, messages);
        for (unsigned turn = 0; turn < turns; ++turn) {
            pair.gmimeRates.push_back(rate(*pair.gmime, messages));
            pair.ourRates.push_back(rate(*pair.ours, messages));
            pair.ratios.push_back(pair.ourRates.back() / pair.gmimeRates.back());
        }
        const double ratio = median(pair.ratios);
        reached = reached && ratio >= kPromised;
        fmt::print("| {} | {:.3f} | {:.3f} | {:.1f} | {} |{}\n", pair.name, 1000 / median(pair.gmimeRates),
                   1000 / median(pair.ourRates), ratio, kPromised, ratio < kPromised ? " MISSED" : "");
    }
    return reached ? 0 : 1;
}

void writeResults(Job& job, const fs::path& folder, const fs::path& out) {
    fs::create_directory(out);
    for (const fs::path& path : messagePaths(folder)) {
        job.run(contentOf(path.c_str()), [&](std::string_view written) {
            std::ofstream file(out / path.filename(), std::ios::binary);
            file.write(written.data(), static_cast<std::streamsize>(written.size()));
            if (!file.flush()) {
                throw std::runtime_error(fmt::format("{} cannot be written", out.string()));
            }
        });
    }
}

int run(const std::vector<std::string>& arguments) {
    const bool write = !arguments.empty() && arguments.front() == "--write";
    if (arguments.size() < 2 || arguments.size() > 4 || (write && arguments.size() != 4)) {
        fmt::print(stderr, "usage: edit_speed FOLDER STORE [TURNS] | --write FOLDER STORE OUT\n");
        return 64;
    }
    const auto objects = objectsOf(arguments[write ? 2 : 1]);
    std::vector<Pair> pairs = makePairs(*objects);
    if (write) {
        for (Pair& pair : pairs) {
            writeResults(*pair.gmime, arguments[1],
                         fs::path(arguments[3]) / fmt::format("gmime-{}", pair.name));
            writeResults(*pair.ours, arguments[1],
                         fs::path(arguments[3]) / fmt::format("quzo-{}", pair.name));
        }
        return 0;
    }
    const std::vector<std::string> messages = readMessages(arguments[0]);
    if (messages.empty()) {
        fmt::print(stderr, "edit_speed: {}: there are no messages\n", arguments[0]);
        return 66;
    }
    return measure(std::move(pairs), messages,
                   arguments.size() > 2 ? static_cast<unsigned>(std::stoul(arguments[2])) : 21);
}

} // namespace
} // namespace quzo::bench

int main(int argc, char** argv) {
    try {
        g_mime_init();
        quzo::bench::QuietLog log;
        quzo::platform::IniSettings settings;
        InitActionLib(settings, log);
        return quzo::bench::run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& problem) {
        fmt::print(stderr, "edit_speed: {}\n", problem.what());
        return 70;
    }
}
