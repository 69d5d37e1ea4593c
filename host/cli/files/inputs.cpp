// Every message is read once, whole, by the thread that hands them out: deciding what a file is and reading
// it are the same read.
#include "host/cli/files/inputs.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <string_view>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/files/mail_start.h"
#include "host/cli/files/whole_file.h"
#include "host/scan/limit_fault.h"
#include "platform/message/structure/limits.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

constexpr std::size_t kFirstRead = std::size_t{64} << 10U;

bool isMailboxName(std::string_view file) { return file.ends_with(".mbox") || file.ends_with(".mbx"); }

void refuse(Input& input, Fault fault, int errorNumber) {
    input.fault = std::move(fault);
    input.errorNumber = errorNumber;
}

Fault noMemory(std::string file) {
    return {kExitTryAgain, std::move(file), "there is not enough memory for it",
            "run it again with more, or set a limit_message that fits"};
}

Fault tooLarge(std::string file, std::size_t maxBytes) {
    if (maxBytes == platform::kMaxMessageBytes) {
        return {kExitData, std::move(file),
                fmt::format("is larger than {} bytes, the most there can be", maxBytes), "split it"};
    }
    return {kExitData, std::move(file),
            fmt::format("is larger than the limit of {} bytes (limit_message)", maxBytes), kRaiseLimit};
}

bool startsWithSeparator(std::string_view text) {
    text.remove_prefix(prefaceLength(text));
    return isSeparatorLine(text.substr(0, text.find('\n')).substr(0, kMailStartBytes));
}

int openFailure(int errnoValue) { return errnoValue == EIO ? kExitInputOutput : kExitNoInput; }

} // namespace

std::string outputName(const std::string& path) {
    if (path == "-") {
        return "stdin.eml";
    }
    std::filesystem::path whole(path);
    if (!whole.has_filename()) {
        whole = whole.parent_path();
    }
    if (whole.filename() == "." || whole.filename() == ".." || whole.filename().empty()) {
        std::error_code error;
        whole = std::filesystem::canonical(path, error);
    }
    return whole.has_filename() ? whole.filename().string() : "root";
}

InputReader::InputReader(std::vector<std::string> paths, std::size_t maxBytes, PassedOver passedOver,
                         int wakeUp)
    : paths_(std::move(paths)), maxBytes_(maxBytes), onPassedOver_(std::move(passedOver)), wakeUp_(wakeUp) {}

bool InputReader::next(Input& input) {
    Step done = Step::Again;
    while (done == Step::Again && !cancelled_) {
        input = {};
        try {
            done = step(input);
        } catch (const std::bad_alloc&) {
            input.bytes = {};
            input.isMessage = !input.file.empty();
            const std::string where = input.isMessage ? input.file : walkRoot_;
            refuse(input, noMemory(where), kErrorNoMemory);
            done = Step::Found;
        }
    }
    return done == Step::Found;
}

InputReader::Step InputReader::step(Input& input) {
    const auto found = [](bool something) { return something ? Step::Found : Step::Again; };
    if (mailbox_) {
        return found(nextOfMailbox(input));
    }
    if (walk_) {
        return found(nextOfWalk(input));
    }
    return at_ == paths_.size() ? Step::End : found(openPath(input));
}

bool InputReader::readStandardInput(Input& input) {
    const int error = readRest(STDIN_FILENO, 0, maxBytes_, input.bytes, wakeUp_);
    if (error != 0) {
        return failed(input, error);
    }
    finish(input, MboxReader::Got::Message, 0);
    return true;
}

bool InputReader::openPath(Input& input) {
    const std::string& path = paths_[at_++];
    input.file = path;
    input.name = outputName(path);
    if (path == "-") {
        return readStandardInput(input);
    }
    FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0) {
        refuse(input, systemFault(openFailure(errno), path, "cannot be opened", errno), kErrorNotFound);
        return true;
    }
    if (!S_ISDIR(status.st_mode)) {
        return readFile(std::move(descriptor), {}, input);
    }
    walkRoot_ = path;
    walk_.emplace(path);
    walkPrefix_ = paths_.size() > 1 ? input.name + "/" : "";
    walkMessages_ = 0;
    return false;
}

void InputReader::passOver(const std::string& file, const char* why) {
    ++passedOver_;
    if (onPassedOver_) {
        onPassedOver_(file, why);
    }
}

bool InputReader::nextOfWalk(Input& input) {
    DirectoryWalk::File found;
    if (!walk_->next(found)) {
        walk_.reset();
        if (walkMessages_ == 0) {
            input.isMessage = false;
            refuse(input,
                   {kExitNoInput, walkRoot_, "there is no mail below this folder",
                    "name a folder of messages; a message begins with a header field or \"From \""},
                   kErrorNotFound);
        }
        return walkMessages_ == 0;
    }
    if (found.fault) {
        ++walkMessages_; // the folder has been spoken of
        input.file = found.fault->where;
        input.isMessage = false;
        refuse(input, std::move(*found.fault), kErrorInputOutput);
        return true;
    }
    if (found.passedOver != nullptr) {
        passOver(found.path, found.passedOver);
        return false;
    }
    input.file = std::move(found.path);
    input.name = walkPrefix_ + found.relative;
    const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;
    FileDescriptor descriptor(::open(input.file.c_str(), flags));
    if (!descriptor) {
        ++walkMessages_;
        refuse(input, systemFault(openFailure(errno), input.file, "cannot be opened", errno),
               kErrorInputOutput);
        return true;
    }
    return readFile(std::move(descriptor), {!found.isMessage, !found.inMaildir}, input);
}

bool InputReader::readFile(FileDescriptor descriptor, FileKind kind, Input& input) {
    struct stat status {};
    const bool regular = fstat(descriptor.get(), &status) == 0 && S_ISREG(status.st_mode);
    if (walk_ && !regular) {
        passOver(input.file, "is no regular file"); // it has been replaced since the folder was read
        return false;
    }
    if (regular) {
        input.mode = status.st_mode & 0777U;
    }
    const int wakeUp = regular ? -1 : wakeUp_;
    const std::size_t size = regular && status.st_size > 0 ? static_cast<std::size_t>(status.st_size) : 0;
    const std::size_t first = regular ? std::min(size + 1, kFirstRead) : kMailStartBytes;
    int error = readUpTo(descriptor.get(), first, input.bytes, wakeUp);
    if (kind.mustLookLikeMail && error == 0 && !looksLikeMail(input.bytes)) {
        passOver(input.file, "does not begin as mail does");
        return false;
    }
    ++walkMessages_;
    if (error == 0 && kind.mayBeMailbox && startsWithSeparator(input.bytes)) {
        return readMailbox(std::move(descriptor), wakeUp, input);
    }
    if (error == 0) {
        error = readRest(descriptor.get(), size, maxBytes_, input.bytes, wakeUp);
    }
    if (error != 0) {
        return failed(input, error);
    }
    finish(input, MboxReader::Got::Message, 0);
    return true;
}

// Reading has ended too early. False when that was asked for: then nothing is to be said.
bool InputReader::failed(Input& input, int errnoValue) {
    cancelled_ = errnoValue == ECANCELED;
    if (!cancelled_) {
        finish(input, MboxReader::Got::Failed, errnoValue);
    }
    return !cancelled_;
}

bool InputReader::readMailbox(FileDescriptor descriptor, int wakeUp, Input& input) {
    MboxReader reader(descriptor.get(), std::move(input.bytes), maxBytes_, wakeUp);
    input.bytes.clear();
    if (!reader.hasSecondMessage() && !isMailboxName(input.file)) {
        const MboxReader::Got got = reader.whole(input.bytes);
        if (got == MboxReader::Got::Failed) {
            return failed(input, reader.errnoValue());
        }
        finish(input, got, 0);
        return true;
    }
    mailbox_.emplace(std::move(reader));
    mailboxFile_ = std::move(descriptor);
    mailboxPath_ = std::move(input.file);
    mailboxName_ = std::move(input.name);
    mailboxMode_ = input.mode;
    mailboxMessages_ = 0;
    return false;
}

bool InputReader::nextOfMailbox(Input& input) {
    const MboxReader::Got got = mailbox_->next(input.bytes);
    if (got == MboxReader::Got::End) {
        mailbox_.reset();
        mailboxFile_.close();
        return false;
    }
    const std::string number = fmt::format("/{:06}.eml", ++mailboxMessages_);
    input.file = mailboxPath_ + number;
    input.name = mailboxName_ + number;
    input.mode = mailboxMode_;
    if (got == MboxReader::Got::Failed) {
        return failed(input, mailbox_->errnoValue());
    }
    finish(input, got, 0);
    return true;
}

void InputReader::finish(Input& input, MboxReader::Got got, int errnoValue) const {
    if (got == MboxReader::Got::NoMemory || errnoValue == ENOMEM) {
        refuse(input, noMemory(input.file), kErrorNoMemory);
    } else if (got == MboxReader::Got::Failed) {
        refuse(input, systemFault(kExitInputOutput, input.file, "cannot be read to its end", errnoValue),
               kErrorInputOutput);
    } else if (got == MboxReader::Got::TooLarge || (maxBytes_ != 0 && input.bytes.size() > maxBytes_)) {
        refuse(input, tooLarge(input.file, maxBytes_), kErrorLimit);
    } else if (input.bytes.empty()) {
        refuse(input, {kExitData, input.file, "is empty: there is no message in it", "give a message"},
               kErrorMalformedEntity);
    }
    if (input.fault) {
        input.bytes = {};
    }
}

} // namespace quzo::host
