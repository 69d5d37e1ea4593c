// An action that the library does not have: a header field whose value tells something of the message.
//
// The library's own action for header fields writes a fixed value; this one replaces the tokens in it, so
// that "X-Seen: %SENDER% on %DATE&TIME%" says who and when.
#pragma once

#include <string>
#include <vector>

#include "quzo/core/action.h"

namespace example {

class TokenField final : public quzo::QuzoAction {
public:
    // Codes below 1000 are the library's.
    static constexpr ActionType kType{1000};

    // Setting text: the field name, ":" and the value, in UTF-8. False, with a level-1 line, for a text
    // without a name or a value.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;

    ActionType getType() const override { return kType; }
    bool requiresOriginalMsg() override { return false; }

    // Sets the field of the message's own header, in place of one that is there. msgConsumed is left alone.
    bool takeAction(quzo::KvMsgMailMessage* msg, const quzo::KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    quzo::TokenMap<quzo::ScanToken>& tokens, quzo::KvIsAdapter& adapter,
                    const quzo::NamedObjMgrForScanner& namedObjects) override;

    // The settings refer to no named objects.
    using quzo::QuzoAction::getNamedObjectIds;
    bool getNamedObjectIds(const char* /*setting*/, int /*length*/, std::vector<unsigned>& /*ids*/) override {
        return true;
    }

private:
    std::string name_;
    std::string value_;
};

} // namespace example
