// The messages that the paths on the command line name.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/base/fault.h"
#include "host/cli/console/file_io.h"
#include "host/cli/files/directory_walk.h"
#include "host/cli/files/mbox_reader.h"

namespace quzo::host {

// One message, read whole; or a fault in its place.
struct Input {
    std::string file;           // as people know it: PATH, PATH/a.eml, PATH/000001.eml of a mailbox, "-"
    std::string name;           // where it goes below an output directory; relative, no "." or ".." in it
    std::string bytes;          // the message
    std::optional<mode_t> mode; // permissions of the file that it came from, if it was a file
    MaybeFault fault;           // why there are no bytes
    int errorNumber = 0;        // the KvMsgError of the fault
    bool isMessage = true;      // false: the fault is not about a message that was found
};

// Reads the messages one after the other, in the order of the paths and sorted below directories.
//
//   a directory     every *.eml file below it, every file of a Maildir's cur and new, and every other file
//   that
//                   looks like mail
//   a mailbox       a file whose first line is a separator line and that has a second one; a file whose
//                   name ends with .mbox or .mbx is one with a single message too; in cur and new of a
//                   Maildir there are none
//   anything else   one message, whatever it looks like; so is standard input, "-". A leading "From " line
//                   belongs to such a message and stays where it is.
class InputReader {
public:
    // Told of each file below a directory that is passed over, and why. May be empty.
    using PassedOver = std::function<void(const std::string& file, const char* why)>;

    // Messages of more than `maxBytes` (0: no limit) become faults. As soon as the descriptor `wakeUp` can be
    // read (-1: never), next() waits for nothing and reading a pipe is over.
    InputReader(std::vector<std::string> paths, std::size_t maxBytes, PassedOver passedOver = {},
                int wakeUp = -1);

    // The next message or fault; false at the end. A message for which memory runs out is a fault like
    // others.
    bool next(Input& input);

    // Files below directories that were passed over, up to now.
    std::size_t passedOver() const { return passedOver_; }

private:
    enum class Step { Again, Found, End };
    Step step(Input& input);
    bool openPath(Input& input);
    bool nextOfWalk(Input& input);
    bool nextOfMailbox(Input& input);
    // What is known of a file before it is read.
    struct FileKind {
        bool mustLookLikeMail = false; // it is passed over otherwise
        bool mayBeMailbox = true;
    };
    bool readFile(FileDescriptor descriptor, FileKind kind, Input& input);
    bool readStandardInput(Input& input);
    void passOver(const std::string& file, const char* why);
    bool failed(Input& input, int errnoValue);
    bool readMailbox(FileDescriptor descriptor, int wakeUp, Input& input);
    void finish(Input& input, MboxReader::Got got, int errnoValue) const;

    std::vector<std::string> paths_;
    std::size_t maxBytes_;
    PassedOver onPassedOver_;
    int wakeUp_;
    bool cancelled_ = false;
    std::size_t at_ = 0;
    std::optional<DirectoryWalk> walk_;
    std::string walkRoot_;
    std::string walkPrefix_; // of output names
    std::size_t walkMessages_ = 0;
    FileDescriptor mailboxFile_;
    std::optional<MboxReader> mailbox_;
    std::string mailboxPath_;
    std::string mailboxName_;
    std::optional<mode_t> mailboxMode_;
    std::size_t mailboxMessages_ = 0;
    std::size_t passedOver_ = 0;
};

// The name that a path's messages get below an output directory: its last component, "stdin.eml" for "-".
std::string outputName(const std::string& path);

} // namespace quzo::host
