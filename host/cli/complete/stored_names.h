// Names that the installation has: objects of its store, entries of its queues, rules of its policy. Its
// settings are those of the line, else of the standard folder, and what cannot be read is passed over in
// silence.
#pragma once

#include "host/cli/complete/candidates.h"
#include "platform/queue/queues.h"
#include "platform/store/stored_object.h"

namespace quzo::host {

inline constexpr platform::ObjectKind kObjectKinds[] = {
    platform::ObjectKind::NotifyArea, platform::ObjectKind::StampArea, platform::ObjectKind::QuarantineArea,
    platform::ObjectKind::ArchiveArea};

// Of the kind that the line's first argument is.
void addObjectNames(const TypedLine& line, Candidates& out);

// Those that the line does not have yet. Of very many some are left out, but neither the first nor the last:
// what all have in common is the same.
void addEntryIds(const TypedLine& line, platform::QueueKind queue, Candidates& out);

// Numbers and names of the rules.
void addRules(const TypedLine& line, Candidates& out);

} // namespace quzo::host
