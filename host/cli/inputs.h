// The messages that the paths on the command line name.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/directory_walk.h"
#include "host/cli/fault.h"
#include "host/cli/file_io.h"
#include "host/cli/mbox_reader.h"

namespace quzo::host {

// One message, read whole; or a fault in its place.
struct Input {
    std::string file;      // as people know it: PATH, PATH/a.eml, PATH/000001.eml of a mailbox, "-"
    std::string name;      // where it goes below an output directory; relative, no "." or ".." in it
    std::string bytes;     // the message
    MaybeFault fault;      // why there are no bytes
    int errorNumber = 0;   // the KvMsgError of the fault
    bool isMessage = true; // false: the fault is not about a message that was found
};

// Reads the messages one after the other, in the order of the paths and sorted below directories.
//
//   a directory     every regular file below it that looks like mail
//   a mailbox       a file whose first line is a separator line and that has a second one; a file whose
//                   name ends with .mbox or .mbx is one with a single message too
//   anything else   one message, whatever it looks like; so is standard input, "-". A leading "From " line
//                   belongs to such a message and stays where it is.
class InputReader {
public:
    // Messages of more than `maxBytes` (0: no limit) become faults.
    InputReader(std::vector<std::string> paths, std::size_t maxBytes);

    // The next message or fault; false at the end.
    bool next(Input& input);

    // Files below directories that were no mail, up to now.
    std::size_t passedOver() const { return passedOver_; }

private:
    bool openPath(Input& input);
    bool nextOfWalk(Input& input);
    bool nextOfMailbox(Input& input);
    bool readFile(FileDescriptor descriptor, bool mustLookLikeMail, Input& input);
    bool readMailbox(FileDescriptor descriptor, Input& input);
    void finish(Input& input, MboxReader::Got got, int errnoValue) const;

    std::vector<std::string> paths_;
    std::size_t maxBytes_;
    std::size_t at_ = 0;
    std::optional<DirectoryWalk> walk_;
    std::string walkRoot_;
    std::string walkPrefix_; // of output names
    std::size_t walkMessages_ = 0;
    FileDescriptor mailboxFile_;
    std::optional<MboxReader> mailbox_;
    std::string mailboxPath_;
    std::string mailboxName_;
    std::size_t mailboxMessages_ = 0;
    std::size_t passedOver_ = 0;
};

// The name that a path's messages get below an output directory: its last component, "stdin.eml" for "-".
std::string outputName(const std::string& path);

} // namespace quzo::host
