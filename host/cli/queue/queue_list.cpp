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

int showRaw(QueueDesk& desk, const std::string& id, Console& console) {
    const MaybeFault fault =
        desk.showMessage(id, [&console](std::string_view piece) { return console.out.write(piece); });
    return fault ? console.err.say(*fault) : int{kExitOk};
}

int showOne(QueueDesk& desk, const std::string& id, bool json, Console& console) {
    const Result<EntryView> view = desk.show(id);
    if (!view) {
        return console.err.say(view.fault());
    }
    console.out.write(json ? entryJson(desk.name(), view->entry, desk.now(), &view->header)
                           : entryText(desk.name(), view->entry, desk.now()) + "\n" +
                                 headerText(view->header));
    return kExitOk;
}

struct TableLine {
    std::int64_t stored;
    std::string text;
};

// The oldest entry first, unreadable ones last.
void printSorted(platform::QueueKind queue, std::vector<TableLine>& lines, Console& console) {
    if (lines.empty()) {
        return;
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const TableLine& a, const TableLine& b) { return a.stored < b.stored; });
    console.out.write(tableHead(queue));
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
    QueueDesk& desk = session.desk();
    std::vector<TableLine> lines;
    const MaybeFault fault = desk.list(session.filter(), [&](const ListedEntry& entry) {
        if (options.json) {
            return console.out.write(entryJson(desk.name(), entry, desk.now()));
        }
        const bool readable = entry.error == kErrorNone;
        lines.push_back({readable ? entry.entry.stored : std::numeric_limits<std::int64_t>::max(),
                         tableLine(desk.queue(), entry, desk.now())});
        return true;
    });
    printSorted(desk.queue(), lines, console);
    return fault ? console.err.say(*fault) : int{kExitOk};
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
        return showRaw(session.desk(), options.ids.front(), console);
    }
    int exitCode = kExitOk;
    for (const std::string& id : options.ids) {
        if (!options.json && &id != &options.ids.front()) {
            console.out.write("\n");
        }
        exitCode = worseExit(exitCode, showOne(session.desk(), id, options.json, console));
    }
    return exitCode;
}

} // namespace quzo::host
