// The action: its setting text in both directions, and its work on a message.
#include "token_field.h"

#include <string_view>

#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/message.h"
#include "quzo/core/msgu.h"
#include "quzo/tokens/action_utils.h"

namespace example {

// quzo::guarded keeps exceptions inside, as every operation of an action has to: when memory runs out, it
// writes a line and gives the second argument.
bool TokenField::construct(const char* setting, unsigned length) {
    return quzo::guarded("TokenField::construct", false, [&] {
        const std::string_view text(setting != nullptr ? setting : "", setting != nullptr ? length : 0);
        const std::size_t colon = text.find(':');
        if (colon == 0 || colon >= text.size() - 1 || text.find('\0') != std::string_view::npos) {
            quzo::ActionLog::L1("A token field needs a setting like \"X-Seen:%%SENDER%%\".");
            return false;
        }
        name_ = text.substr(0, colon);
        value_ = text.substr(colon + 1);
        return true;
    });
}

std::string TokenField::serialize() {
    return quzo::guarded("TokenField::serialize", std::string(), [&] { return name_ + ":" + value_; });
}

bool TokenField::takeAction(quzo::KvMsgMailMessage* msg, const quzo::KvMsgMailMessage* /*originalMsg*/,
                            bool& /*msgConsumed*/, quzo::TokenMap<quzo::ScanToken>& tokens,
                            quzo::KvIsAdapter& /*adapter*/,
                            const quzo::NamedObjMgrForScanner& /*namedObjects*/) {
    return quzo::guarded("TokenField::takeAction", false, [&] {
        // Null for a message that could not be read.
        quzo::KvMsgEntity* root = quzo::msgu::getRootEntity(msg);
        std::string value;
        if (root == nullptr || !quzo::ActionUtils::replaceTokens(tokens, value_, *msg, value) ||
            !quzo::msgu::setHeader(root, name_.c_str(), value.c_str(), "utf-8")) {
            quzo::ActionLog::L1("The field %s could not be set.", name_.c_str());
            return false;
        }
        return true;
    });
}

} // namespace example
