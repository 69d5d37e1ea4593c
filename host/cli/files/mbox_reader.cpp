// Mailboxes can be larger than memory, so the file is read in chunks and one message at a time is kept.
// The scan looks for "\nFrom " with memmem and examines only those places.
#include "host/cli/files/mbox_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "host/cli/console/file_io.h"
#include "host/cli/files/mail_start.h"

namespace quzo::host {
namespace {

constexpr std::size_t kChunk = std::size_t{256} << 10U;
constexpr std::string_view kMark = "\nFrom ";

std::size_t findMark(const std::string& text, std::size_t from) {
    const void* hit = memmem(text.data() + from, text.size() - from, kMark.data(), kMark.size());
    return hit == nullptr ? std::string::npos
                          : static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
}

} // namespace

MboxReader::MboxReader(int descriptor, std::string start, std::size_t maxBytes, int wakeUp)
    : descriptor_(descriptor), wakeUp_(wakeUp), maxBytes_(maxBytes), buffer_(std::move(start)) {
    const std::size_t first = prefaceLength(buffer_);
    std::size_t lineBreak = buffer_.find('\n', first);
    while (lineBreak == std::string::npos && buffer_.size() < kChunk && fill()) {
        lineBreak = buffer_.find('\n', first);
    }
    begin_ = lineBreak == std::string::npos ? buffer_.size() : lineBreak + 1;
    scanned_ = begin_;
}

bool MboxReader::fill() {
    if (ended_ || error_ != 0) {
        return false;
    }
    const std::size_t before = buffer_.size();
    buffer_.resize(before + kChunk);
    const ssize_t count = readSome(descriptor_, buffer_.data() + before, kChunk, wakeUp_);
    buffer_.resize(before + (count > 0 ? static_cast<std::size_t>(count) : 0));
    error_ = count < 0 ? errno : 0;
    ended_ = count <= 0;
    return count > 0;
}

// Goes on until the end of the message at hand is known, or reading has failed. A message that memory cannot
// hold is passed over; when even that needs more than there is, reading has failed.
void MboxReader::findEnd() {
    while (found_ == kNowhere && error_ == 0) {
        try {
            advanceSearch();
        } catch (const std::bad_alloc&) {
            if (scanned_ - begin_ <= kChunk) {
                error_ = ENOMEM;
            } else {
                passOver(Got::NoMemory);
            }
        }
    }
}

// One step: the next place that may be a separator, or the next chunk.
void MboxReader::advanceSearch() {
    if (maxBytes_ != 0 && scanned_ - begin_ > std::max(maxBytes_, kChunk)) {
        passOver(Got::TooLarge);
    }
    const std::size_t hit = findMark(buffer_, scanned_);
    if (hit != std::string::npos) {
        if (separatorAt(hit + 1)) {
            found_ = hit + 1;
        } else {
            scanned_ = hit + 1;
        }
        return;
    }
    const std::size_t known = buffer_.size() - std::min(buffer_.size(), kMark.size() - 1);
    scanned_ = std::max(scanned_, known);
    if (!fill() && error_ == 0) {
        found_ = buffer_.size();
        last_ = true;
    }
}

bool MboxReader::behindEmptyLine(std::size_t lineBegin) const {
    std::size_t at = lineBegin - 1; // the line break before it
    if (at > begin_ && buffer_[at - 1] == '\r') {
        --at;
    }
    return at == begin_ || buffer_[at - 1] == '\n';
}

bool MboxReader::separatorAt(std::size_t lineBegin) {
    if (!behindEmptyLine(lineBegin)) {
        return false;
    }
    while (buffer_.size() < lineBegin + 2 * kMailStartBytes && fill()) {
    }
    const std::string_view rest = std::string_view(buffer_).substr(lineBegin);
    const std::size_t lineBreak = rest.substr(0, kMailStartBytes).find('\n');
    if (lineBreak == std::string_view::npos || !isSeparatorLine(rest.substr(0, lineBreak))) {
        return false;
    }
    const std::string_view next = rest.substr(lineBreak + 1);
    return startsWithField(next.substr(0, kMailStartBytes)) || next.starts_with(">From ");
}

// Gives back what has been read of the message at hand, and remembers that it is not whole.
void MboxReader::passOver(Got why) {
    dropped_ = why;
    const std::size_t dropped = scanned_ - 8; // an empty line before the mark must stay in sight
    buffer_.erase(0, dropped);
    if (why == Got::NoMemory) {
        buffer_.shrink_to_fit();
    }
    begin_ = 0;
    scanned_ -= dropped;
}

std::size_t MboxReader::endOfMessage() const {
    std::size_t end = found_;
    if (end > begin_ && buffer_[end - 1] == '\n' && (!last_ || behindEmptyLine(end))) {
        --end;
        if (end > begin_ && buffer_[end - 1] == '\r') {
            --end;
        }
    }
    return end;
}

bool MboxReader::hasSecondMessage() {
    findEnd();
    return found_ != kNowhere && !last_;
}

MboxReader::Got MboxReader::next(std::string& message) {
    if (done_) {
        return Got::End;
    }
    findEnd();
    if (error_ != 0) {
        done_ = true;
        return Got::Failed;
    }
    const std::size_t length = endOfMessage() - begin_;
    Got got = dropped_;
    if (got == Got::Message && maxBytes_ != 0 && length > maxBytes_) {
        got = Got::TooLarge;
    }
    if (got == Got::Message) {
        try {
            message.assign(buffer_, begin_, length);
        } catch (const std::bad_alloc&) {
            got = Got::NoMemory;
        }
    }
    advance();
    return got;
}

void MboxReader::advance() {
    done_ = last_;
    if (done_) {
        return;
    }
    begin_ = buffer_.find('\n', found_) + 1; // separatorAt() has seen the line's end
    if (begin_ > kChunk) {
        buffer_.erase(0, begin_);
        begin_ = 0;
    }
    scanned_ = begin_;
    found_ = kNowhere;
    dropped_ = Got::Message;
}

MboxReader::Got MboxReader::whole(std::string& message) {
    findEnd();
    done_ = true;
    if (error_ != 0) {
        return Got::Failed;
    }
    if (dropped_ != Got::Message) {
        return dropped_;
    }
    if (maxBytes_ != 0 && buffer_.size() > maxBytes_) {
        return Got::TooLarge;
    }
    message = std::move(buffer_);
    return Got::Message;
}

} // namespace quzo::host
