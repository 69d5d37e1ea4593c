// quzo action encode and decode: for policies that give an action as its stored text, and for reading
// texts that were stored elsewhere.
#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

#include "host/base/exit_code.h"
#include "host/cli/commands.h"
#include "host/policy/action_codec.h"
#include "host/policy/action_type.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

int sayFaults(CodecStatus status, const std::string& type, const std::vector<std::string>& faults,
              Console& console) {
    if (status == CodecStatus::UnknownType) {
        std::string known;
        for (const PolicyActionType& each : policyActionTypes()) {
            known += (known.empty() ? "" : ", ") + std::string(each.name);
        }
        return console.err.say({kExitUsage, type, "there is no such action type", "use one of " + known});
    }
    for (const std::string& fault : faults) {
        console.err.line("quzo: " + platform::visibleText(type) + ": " + platform::visibleText(fault));
    }
    return kExitData;
}

} // namespace

int runEncode(const EncodeOptions& options, Console& console) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& pair : options.pairs) {
        const std::size_t equals = pair.find('=');
        if (equals == std::string::npos || equals == 0) {
            return console.err.say({kExitUsage, pair, "is no field", "write KEY=VALUE"});
        }
        pairs.emplace_back(pair.substr(0, equals), pair.substr(equals + 1));
    }
    const Encoded result = encodeAction(options.type, pairs);
    if (result.status != CodecStatus::Done) {
        return sayFaults(result.status, options.type, result.faults, console);
    }
    console.out.write(result.setting);
    console.out.write("\n");
    return kExitOk;
}

int runDecode(const DecodeOptions& options, Console& console) {
    const Decoded result = decodeAction(options.type, options.setting);
    if (result.status != CodecStatus::Done) {
        return sayFaults(result.status, options.type, result.faults, console);
    }
    for (const auto& [key, value] : result.fields) {
        console.out.write(fmt::format("{}={}\n", key, platform::visibleText(value)));
    }
    return kExitOk;
}

} // namespace quzo::host
