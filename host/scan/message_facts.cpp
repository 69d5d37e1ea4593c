// The dearer an answer, the later it is worked out: the envelope is at hand, the header block takes one scan,
// types and names need the tree, texts need decoding.
#include "host/scan/message_facts.h"

#include <algorithm>
#include <utility>

#include "host/scan/rule_tokens.h"

namespace quzo::host {
namespace {

constexpr std::size_t kMaxTextBytesOfPart = std::size_t{1} << 20U;
constexpr std::size_t kMaxTextBytes = std::size_t{8} << 20U;

} // namespace

const ReceivedHeader& MessageFacts::receivedHeader() {
    if (!receivedHeader_) {
        receivedHeader_.emplace(msg_.original(), limits_);
    }
    return *receivedHeader_;
}

const std::vector<std::string>& MessageFacts::header(std::uint32_t index) {
    if (headers_.empty()) {
        headers_.resize(policy_.headerNames.size());
    }
    std::optional<std::vector<std::string>>& values = headers_[index];
    if (!values) {
        values = receivedHeader().values(policy_.headerNames[index]);
    }
    return *values;
}

const std::string* MessageFacts::token(ScanToken code) {
    return tokens_.valueForCondition(code, receivedHeader());
}

bool MessageFacts::isSigned() {
    if (!signed_) {
        signed_ = msg_.isSigned();
    }
    return *signed_;
}

bool MessageFacts::isEncrypted() {
    if (!encrypted_) {
        encrypted_ = msg_.isEncrypted();
    }
    return *encrypted_;
}

const std::vector<platform::SeenPart>& MessageFacts::parts() {
    if (!parts_) {
        parts_.emplace(msg_, limits_);
    }
    return parts_->parts();
}

const std::vector<EntityFacts>& MessageFacts::entities() {
    if (!entities_) {
        entities_.emplace();
        for (const platform::SeenPart& part : parts()) {
            entities_->push_back({part, platform::EntityReader::contentTypes(*part.entity),
                                  platform::EntityReader::fileNames(*part.entity)});
        }
    }
    return *entities_;
}

const std::vector<std::string>& MessageFacts::bodyTexts() {
    if (!bodyTexts_) {
        bodyTexts_.emplace();
        std::size_t room = kMaxTextBytes;
        for (const platform::SeenPart& part : parts()) {
            if (room == 0) {
                break;
            }
            for (std::string& text :
                 platform::EntityReader::texts(*part.entity, std::min(room, kMaxTextBytesOfPart))) {
                room -= std::min(room, text.size());
                bodyTexts_->push_back(std::move(text));
            }
        }
    }
    return *bodyTexts_;
}

platform::EmbeddedFormats MessageFacts::embeddedFormats() {
    if (!embeddedFormats_) {
        embeddedFormats_.emplace();
        for (const platform::SeenPart& part : parts()) {
            *embeddedFormats_ |= platform::EntityReader::embeddedFormats(*part.entity);
        }
    }
    return *embeddedFormats_;
}

} // namespace quzo::host
