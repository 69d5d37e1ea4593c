// See disk.h.
#include "tests/queue/disk.h"

#include <algorithm>
#include <utility>

#include "platform/queue/process_identity.h"

namespace quzo::platform::test {
namespace {

constexpr const char* kDead = "999999999-1-01234567";
constexpr std::size_t kMaxOutcomes = 1000; // that are tried each by itself

} // namespace

Disk::Reached Disk::all() const {
    Reached all;
    for (const Node& node : nodes) {
        for (const Change& change : node.changes) {
            ++all[change.node];
        }
    }
    return all;
}

void Disk::forEachOutcome(const std::function<void(const Disk&)>& visit) const {
    const bool dirty = std::any_of(nodes.begin(), nodes.end(),
                                   [](const Node& node) { return node.bytes != node.syncedBytes; });
    const auto visitAll = [&](const Reached& reached) {
        visit(outcome(reached, Bytes::Seen));
        if (dirty) {
            visit(outcome(reached, Bytes::Synced));
            visit(outcome(reached, Bytes::Nulls));
        }
    };
    const Reached all = this->all();
    std::size_t outcomes = 1;
    for (const auto& [node, count] : all) {
        outcomes = std::min(outcomes * (count + 1), kMaxOutcomes + 1);
    }
    if (outcomes > kMaxOutcomes) { // then nothing, all, and all but those of one file
        visitAll({});
        visitAll(all);
        for (const auto& [node, count] : all) {
            Reached reached = all;
            reached.erase(node);
            visitAll(reached);
        }
        return;
    }
    Reached reached;
    for (bool more = true; more;) {
        visitAll(reached);
        // Counts on, a digit for each node.
        more = false;
        for (auto digit = all.begin(); digit != all.end() && !more; ++digit) {
            more = reached[digit->first] < digit->second;
            reached[digit->first] = more ? reached[digit->first] + 1 : 0;
        }
    }
}

Disk Disk::outcome(Reached reached, Bytes unsynced) const {
    Disk out = *this;
    for (Node& node : out.nodes) {
        if (node.bytes != node.syncedBytes && unsynced != Bytes::Seen) {
            node.bytes = unsynced == Bytes::Synced ? node.syncedBytes : std::string(node.bytes.size(), '\0');
        }
        node.syncedBytes = node.bytes;
        for (const Change& change : node.changes) {
            if (reached[change.node] == 0) {
                continue;
            }
            --reached[change.node];
            const auto from = node.syncedNames.find(change.from);
            if (from != node.syncedNames.end() && from->second == change.node) {
                node.syncedNames.erase(from);
            }
            if (!change.to.empty()) {
                node.syncedNames[change.to] = change.node;
            }
        }
        node.changes.clear();
        node.names = node.syncedNames;
    }
    out.forgetProcess();
    return out;
}

Disk Disk::afterKill() const {
    Disk out = *this;
    out.forgetProcess();
    return out;
}

// Names with the number of this process become those of one that is gone.
void Disk::forgetProcess() {
    const std::string own = processIdentity();
    const auto withDead = [&own](const std::string& name) {
        const std::size_t at = name.find(own);
        return at == std::string::npos ? name : std::string(name).replace(at, own.size(), kDead);
    };
    for (Node& node : nodes) {
        for (auto* names : {&node.names, &node.syncedNames}) {
            std::map<std::string, std::size_t> kept;
            for (const auto& [name, target] : *names) {
                kept[withDead(name)] = target;
            }
            *names = std::move(kept);
        }
        for (Change& change : node.changes) {
            change.from = withDead(change.from);
            change.to = withDead(change.to);
        }
    }
}

std::map<std::string, std::string> Disk::files(bool directories) const {
    std::map<std::string, std::string> found;
    std::vector<std::pair<std::size_t, std::string>> left = {{0, ""}};
    while (!left.empty()) {
        const auto [node, path] = left.back();
        left.pop_back();
        for (const auto& [name, target] : nodes[node].names) {
            const std::string inner = std::string(path).append("/").append(name);
            if (nodes[target].directory) {
                left.emplace_back(target, inner);
                if (directories) {
                    found[inner + "/"];
                }
            } else {
                found[inner] = nodes[target].bytes;
            }
        }
    }
    return found;
}

} // namespace quzo::platform::test
