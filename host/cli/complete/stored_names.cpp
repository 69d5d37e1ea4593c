// See stored_names.h.
#include "host/cli/complete/stored_names.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

#include "host/gateway/installation.h"
#include "host/gateway/standard_files.h"
#include "host/policy/policy.h"
#include "platform/base/column_text.h"
#include "platform/base/numbers.h"
#include "platform/store/object_store.h"

namespace quzo::host {
namespace {

constexpr std::size_t kMostOffered = 1000;
constexpr std::size_t kMostDescribed = 100; // each is a file that has to be read
constexpr std::size_t kColumns = 60;        // of a description

// As the shell would have it once the line is entered.
std::string pathOf(std::string path) {
    const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (path.starts_with("~/") && home != nullptr) {
        path.replace(0, 1, home);
    }
    return path;
}

// As useStandardFiles() does it; a policy is looked for beside settings that are named.
StandardFiles filesOf(const TypedLine& line) {
    StandardFiles files{pathOf(line.value("--config")), pathOf(line.value("--policy"))};
    if (files.iniFile.empty() && files.policyFile.empty()) {
        return standardFiles();
    }
    if (files.policyFile.empty()) {
        const std::size_t slash = files.iniFile.rfind('/');
        files.policyFile =
            standardFiles(slash == std::string::npos ? "." : files.iniFile.substr(0, slash)).policyFile;
    }
    return files;
}

std::string shown(std::string_view text) { return platform::tableText(text, kColumns, false); }

// Sorted texts, of which at most that many stay, among them the first and the last.
void thinOut(std::vector<std::string>& texts, std::size_t most) {
    if (texts.size() <= most) {
        return;
    }
    for (std::size_t at = 0; at < most; ++at) {
        texts[at].swap(texts[at * (texts.size() - 1) / (most - 1)]);
    }
    texts.resize(most);
}

std::string describe(const platform::QueueStore& store, const std::string& id) {
    platform::ListedEntry listed;
    if (store.look(id, listed) != 0 || listed.error != 0) {
        return {};
    }
    const std::string& sender = listed.entry.sender;
    return shown((sender.empty() ? "<>" : sender) + ": " + listed.entry.subject);
}

} // namespace

void addObjectNames(const TypedLine& line, Candidates& out) {
    const auto kind = platform::objectKindNamed(line.arguments.empty() ? "" : line.arguments.front());
    Installation installation;
    if (!kind || !installation.open({.iniFile = filesOf(line).iniFile,
                                     .policyFile = {},
                                     .tenant = platform::parseNumber<unsigned>(line.value("--tenant")),
                                     .store = Needs::Store::Open,
                                     .library = false,
                                     .make = false,
                                     .quiet = true})) {
        return;
    }
    if (const auto objects = installation.store().list(installation.tenant(), *kind)) {
        for (const platform::ObjectSummary& object : *objects) {
            out.add(object.name, "revision " + std::to_string(object.revision) + ", " +
                                     platform::objectTime(object.changed));
        }
    }
}

void addEntryIds(const TypedLine& line, platform::QueueKind queue, Candidates& out) {
    Installation installation;
    if (!installation.open({.iniFile = filesOf(line).iniFile,
                            .policyFile = {},
                            .run = false,
                            .make = false,
                            .quiet = true})) {
        return;
    }
    const platform::QueueStore* store = installation.queues()->find(queue);
    std::vector<std::string> ids;
    if (store != nullptr) {
        store->forEachIdentifier(line.unfinished, [&](std::string_view id) {
            if (std::find(line.arguments.begin(), line.arguments.end(), id) == line.arguments.end()) {
                ids.emplace_back(id);
            }
            return true;
        });
    }
    const bool described = ids.size() <= kMostDescribed;
    thinOut(ids, kMostOffered);
    for (std::string& id : ids) {
        std::string description = described ? describe(*store, id) : std::string();
        out.add(std::move(id), std::move(description));
    }
}

void addRules(const TypedLine& line, Candidates& out) {
    const StandardFiles files = filesOf(line);
    Installation installation;
    if (files.policyFile.empty() || !installation.open({.iniFile = files.iniFile,
                                                        .policyFile = files.policyFile,
                                                        .run = false,
                                                        .make = false,
                                                        .quiet = true})) {
        return;
    }
    for (const Rule& rule : installation.snapshot()->policy().rules) {
        out.add(std::to_string(rule.id), shown(rule.name));
        out.add(rule.name, "rule " + std::to_string(rule.id));
    }
}

} // namespace quzo::host
