// A message from outside may bring these fields forged. The mark field is what the next hop acts upon, so it
// is ours alone; the reprocessing fields count for nothing there, and are taken off what is changed or
// stored.
#include "host/scan/outside_marks.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/core/reprocess_mark.h"

namespace quzo::host {
namespace {

// Whether a line above the first empty one names the field.
bool anyLineNames(std::string_view message, std::string_view name) {
    while (!message.empty()) {
        const std::string_view line = message.substr(0, message.find('\n'));
        if (platform::trimmed(line).empty()) {
            return false;
        }
        if (platform::startsWithNoCase(line, name) &&
            platform::trimmed(line.substr(name.size())).starts_with(':')) {
            return true;
        }
        message.remove_prefix(std::min(line.size() + 1, message.size()));
    }
    return false;
}

} // namespace

bool canBeChanged(platform::MailMessage& msg) {
    const KvMsgEntity* root = msg.getRootEntity();
    return root != nullptr && root->hasError() == 0;
}

bool bearsMarkField(platform::MailMessage& msg, const Policy& policy, const ReceivedHeader& received) {
    const std::string& name = policy.defaults.markHeader;
    return !name.empty() &&
           (received.has(name) || (!canBeChanged(msg) && anyLineNames(msg.original(), name)));
}

bool removeOutsideMarks(platform::MailMessage& msg, const Policy& policy, const ReceivedHeader& received) {
    if (!canBeChanged(msg)) {
        return !bearsMarkField(msg, policy, received);
    }
    bool all = true;
    for (const char* name :
         {kReprocessRulesHeader, kReprocessTypeHeader, policy.defaults.markHeader.c_str()}) {
        if (*name != '\0' && received.has(name)) {
            ActionLog::L3("A field %s that came from outside is taken off.", name);
            all = msg.getRootEntity()->removeHeader(name) == 0 && all;
        }
    }
    return all;
}

void removeReprocessMarks(platform::MailMessage& msg) {
    if (KvMsgEntity* root = msg.getRootEntity(); root != nullptr) {
        root->removeHeader(kReprocessRulesHeader);
        root->removeHeader(kReprocessTypeHeader);
    }
}

bool writeMarks(platform::MailMessage& msg, const Policy& policy, const std::vector<std::string>& marks) {
    if (marks.empty() || policy.defaults.markHeader.empty()) {
        return true;
    }
    std::string value;
    for (const std::string& mark : marks) {
        value += value.empty() ? "" : ", ";
        value += mark;
    }
    KvMsgEntity* root = msg.getRootEntity();
    return root != nullptr &&
           msgu::setHeader(root, policy.defaults.markHeader.c_str(), value.c_str(), nullptr);
}

std::vector<std::string> receivedMarks(const Policy& policy, const ReceivedHeader& received) {
    std::vector<std::string> marks;
    if (policy.defaults.markHeader.empty()) {
        return marks;
    }
    for (std::string_view rest : received.rawValues(policy.defaults.markHeader)) {
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find(','), rest.size());
            const std::string_view word = platform::trimmed(rest.substr(0, end));
            const PolicyActionType* type = findActionType(word);
            if (type != nullptr && type->isMark &&
                std::find(marks.begin(), marks.end(), word) == marks.end()) {
                marks.emplace_back(word);
            }
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }
    return marks;
}

} // namespace quzo::host
