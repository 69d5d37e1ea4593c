// The lazy scans. See scanned_text.h.
#include "platform/message/structure/scanned_text.h"

#include <utility>

#include "quzo/core/error_text.h"
#include "quzo/core/message.h"

namespace quzo::platform {

ScannedText::ScannedText(std::string bytes, const Limits& limits)
    : bytes_(std::move(bytes)), limits_(limits) {
    if (limits_.messageBytes != 0 && bytes_.size() > limits_.messageBytes) {
        error_ = kErrorLimit;
    }
}

ScannedText::ScannedText(std::string bytes, std::size_t begin, const PartPlace& place, const Limits& limits,
                         std::size_t& end)
    : bytes_(std::move(bytes)), limits_(limits), structure_(scanPart(bytes_, begin, place, limits_, end)) {}

ScannedText::ScannedText(std::string_view boundary, std::string_view lineBreak)
    : bytes_(std::string("--").append(boundary).append("--").append(lineBreak)), structure_(std::in_place) {
    EntitySpan& multipart = structure_->entities.emplace_back();
    multipart.bodyEnd = bytes_.size();
    multipart.end = bytes_.size();
    multipart.type = kEntityMultipart;
    multipart.closed = true;
    multipart.boundary = std::string_view(bytes_).substr(2, boundary.size());
}

const HeaderSpan& ScannedText::header(std::uint32_t index) const {
    if (structure_) {
        return structure_->entities[index].header;
    }
    if (index != 0) {
        return structure().entities[index].header;
    }
    if (!rootHeader_) {
        if (error_ != 0) {
            rootHeader_.emplace().readable = false;
        } else {
            rootHeader_ = scanHeader(bytes_, 0, bytes_.size(), limits_);
        }
    }
    return *rootHeader_;
}

const Structure& ScannedText::structure() const {
    if (!structure_) {
        static_cast<void>(header(0));
        HeaderSpan root = std::move(*rootHeader_);
        rootHeader_.reset(); // when the scan runs out of memory, the next use starts over
        if (error_ != 0) {
            Structure refused;
            refused.limited = true;
            refused.entities.emplace_back().header = std::move(root);
            refused.entities.front().type = kEntityLeaf;
            structure_ = std::move(refused);
        } else {
            structure_ = scanStructure(bytes_, std::move(root), limits_);
        }
    }
    return *structure_;
}

LimitReached ScannedText::limitReached() const {
    if (error_ != 0) {
        return LimitReached::MessageBytes;
    }
    if (structure_) {
        return quzo::platform::limitReached(*structure_, limits_);
    }
    return rootHeader_ ? quzo::platform::limitReached(*rootHeader_, limits_) : LimitReached::None;
}

std::string_view ScannedText::lineBreak() const {
    if (lineBreak_.empty()) {
        const std::size_t lf = bytes_.find('\n');
        const bool lone = lf != std::string::npos && (lf == 0 || bytes_[lf - 1] != '\r');
        lineBreak_ = lone ? std::string_view("\n") : std::string_view("\r\n");
    }
    return lineBreak_;
}

} // namespace quzo::platform
