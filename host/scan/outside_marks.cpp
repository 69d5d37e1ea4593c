// A message from outside may bring these fields forged. A message that no rule changes leaves as it came; one
// that is changed or stored leaves without them.
#include "host/scan/outside_marks.h"

#include <algorithm>

#include "platform/message/ascii.h"
#include "quzo/core/msgu.h"
#include "quzo/core/reprocess_mark.h"

namespace quzo::host {

void removeOutsideMarks(platform::MailMessage& msg, const Policy& policy, const ReceivedHeader& received) {
    KvMsgEntity* root = msg.getRootEntity();
    for (const char* name :
         {kReprocessRulesHeader, kReprocessTypeHeader, policy.defaults.markHeader.c_str()}) {
        if (root != nullptr && *name != '\0' && received.has(name)) {
            root->removeHeader(name);
        }
    }
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
