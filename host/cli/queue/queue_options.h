// What `quzo queue` is asked for.
#pragma once

#include <string>
#include <vector>

#include "host/admin/queue_selection.h"

namespace quzo::host {

// Of all its subcommands; each uses what it offers.
struct QueueOptions {
    std::string iniFile;    // empty: the built-in settings, which have no queues
    std::string policyFile; // empty: none
    std::string queue;
    std::vector<std::string> queues; // of a command for several
    std::vector<std::string> ids;
    bool all = false; // all entries that `selection` lets through
    SelectionTexts selection;
    bool json = false;
    bool raw = false;
    bool dryRun = false;
    std::vector<std::string> to;
    bool rescan = false;
    bool asAttachment = false;
    bool forever = false;
    bool verbose = false;
};

} // namespace quzo::host
