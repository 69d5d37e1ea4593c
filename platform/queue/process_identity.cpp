// Processes by number, start time and boot. See process_identity.h.
//
// A number alone is reused within hours; with the start time in clock ticks since the boot it is not, and
// with the boot's own random id also not by a process that starts at the same tick after the next boot.
#include "platform/queue/process_identity.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <optional>

#include "platform/base/numbers.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kNoBoot = "00000000";

struct Identity {
    pid_t process = 0;
    unsigned long long start = 0; // 0: not known
    std::string_view boot;
};

template <typename Number>
bool readNumber(std::string_view text, Number& out) {
    const std::optional<Number> number = parseNumber<Number>(text);
    out = number.value_or(out);
    return number.has_value();
}

// Small files of /proc come whole in one read.
std::optional<std::string> readSmallFile(const char* path) {
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    char buffer[1024];
    ssize_t size = 0;
    do {
        size = ::read(descriptor, buffer, sizeof buffer);
    } while (size < 0 && errno == EINTR);
    ::close(descriptor);
    return size < 0 ? std::nullopt : std::optional<std::string>(std::in_place, buffer, size);
}

struct ProcessState {
    char state = '?';
    unsigned long long start = 0;
};

// The third and the twenty-second field of /proc/N/stat; the second may hold blanks and parentheses.
std::optional<ProcessState> processState(pid_t process) {
    const auto text = readSmallFile(("/proc/" + std::to_string(process) + "/stat").c_str());
    if (!text || text->rfind(')') == std::string::npos) {
        return std::nullopt;
    }
    std::string_view rest = std::string_view(*text).substr(text->rfind(')') + 1);
    ProcessState found;
    for (int field = 3; field <= 22; ++field) {
        rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
        const std::string_view word = rest.substr(0, rest.find(' '));
        if (field == 3 && !word.empty()) {
            found.state = word.front();
        } else if (field == 22 && !readNumber(word, found.start)) {
            return std::nullopt;
        }
        rest.remove_prefix(word.size());
    }
    return found;
}

const std::string& bootIdentity() {
    static const std::string boot = [] {
        const auto text = readSmallFile("/proc/sys/kernel/random/boot_id");
        const std::string id = text ? text->substr(0, kNoBoot.size()) : std::string();
        const bool usable =
            id.size() == kNoBoot.size() && id.find_first_not_of("0123456789abcdef") == std::string::npos;
        return usable ? id : std::string(kNoBoot);
    }();
    return boot;
}

bool parse(std::string_view text, Identity& out) {
    const std::size_t first = text.find('-');
    const std::size_t second = text.find('-', first == std::string_view::npos ? first : first + 1);
    if (second == std::string_view::npos) {
        return false;
    }
    out.boot = text.substr(second + 1);
    return readNumber(text.substr(0, first), out.process) && out.process > 0 &&
           readNumber(text.substr(first + 1, second - first - 1), out.start) &&
           out.boot.size() == kNoBoot.size() &&
           out.boot.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

} // namespace

std::string processIdentity() {
    static std::mutex mutex;
    static pid_t known = 0;
    static std::string text;
    const std::scoped_lock lock(mutex);
    const pid_t own = ::getpid();
    if (own != known) {
        const auto state = processState(own);
        text = std::to_string(own) + "-" + std::to_string(state ? state->start : 0) + "-" + bootIdentity();
        known = own;
    }
    return text;
}

bool isProcessIdentity(std::string_view text) {
    Identity ignored;
    return parse(text, ignored);
}

bool processRuns(std::string_view identity) {
    Identity owner;
    if (!parse(identity, owner)) {
        return true;
    }
    if (owner.boot != bootIdentity()) {
        return owner.boot == kNoBoot || bootIdentity() == kNoBoot;
    }
    if (::kill(owner.process, 0) != 0 && errno == ESRCH) {
        return false;
    }
    const auto state = processState(owner.process);
    if (!state) {
        return ::kill(owner.process, 0) == 0 || errno != ESRCH;
    }
    if (state->state == 'Z' || state->state == 'X') {
        return false;
    }
    return owner.start == 0 || state->start == owner.start;
}

} // namespace quzo::platform
