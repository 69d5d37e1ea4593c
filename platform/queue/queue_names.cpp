// Making and reading the names of queue files. See queue_names.h.
#include "platform/queue/queue_names.h"

#include <glib.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>

#include "platform/queue/process_identity.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view kMessage = ".DF";
constexpr std::string_view kMetadata = ".json";
constexpr std::string_view kHeld = ".held";
constexpr std::string_view kTemporary = ".tmp";

std::string joined(std::string_view id, std::string_view suffix) { return std::string(id).append(suffix); }

// ".ID.SUFFIX.PROCESS-N.tmp"; the process is what matters.
bool readTemporary(std::string_view name, std::string& process) {
    if (!name.starts_with('.') || !name.ends_with(kTemporary)) {
        return false;
    }
    name = name.substr(1, name.size() - 1 - kTemporary.size());
    const std::size_t idEnd = std::min(name.find('.'), name.size());
    const std::size_t processStart = name.rfind('.') + 1;
    const std::size_t processEnd = std::min(name.rfind('-'), name.size());
    if (!isQueueIdentifier(name.substr(0, idEnd)) || processStart <= idEnd || processEnd <= processStart) {
        return false;
    }
    process = name.substr(processStart, processEnd - processStart);
    return isProcessIdentity(process);
}

void readEntry(std::string_view name, std::string_view place, DirectoryNames& out) {
    const std::size_t dot = std::min(name.find('.'), name.size());
    const std::string_view id = name.substr(0, dot);
    if (!isQueueIdentifier(id) || !id.starts_with(place)) {
        return;
    }
    const std::string_view suffix = name.substr(dot);
    if (suffix == kMessage) {
        out.entries[std::string(id)].message = true;
        return;
    }
    const std::size_t secondDot = std::min(suffix.find('.', 1), suffix.size());
    const std::string_view kind = suffix.substr(0, secondDot);
    const std::string_view process = suffix.substr(std::min(secondDot + 1, suffix.size()));
    EntryState state = EntryState::None;
    if (suffix == kMetadata) {
        state = EntryState::Waiting;
    } else if ((kind == kMetadata || kind == kHeld) && isProcessIdentity(process)) {
        state = kind == kMetadata ? EntryState::Claimed : EntryState::Held;
    } else {
        return;
    }
    EntryNames& entry = out.entries[std::string(id)];
    // Of two, which nobody makes on purpose, the one that is nearer to being there.
    if (entry.state == EntryState::None || state < entry.state) {
        entry.state = state;
        entry.metadata = name;
        entry.process = process;
    }
}

} // namespace

bool isQueueIdentifier(std::string_view id) {
    const std::size_t dash = std::min(id.find('-'), id.size());
    if (dash < 2 || dash > 36 || id.substr(0, dash).find_first_not_of(kDigits) != std::string_view::npos) {
        return false;
    }
    if (dash == id.size()) {
        return true;
    }
    const std::string_view number = id.substr(dash + 1);
    return !number.empty() && number.size() <= 9 && number.front() != '0' &&
           number.find_first_not_of(kDigits.substr(0, 10)) == std::string_view::npos;
}

std::string messageName(std::string_view id) { return joined(id, kMessage); }

std::string waitingName(std::string_view id) { return joined(id, kMetadata); }

std::string claimedName(std::string_view id, std::string_view process) {
    return joined(id, kMetadata).append(".").append(process);
}

std::string heldName(std::string_view id, std::string_view process) {
    return joined(id, kHeld).append(".").append(process);
}

std::string temporaryName(std::string_view id, std::string_view suffix) {
    static std::atomic<std::uint64_t> counter{0};
    return joined(".", id)
        .append(suffix)
        .append(".")
        .append(processIdentity())
        .append("-")
        .append(std::to_string(counter.fetch_add(1, std::memory_order_relaxed)))
        .append(kTemporary);
}

std::string derivedIdentifier(std::string_view queue, std::string_view id) {
    const std::unique_ptr<GChecksum, decltype(&g_checksum_free)> sum(g_checksum_new(G_CHECKSUM_SHA256),
                                                                     &g_checksum_free);
    const std::string text = joined(queue, "\n").append(id);
    g_checksum_update(sum.get(), reinterpret_cast<const guchar*>(text.data()),
                      static_cast<gssize>(text.size()));
    guint8 digest[32];
    gsize size = sizeof digest;
    g_checksum_get_digest(sum.get(), digest, &size);
    std::string out;
    // 24 digits, each from ten bits of the digest: even to within a part in thirty.
    for (std::size_t i = 0; i < 24; ++i) {
        const std::size_t bit = i * 10;
        const unsigned window = (unsigned{digest[bit / 8]} << 8U) | digest[bit / 8 + 1];
        out.push_back(kDigits[((window >> (6 - bit % 8)) & 0x3FFU) % kDigits.size()]);
    }
    return out;
}

const EntryNames* DirectoryNames::find(std::string_view id) const {
    const auto found = entries.find(id);
    return found == entries.end() ? nullptr : &found->second;
}

DirectoryNames sortNames(const std::vector<std::string>& names, std::string_view place) {
    DirectoryNames out;
    for (const std::string& name : names) {
        std::string process;
        if (readTemporary(name, process)) {
            out.temporaries.push_back({name, process});
        } else {
            readEntry(name, place, out);
        }
    }
    return out;
}

} // namespace quzo::platform
