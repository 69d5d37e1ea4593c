// Runs two actions on the message of standard input, one of the library and one of our own, in the order of a
// list, and writes the message to standard output.
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "platform/config/quzo_settings.h"
#include "platform/log/file_log.h"
#include "platform/message/mail_message.h"
#include "platform/mta/queue_adapter.h"
#include "platform/store/message_objects.h"
#include "quzo/core/create_action.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/settings/ui_tag_subject.h"
#include "token_field.h"

namespace {

// An action of either kind, with its setting; null when it refuses the setting.
std::unique_ptr<quzo::QuzoAction> make(quzo::QuzoAction::ActionType type, const std::string& setting) {
    std::unique_ptr<quzo::QuzoAction> action;
    if (type == example::TokenField::kType) {
        action = std::make_unique<example::TokenField>();
    } else {
        action = quzo::createAction(type);
    }
    const auto length = static_cast<unsigned>(setting.size());
    return action != nullptr && action->construct(setting.data(), length) ? std::move(action) : nullptr;
}

} // namespace

int main() {
    std::string problem;
    const auto log = quzo::platform::FileLog::open("stderr", 1, problem);
    quzo::platform::IniSettings settings; // the built-in ones
    if (log == nullptr || !InitActionLib(settings, *log)) {
        return 1;
    }

    quzo::uiTagSubject tag; // writes the setting text that the tagging action reads
    tag.tagText = "[list] ";
    std::vector<std::unique_ptr<quzo::QuzoAction>> actions;
    actions.push_back(make(quzo::QuzoAction::ActionType::TagSubject, tag.serialize()));
    actions.push_back(make(example::TokenField::kType, "X-Seen:from %SENDER%: %SUBJECT%"));

    std::string bytes{std::istreambuf_iterator<char>(std::cin), {}};
    const auto message = quzo::platform::MailMessage::parse(std::move(bytes), settings.platform().limits);
    quzo::TokenMap<quzo::ScanToken> tokens; // one for each message
    tokens.set(quzo::ScanToken::Sender, "alice@example.org");
    quzo::platform::QueueAdapter adapter; // without queues
    const quzo::platform::MessageObjects none(nullptr);

    for (const auto& action : actions) {
        if (action != nullptr) {
            action->fillInTokenMap(tokens, none);
        }
    }
    for (const auto& action : actions) {
        bool consumed = false;
        if (action == nullptr ||
            !action->takeAction(message.get(), nullptr, consumed, tokens, adapter, none)) {
            return 1; // and the log says why
        }
    }
    const bool written =
        message->write([](std::string_view piece) { return static_cast<bool>(std::cout << piece); });
    return written && std::cout.flush() ? 0 : 1;
}
