// The names of the files in a queue: made from our own identifiers and nothing else.
//
//   ID.DF                    the message
//   ID.json                  what is known of it: the entry waits
//   ID.json.PROCESS          the same, claimed by that process
//   ID.held.PROCESS          the same of an entry on its way from another queue: not there yet
//   .ID.DF.PROCESS-N.tmp     being written, and likewise .ID.json.PROCESS-N.tmp
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

// An entry's identifier: 2 to 36 of [0-9A-Z], and for archive entries "-" with a number of 1 to 9 digits that
// does not begin with 0.
bool isQueueIdentifier(std::string_view id);

// `id` must be an identifier in all of these.
std::string messageName(std::string_view id);
std::string waitingName(std::string_view id);
std::string claimedName(std::string_view id, std::string_view process);
std::string heldName(std::string_view id, std::string_view process);
// Another name on each call. `suffix` is ".DF" or ".json".
std::string temporaryName(std::string_view id, std::string_view suffix);

// The identifier of another queue's entry that came from this one: always the same for the same two.
std::string derivedIdentifier(std::string_view queue, std::string_view id);

enum class EntryState : std::uint8_t {
    None,    // no entry: a message without what is known of it
    Waiting, //
    Claimed, // by the process named
    Held,    // by the process named; it becomes an entry when that is done
};

struct EntryNames {
    EntryState state = EntryState::None;
    std::string metadata; // name of the file with what is known; empty without
    std::string process;  // of a claimed or held entry
    bool message = false; // whether the message's file is there

    // Whether people and runners see it.
    bool isThere() const { return state == EntryState::Waiting || state == EntryState::Claimed; }
};

struct TemporaryName {
    std::string name;
    std::string process;
};

// What the names in one directory of a queue say. Names that are none of ours are left out.
struct DirectoryNames {
    std::map<std::string, EntryNames, std::less<>> entries;
    std::vector<TemporaryName> temporaries;

    // Null when nothing bears that identifier.
    const EntryNames* find(std::string_view id) const;
};

// `place` is the two characters that stand for the directory: identifiers that do not begin with them do not
// belong there.
DirectoryNames sortNames(const std::vector<std::string>& names, std::string_view place);

} // namespace quzo::platform
