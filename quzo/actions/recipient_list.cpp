// Changing the envelope recipients of a message.
//
// Duplicates are found with a set of the normalised addresses: lists of 50,000 recipients are real.
#include "quzo/actions/recipient_list.h"

#include <algorithm>
#include <list>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "quzo/core/guard.h"
#include "quzo/core/msgu.h"
#include "quzo/core/text.h"
#include "quzo/core/trim.h"

namespace quzo {
namespace {

std::string normalised(std::string_view address) {
    std::string text(withoutSpaces(address));
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

} // namespace

bool _isSameEmailAddress(std::string a, std::string b) { // NOLINT(performance-unnecessary-value-param)
    return guarded("_isSameEmailAddress", false, [&] { return normalised(a) == normalised(b); });
}

bool _removeDuplicatedRcpt(KvMsgMailMessage* msg) {
    return guarded("_removeDuplicatedRcpt", false, [&] {
        std::string joined;
        std::list<std::string> recipients;
        if (!msgu::getRcpt(msg, joined, recipients)) {
            return false; // a list that cannot be read must not become an empty one
        }
        std::unordered_set<std::string> seen;
        std::string kept;
        for (const std::string& recipient : recipients) {
            const std::string_view address = withoutSpaces(recipient);
            if (!address.empty() && seen.insert(normalised(address)).second) {
                kept.append(address).append(";");
            }
        }
        return msgu::setRcpt(msg, kept.c_str(), false);
    });
}

bool _addRcpt(KvMsgMailMessage* msg, std::string& rcpts, bool append) {
    return guarded("_addRcpt", false, [&] {
        std::vector<std::string> parts;
        tokenize(rcpts, parts, ";");
        if (parts.empty()) {
            return true;
        }
        std::string list;
        for (const std::string& part : parts) {
            list.append(withoutSpaces(part)).append(";");
        }
        rcpts = std::move(list);
        return msgu::setRcpt(msg, rcpts.c_str(), append) && _removeDuplicatedRcpt(msg);
    });
}

} // namespace quzo
