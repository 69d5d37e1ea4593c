// Replacing tokens in a configured text.
//
// One pass: a "%" opens a candidate and the next "%" closes it. A candidate that is no token gives its
// closing sign the chance to open the next one, so "50% off for %SENDER%" finds its token. Two signs in a row
// stay as they are. Everything between the replaced tokens is copied in one piece.
#include <string_view>

#include "quzo/core/guard.h"
#include "quzo/tokens/action_utils.h"
#include "quzo/tokens/token_lookup.h"

namespace quzo {
namespace {

void replace(TokenMap<ScanToken>& tokens, std::string_view text, const KvMsgMailMessage& msg,
             std::string& out) {
    std::size_t copied = 0; // everything before this is in `out`
    std::size_t open = text.find('%');
    while (open != std::string_view::npos) {
        const std::size_t close = text.find('%', open + 1);
        if (close == std::string_view::npos) {
            break;
        }
        if (close == open + 1) {
            open = text.find('%', close + 1);
            continue;
        }
        const char* value = tokenValue(tokens, text.substr(open, close - open + 1), msg);
        if (value == nullptr) {
            open = close;
            continue;
        }
        out.append(text.substr(copied, open - copied)).append(value);
        copied = close + 1;
        open = text.find('%', copied);
    }
    const std::string_view rest = text.substr(copied);
    out.append(rest.substr(0, rest.find('\0')));
}

} // namespace

bool ActionUtils::replaceTokens(TokenMap<ScanToken>& tokens, const std::string& text,
                                const KvMsgMailMessage& msg, std::string& out) {
    return guarded("ActionUtils::replaceTokens", false, [&] {
        std::string result; // `out` may be `text` itself
        result.reserve(1024);
        replace(tokens, text, msg, result);
        out = std::move(result);
        return true;
    });
}

} // namespace quzo
