// Which entries of a queue somebody means.
#pragma once

#include <optional>
#include <string>

#include "host/base/fault.h"
#include "platform/queue/queue_admin.h"

namespace quzo::host {

// Conditions as they are written on the command line; an empty one is none. Patterns are globs (see glob.h)
// that must cover the whole text.
struct SelectionTexts {
    std::string sender;    // pattern
    std::string recipient; // pattern, of one recipient at least
    std::string subject;   // pattern
    std::string rule;      // a rule's number, or a pattern for its name
    std::string area;      // pattern for an area's description, or its number
    std::string olderThan; // "30d": s, m, h, d or w
    std::string youngerThan;
    std::string largerThan; // "10K": bytes, K, M or G
    std::string smallerThan;

    bool empty() const;
};

// Reads the conditions; all of them must hold for an entry. A fault (64) names the option, such as
// "--older-than".
MaybeFault readSelection(const SelectionTexts& texts, platform::QueueFilter& out);

} // namespace quzo::host
