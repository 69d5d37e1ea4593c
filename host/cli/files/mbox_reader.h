// The messages of a mailbox file, one after the other.
//
// A mailbox is a file of messages, each behind a line "From SENDER DATE" and ended by an empty line. A
// message's bytes are those of the file between the two: quoted ">From " lines stay as they are, since
// the two customs of quoting cannot be told apart and an unquoted line that was never quoted would break
// a signature.
//
// A separator is a line that isSeparatorLine() accepts, at the start of the file or behind an empty line,
// and with a header field (or a ">From " line) behind it. A byte order mark and empty lines before the first
// one belong to no message.
#pragma once

#include <cstddef>
#include <string>

namespace quzo::host {

// Reads a chunk at a time, so that memory holds one message and not the mailbox. The descriptor is the
// caller's and must stay open.
class MboxReader {
public:
    // `start` is what has been read of the file already, from its beginning. `maxBytes` is the size up to
    // which messages are kept, 0 for no limit. Reading ends with ECANCELED when `wakeUp` can be read (-1:
    // never).
    MboxReader(int descriptor, std::string start, std::size_t maxBytes, int wakeUp = -1);

    enum class Got { Message, TooLarge, NoMemory, End, Failed };

    // Whether the file holds a second message, so that it is a mailbox beyond doubt. Reads as far as that
    // takes. False also after a failure, which the next operation reports.
    bool hasSecondMessage();

    // The next message, without its separator line and the empty line behind it. TooLarge and NoMemory pass
    // over a message; Failed leaves the reason in errnoValue().
    Got next(std::string& message);

    // The whole file as one message, separator line and all. Only before the first next().
    Got whole(std::string& message);

    int errnoValue() const { return error_; }

private:
    bool fill();
    void findEnd();
    void advanceSearch();
    void passOver(Got why);
    bool separatorAt(std::size_t lineBegin);
    bool behindEmptyLine(std::size_t lineBegin) const;
    std::size_t endOfMessage() const;
    void advance();

    static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

    int descriptor_;
    int wakeUp_;
    std::size_t maxBytes_;
    std::string buffer_;           // the file from some position on
    std::size_t begin_ = 0;        // of the message at hand
    std::size_t scanned_ = 0;      // no separator begins at or before this
    std::size_t found_ = kNowhere; // where the next separator begins, or the end of the file
    bool last_ = false;            // found_ is the end of the file
    Got dropped_ = Got::Message;   // why part of the message at hand has been dropped; Message: none has
    bool ended_ = false;           // the file has been read to its end
    bool done_ = false;
    int error_ = 0;
};

} // namespace quzo::host
