// A host: settings, actions, a message, a queue.
//
//   host SPOOL < message.eml
//
// Mail of lists waits below the folder SPOOL until the evening; other mail gets a header field and goes to
// standard output. It implements nothing of the platform. The exit code is 1 when the message is neither
// written nor kept: then whoever called still has it.
#include <cstdio>
#include <ctime>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include "platform/config/quzo_settings.h"
#include "platform/log/file_log.h"
#include "platform/message/mail_message.h"
#include "platform/mta/queue_adapter.h"
#include "platform/queue/queue_admin.h"
#include "platform/queue/queues.h"
#include "platform/store/message_objects.h"
#include "quzo/core/create_action.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/msgu.h"
#include "quzo/core/version.h"
#include "quzo/settings/ui_postpone.h"

namespace {

enum class Outcome { Failed, GoesOn, Gone };

// One action on one message. Gone only when the action took it and says that it was done.
Outcome run(quzo::QuzoAction::ActionType type, const std::string& setting,
            quzo::platform::MailMessage& message, quzo::TokenMap<quzo::ScanToken>& tokens,
            quzo::KvIsAdapter& adapter) {
    const quzo::platform::MessageObjects none(nullptr); // no store, so no named objects
    const auto action = quzo::createAction(type);
    bool consumed = false;
    if (action == nullptr || !action->construct(setting.data(), static_cast<unsigned>(setting.size()))) {
        return Outcome::Failed;
    }
    action->fillInTokenMap(tokens, none);
    if (!action->takeAction(&message, nullptr, consumed, tokens, adapter, none)) {
        return Outcome::Failed; // also with `consumed`: the message is still ours
    }
    return consumed ? Outcome::Gone : Outcome::GoesOn;
}

// What waits in the queue, for people.
void showPostponed(quzo::platform::Queues& queues) {
    quzo::platform::QueueAdmin admin(queues, "gateway.example.org");
    admin.list(quzo::platform::QueueKind::Postponed, {}, std::time(nullptr), [](const auto& listed) {
        std::cerr << listed.id << " waits: " << listed.entry.subject << "\n";
        return true;
    });
}

} // namespace

int main(int count, char** words) {
    if (count != 2) {
        std::cerr << "usage: host SPOOL < message.eml\n";
        return 64;
    }
    // Once, on one thread, before anything else. The log outlives all use of the library.
    std::string problem;
    const auto log = quzo::platform::FileLog::open("stderr", 1, problem);
    if (log == nullptr) {
        std::cerr << problem << "\n";
        return 1;
    }
    quzo::platform::IniSettings settings;
    settings.parse("[platform]\nhostname = gateway.example.org\n"); // or load() of a file
    for (const auto& finding : settings.check()) {
        std::cerr << "line " << finding.line << ": " << finding.problem << "\n";
    }
    InitActionLib(settings, *log);
    std::cerr << GetQuzoVersionStr() << "\n";
    quzo::platform::Queues queues(quzo::platform::QueuePlaces{words[1], {}, {}});

    // For each message, on any thread: a message, a token map and an adapter of its own.
    std::string bytes{std::istreambuf_iterator<char>(std::cin), {}};
    const auto message = quzo::platform::MailMessage::parse(std::move(bytes), settings.platform().limits);
    if (message->error() != 0 || message->setEnvelope("alice@example.org", {"bob@example.com"}) != 0) {
        return 1;
    }
    quzo::TokenMap<quzo::ScanToken> tokens;
    quzo::platform::AdapterContext context;
    context.queues = &queues;
    context.tokens = &tokens;
    context.hostname = settings.platform().hostname;
    quzo::platform::QueueAdapter adapter(context);

    using Type = quzo::QuzoAction::ActionType;
    std::string list;
    Outcome outcome = Outcome::Failed;
    if (quzo::msgu::getHeader(message->getRootEntity(), "List-Id", list)) {
        quzo::uiPostpone evening;
        evening.hour = 20;
        outcome = run(Type::Postpone, evening.serialize(), *message, tokens, adapter);
        showPostponed(queues);
    } else {
        outcome = run(Type::InsertXHeaderTag, "X-Scanned:yes", *message, tokens, adapter);
    }
    if (outcome != Outcome::GoesOn) {
        return outcome == Outcome::Gone ? 0 : 1;
    }
    const bool written =
        message->write([](std::string_view piece) { return static_cast<bool>(std::cout << piece); });
    return written && std::cout.flush() ? 0 : 1;
}
