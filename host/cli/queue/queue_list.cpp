// quzo queue list and show: looking only. For programs, entries are printed as they are found, so a queue of
// any size is listed in the memory of one of its directories; for people they are sorted first, which takes a
// few hundred bytes for each.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "host/admin/entry_report.h"
#include "host/base/exit_code.h"
#include "host/cli/queue/queue_commands.h"
#include "host/cli/queue/queue_session.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using platform::ListedEntry;

constexpr std::size_t kMaxHeader = std::size_t{1} << 20U; // bytes of it that are shown

// The header block of an entry's message, with its line breaks.
int readHeader(QueueSession& session, std::string_view id, std::string& out) {
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
    const int error = session.admin().showMessage(session.queue(), id, [&](std::string_view piece) {
        const std::size_t line = out.rfind('\n'); // the last line may go on in this piece
        out.append(piece);
        return !atBlankLine(line == std::string::npos ? 0 : line + 1) && out.size() < kMaxHeader;
    });
    out.resize(std::min({end, out.size(), kMaxHeader}));
    return error;
}

int showRaw(QueueSession& session, const std::string& id, Console& console) {
    const int error = session.admin().showMessage(
        session.queue(), id, [&console](std::string_view piece) { return console.out.write(piece); });
    return error == kErrorNone ? kExitOk : console.err.say(session.fault(id, error));
}

int showOne(QueueSession& session, const std::string& id, bool json, Console& console) {
    ListedEntry listed;
    std::string header;
    int error = session.admin().look(session.queue(), id, listed);
    error = error != kErrorNone ? error : listed.error;
    if (error == kErrorNone) {
        error = readHeader(session, id, header);
        error = error == kErrorNotFound ? int{kErrorInputOutput} : error; // there is an entry, but no message
    }
    if (error != kErrorNone) {
        return console.err.say(session.fault(id, error));
    }
    console.out.write(json ? entryJson(session.name(), listed, session.now(), &header)
                           : entryText(session.name(), listed, session.now()) + "\n" + headerText(header));
    return kExitOk;
}

struct TableLine {
    std::int64_t stored;
    std::string text;
};

// The oldest entry first, unreadable ones last.
void printSorted(std::vector<TableLine>& lines, Console& console) {
    if (lines.empty()) {
        return;
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const TableLine& a, const TableLine& b) { return a.stored < b.stored; });
    console.out.write(tableHead());
    for (const TableLine& line : lines) {
        console.out.write(line.text);
    }
}

} // namespace

int runQueueList(const QueueOptions& options, Console& console) {
    QueueSession session;
    if (!session.start(options, false, console)) {
        return session.exitCode();
    }
    std::vector<TableLine> lines;
    const int error =
        session.admin().list(session.queue(), session.filter(), session.now(), [&](const ListedEntry& entry) {
            if (options.json) {
                return console.out.write(entryJson(session.name(), entry, session.now()));
            }
            const bool readable = entry.error == kErrorNone;
            lines.push_back({readable ? entry.entry.stored : std::numeric_limits<std::int64_t>::max(),
                             tableLine(entry, session.now())});
            return true;
        });
    printSorted(lines, console);
    if (error != kErrorNone) {
        return console.err.say({kExitInputOutput, session.name(),
                                std::string("not all of it could be listed (") + KVMSGERR::I2A(error) + ")",
                                "see the log for what the system said"});
    }
    return kExitOk;
}

int runQueueShow(const QueueOptions& options, Console& console) {
    if (options.raw && (options.json || options.ids.size() > 1)) {
        return console.err.say({kExitUsage, "--raw", "is for one message and nothing else",
                                options.json ? "leave out --raw or --json" : "name one entry"});
    }
    QueueSession session;
    if (!session.start(options, false, console)) {
        return session.exitCode();
    }
    if (options.raw) {
        return showRaw(session, options.ids.front(), console);
    }
    int exitCode = kExitOk;
    for (const std::string& id : options.ids) {
        if (!options.json && &id != &options.ids.front()) {
            console.out.write("\n");
        }
        exitCode = worseExit(exitCode, showOne(session, id, options.json, console));
    }
    return exitCode;
}

} // namespace quzo::host
