// The dearer an answer, the later it is worked out: the envelope is at hand, the header block takes one scan,
// types and names need the tree, texts need decoding.
#include "host/scan/message_facts.h"

#include <algorithm>

#include "host/scan/rule_tokens.h"

namespace quzo::host {
namespace {

constexpr std::size_t kMaxBodyBytes = std::size_t{1} << 20U;

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

const std::vector<EntityFacts>& MessageFacts::entities() {
    if (!entities_) {
        entities_.emplace();
        for (KvMsgEntity* entity = msg_.getRootEntity(); entity != nullptr; entity = entity->getNext()) {
            entities_->push_back({entity, platform::EntityReader::contentType(*entity),
                                  platform::EntityReader::fileNames(*entity)});
        }
    }
    return *entities_;
}

const std::vector<std::string>& MessageFacts::bodyTexts() {
    if (!bodyTexts_) {
        bodyTexts_.emplace();
        std::size_t room = kMaxBodyBytes;
        for (KvMsgEntity* entity = msg_.getRootEntity(); entity != nullptr && room != 0;
             entity = entity->getNext()) {
            if (entity->getEntityType() != kEntityLeaf ||
                !platform::EntityReader::contentType(*entity).starts_with("text/")) {
                continue;
            }
            std::string text = platform::EntityReader::decodedText(*entity, room);
            room -= std::min(room, text.size());
            bodyTexts_->push_back(std::move(text));
        }
    }
    return *bodyTexts_;
}

} // namespace quzo::host
