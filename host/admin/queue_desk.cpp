// See queue_desk.h.
#include "host/admin/queue_desk.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/admin/entry_report.h"
#include "host/base/exit_code.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using platform::ListedEntry;
using platform::QueueResult;

constexpr std::size_t kMaxHeader = std::size_t{1} << 20U; // bytes of it that are read

struct Said {
    int exitCode;
    const char* advice;
};

Said saidOf(int error) {
    switch (error) {
        case kErrorNoSpace:
            return {kExitInputOutput, "make room on that disk and run it again"};
        case kErrorNoMemory:
            return {kExitTryAgain, "run it again"};
        case kErrorInputOutput:
        case kErrorInternal:
            return {kExitInputOutput, "see the log for what the system said"};
        case kErrorExists:
            return {kExitTryAgain, "it was released before and still waits there: see to that entry first"};
        case kErrorInvalidArgument:
            return {kExitData, "it has no recipients that mail can be sent to: name them with --to"};
        default:
            return {kExitData, "look at its files, or remove it"};
    }
}

// A queue that nothing was stored in yet has no directory; the spool above it is there from the first message
// on.
MaybeFault missingPlace(const std::string& spool, const std::string& directory) {
    const std::string& place = !spool.empty() && directory.starts_with(spool) ? spool : directory;
    std::error_code unknown;
    if (std::filesystem::exists(place, unknown) || unknown) {
        const MaybeFault closed = closedPlace(place);
        return closed ? closed : closedPlace(directory);
    }
    return Fault{kExitNoInput, place, "there is no such directory, so the queue holds nothing",
                 "check spool and queue_... in the settings; it is made when the first message is stored"};
}

MaybeFault unlisted(const char* queue, const char* what, int error) {
    if (error == kErrorNone) {
        return std::nullopt;
    }
    return Fault{kExitInputOutput, queue,
                 std::string("not all of it could be ") + what + " (" + KVMSGERR::I2A(error) + ")",
                 "see the log for what the system said"};
}

} // namespace

Result<platform::QueueKind> queueNamed(const std::string& name) {
    if (const auto kind = platform::queueKind(name)) {
        return *kind;
    }
    return Fault{kExitUsage, name, "is no queue",
                 "quarantine, archive, outgoing, scan, postponed and failed are"};
}

MaybeFault closedPlace(const std::string& directory) {
    if (::faccessat(AT_FDCWD, directory.c_str(), R_OK | X_OK, AT_EACCESS) == 0 || errno != EACCES) {
        return std::nullopt; // all else is for the queue itself to tell
    }
    return Fault{kExitInputOutput, directory, "this user may not look into it",
                 "run the command as the user of the service, or as root"};
}

Result<QueueDesk> QueueDesk::open(const Installation& installation, platform::QueueKind queue,
                                  const std::string& iniFile, std::int64_t now) {
    platform::Queues& queues = *installation.queues();
    const platform::QueueStore* store = queues.find(queue);
    if (store == nullptr) {
        return Fault{kExitConfiguration, platform::queueName(queue),
                     "the settings name no directory for this queue",
                     iniFile.empty() ? "name the settings with -c FILE" : "set spool in [platform]"};
    }
    if (MaybeFault missing = missingPlace(installation.settings().platform().spool, store->directory())) {
        return *std::move(missing);
    }
    return QueueDesk(queues, installation.snapshot()->hostname(), queue, now);
}

MaybeFault QueueDesk::tidy() {
    if (queues_->start(now_) == kErrorNone) {
        return std::nullopt;
    }
    return Fault::warning("queues", "not everything could be tidied up: see the log");
}

MaybeFault QueueDesk::list(const platform::QueueFilter& filter,
                           const std::function<bool(const ListedEntry&)>& visit) {
    return unlisted(name(), "listed", admin_.list(queue_, filter, now_, visit));
}

// The header block of an entry's message, with its line breaks.
int QueueDesk::readHeader(const std::string& id, std::string& out) {
    std::size_t end = std::string::npos;
    const auto atBlankLine = [&out, &end](std::size_t from) {
        for (std::size_t at = from; at < out.size(); at = out.find('\n', at) + 1) {
            const std::string_view rest = std::string_view(out).substr(at);
            if (rest.starts_with('\n') || rest.starts_with("\r\n")) {
                end = at;
                return true;
            }
            if (rest.find('\n') == std::string_view::npos) {
                break;
            }
        }
        return false;
    };
    const int error = admin_.showMessage(queue_, id, [&](std::string_view piece) {
        const std::size_t line = out.rfind('\n'); // the last line may go on in this piece
        out.append(piece);
        return !atBlankLine(line == std::string::npos ? 0 : line + 1) && out.size() < kMaxHeader;
    });
    out.resize(std::min({end, out.size(), kMaxHeader}));
    return error;
}

Result<EntryView> QueueDesk::show(const std::string& id) {
    EntryView view;
    int error = admin_.look(queue_, id, view.entry);
    error = error != kErrorNone ? error : view.entry.error;
    if (error == kErrorNone) {
        error = readHeader(id, view.header);
        error = error == kErrorNotFound ? int{kErrorInputOutput} : error; // there is an entry, but no message
    }
    if (const MaybeFault fault = faultIf(id, error)) {
        return *fault;
    }
    return view;
}

MaybeFault QueueDesk::showMessage(const std::string& id, const std::function<bool(std::string_view)>& sink) {
    return faultIf(id, admin_.showMessage(queue_, id, sink));
}

Result<platform::QueuedEntry> QueueDesk::release(const std::string& id, const platform::ReleaseOptions& how) {
    platform::QueuedEntry released;
    const QueueResult result = admin_.release(queue_, id, how, now_, released);
    if (!result.done()) {
        return fault(id, result);
    }
    return released;
}

MaybeFault QueueDesk::retry(const std::string& id, bool dryRun) {
    ListedEntry ignored;
    const QueueResult result =
        dryRun ? QueueResult::of(admin_.look(queue_, id, ignored)) : admin_.retry(queue_, id);
    return result.done() ? std::nullopt : MaybeFault(fault(id, result));
}

MaybeFault QueueDesk::remove(const std::string& id, bool dryRun) {
    ListedEntry ignored;
    const QueueResult result =
        dryRun ? QueueResult::of(admin_.look(queue_, id, ignored)) : admin_.remove(queue_, id);
    return result.done() ? std::nullopt : MaybeFault(fault(id, result));
}

QueueExpiry QueueDesk::expire(bool dryRun, const std::function<void(const std::string& id)>& visit) {
    QueueExpiry done;
    // Nothing tells how old they are: without a word they would stay for ever.
    const auto unreadable = [&](const ListedEntry& listed) {
        done.faults.push_back(fault(listed.id, QueueResult::of(listed.error)));
    };
    int error = kErrorNone;
    if (dryRun) {
        error = admin_.list(queue_, {}, now_, [&](const ListedEntry& listed) {
            if (listed.error != kErrorNone) {
                unreadable(listed);
            } else if (listed.entry.agedOut(now_)) {
                ++done.removed;
                if (visit) {
                    visit(listed.id);
                }
            }
            return true;
        });
    } else {
        error = admin_.expire(queue_, now_, done.removed, unreadable);
    }
    if (MaybeFault fault = unlisted(name(), "looked at", error)) {
        done.faults.push_back(*std::move(fault));
    }
    return done;
}

MaybeFault QueueDesk::faultIf(std::string_view id, int error) const {
    return error == kErrorNone ? std::nullopt : MaybeFault(fault(id, QueueResult::of(error)));
}

Fault QueueDesk::fault(std::string_view id, const QueueResult& result) const {
    std::string where = std::string(name()) + "/" + std::string(id);
    switch (result.outcome) {
        case QueueResult::Outcome::Missing:
            return {kExitNoInput, std::move(where), "there is no such entry",
                    std::string("see quzo queue list ") + name()};
        case QueueResult::Outcome::Busy:
            return {kExitTryAgain, std::move(where), "another process is working on it", "try again"};
        default:
            break;
    }
    const Said said = saidOf(result.error);
    return {said.exitCode, std::move(where), entryErrorText(result.error), said.advice};
}

MaybeFault checkRunnable(platform::QueueKind queue) {
    switch (queue) {
        case platform::QueueKind::Outgoing:
        case platform::QueueKind::Scan:
        case platform::QueueKind::Postponed:
            return std::nullopt;
        default:
            break;
    }
    return Fault{kExitUsage, platform::queueName(queue), "holds what people decide on",
                 "use quzo queue release; outgoing, scan and postponed are worked off"};
}

platform::QueueKind releaseTarget(bool rescan) {
    return rescan ? platform::QueueKind::Scan : platform::QueueKind::Outgoing;
}

MaybeFault checkReleaseTarget(const std::string& queue, bool rescan) {
    const platform::QueueKind target = releaseTarget(rescan);
    if (queue != platform::queueName(target)) {
        return std::nullopt;
    }
    return Fault{kExitUsage, queue, "is where it would be released to",
                 "quzo queue run works its entries off"};
}

} // namespace quzo::host
