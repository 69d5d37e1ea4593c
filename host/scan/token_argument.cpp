// `--token` is how a test, or a scanner in front of this one, says what it found.
#include "host/scan/token_argument.h"

#include "platform/base/visible_text.h"
#include "platform/message/values/readable_text.h"

namespace quzo::host {

std::string applyTokenArgument(std::string_view argument, TokenMap<ScanToken>& tokens) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string_view::npos) {
        return platform::quotedText(argument) + " has no '=': write NAME=VALUE";
    }
    const std::string_view name = argument.substr(0, equals);
    const std::optional<ScanToken> code = findToken(name);
    if (!code) {
        return platform::quotedText(name) + " is no token: see `quzo tokens`, or give a code";
    }
    tokens.set(*code, platform::readableText(argument.substr(equals + 1), "utf-8"));
    return {};
}

} // namespace quzo::host
