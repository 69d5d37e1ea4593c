// quzo object preview: what a message would make of an object, before any mail meets it.
#include "host/admin/object_preview.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "host/admin/object_file.h"
#include "host/base/exit_code.h"
#include "host/cli/files/inputs.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_session.h"
#include "host/cli/object/object_table.h"
#include "host/scan/token_argument.h"
#include "platform/base/visible_text.h"
#include "platform/message/values/mailbox.h"

namespace quzo::host {
namespace {

constexpr std::size_t kMaxMessage = std::size_t{256} << 20U; // bytes

MaybeFault readArguments(const ObjectOptions& options, TokenMap<ScanToken>& tokens) {
    if (options.from && !options.from->empty() && !platform::validAddress(*options.from)) {
        return Fault{kExitUsage, "--from", platform::quotedText(*options.from) + " is no address",
                     "write local@domain, or '' for none"};
    }
    for (const std::string& recipient : options.to) {
        if (!platform::validAddress(recipient)) {
            return Fault{kExitUsage, "--to", platform::quotedText(recipient) + " is no address",
                         "write local@domain"};
        }
    }
    for (const std::string& argument : options.tokens) {
        if (std::string fault = applyTokenArgument(argument, tokens); !fault.empty()) {
            return Fault{kExitUsage, "--token", std::move(fault), {}};
        }
    }
    return std::nullopt;
}

// The one message that MESSAGE names.
MaybeFault readMessage(const std::string& path, std::string& bytes) {
    InputReader reader({path}, kMaxMessage);
    Input first;
    Input second;
    if (!reader.next(first)) {
        return Fault{kExitNoInput, path, "there is no message", "name a message file"};
    }
    if (first.fault) {
        return first.fault;
    }
    if (reader.next(second)) {
        return Fault{kExitUsage, path, "there are several messages", "name a file with one message"};
    }
    bytes = std::move(first.bytes);
    return std::nullopt;
}

std::string previewText(const ObjectPreview& preview) {
    std::size_t width = 0;
    for (const auto& [name, value] : preview.head) {
        width = std::max(width, name.size() + 2);
    }
    std::string text;
    for (const auto& [name, value] : preview.head) {
        text += name + std::string(width - name.size(), ' ') + platform::visibleText(value) + "\n";
    }
    for (const auto& [name, value] : preview.texts) {
        text += "\n" + name + "\n" + shownLines(value, "    ");
    }
    return text;
}

} // namespace

int runObjectPreview(const ObjectOptions& options, Console& console) {
    TokenMap<ScanToken> tokens;
    std::string bytes;
    for (const MaybeFault& fault : {readArguments(options, tokens), readMessage(options.message, bytes)}) {
        if (fault) {
            return console.err.say(*fault);
        }
    }
    ObjectSession session(options, console);
    if (!session.open(ObjectSession::Purpose::Preview)) {
        return session.exitCode();
    }
    const Result<platform::StoredObject> object = session.admin().find(*session.kind(), options.name);
    if (!object) {
        return session.say(object.fault());
    }
    const std::optional<ObjectForm> form = ObjectForm::read(object->kind, object->content);
    if (!form) {
        return session.say(Fault{kExitData, shownObject(object->kind, object->name),
                                 "its stored text cannot be read",
                                 "restore a former revision, or remove it"});
    }
    MessageJob job;
    job.name = options.message;
    job.bytes = std::move(bytes);
    job.sender = options.from;
    job.recipients = options.to;
    job.tokens = tokens;
    const MessagePreview preview =
        previewObject(*session.installation().snapshot(), session.installation().queues(), *form, object->id,
                      std::move(job));
    if (!preview.object) {
        return session.say(Fault{kExitData, options.message, preview.error->text, "name a message file"});
    }
    if (!preview.ruleId && !options.policyFile.empty()) {
        console.err.say(Fault::warning(options.policyFile,
                                       "no rule that refers to the object acts on this message",
                                       "tokens of a rule have no value"));
    }
    console.out.write(previewText(*preview.object));
    return kExitOk;
}

} // namespace quzo::host
