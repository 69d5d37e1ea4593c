// A program of its own with quzo: sets one header field of a message with the library's action for it. It
// implements nothing of the platform. docs/library.md tells more.
#include <cstdio>
#include <iostream>
#include <string>

#include "platform/config/quzo_settings.h"
#include "platform/log/file_log.h"
#include "platform/message/mail_message.h"
#include "platform/mta/queue_adapter.h"
#include "platform/store/message_objects.h"
#include "quzo/core/create_action.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/version.h"

int main() {
    std::string problem;
    const auto log = quzo::platform::FileLog::open("stderr", 1, problem);
    quzo::platform::IniSettings settings; // the built-in ones
    if (log == nullptr || !InitActionLib(settings, *log)) {
        return 1;
    }

    const std::string setting = "X-Scanned:yes"; // what `quzo action encode x-header` prints
    const auto action = quzo::createAction(quzo::QuzoAction::ActionType::InsertXHeaderTag);
    const auto message =
        quzo::platform::MailMessage::parse("Subject: hello\n\nbody\n", settings.platform().limits);
    bool consumed = false;
    quzo::TokenMap<quzo::ScanToken> tokens;
    quzo::platform::QueueAdapter adapter; // without queues
    const quzo::platform::MessageObjects none(nullptr);
    if (action == nullptr || !action->construct(setting.data(), static_cast<unsigned>(setting.size())) ||
        !action->takeAction(message.get(), nullptr, consumed, tokens, adapter, none) || consumed) {
        return 1;
    }
    message->write([](std::string_view piece) { return static_cast<bool>(std::cout << piece); });
    std::cerr << GetQuzoVersionStr() << "\n";
    return 0;
}
