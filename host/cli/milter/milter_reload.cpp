// quzo milter reload: asks the milter that runs, by the socket that its settings name.
#include "host/base/exit_code.h"
#include "host/cli/milter/control_socket.h"
#include "host/cli/milter/milter.h"
#include "host/gateway/installation.h"

namespace quzo::host {

int runMilterReload(const MilterReloadOptions& options, Console& console) {
    Installation installation;
    const bool usable = installation.open({.iniFile = options.iniFile, .policyFile = {}, .library = false});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    const std::string path = controlPathOf(installation.settings());
    if (path.empty()) {
        return console.err.say(Fault{kExitConfiguration, options.iniFile,
                                     "the settings name no socket for commands",
                                     "set spool in [platform] or control in [milter], or send SIGUSR1"});
    }
    ControlAnswer answer;
    if (const MaybeFault fault = askMilter(path, "reload", answer)) {
        return console.err.say(*fault);
    }
    for (std::size_t at = 0, end = 0; (end = answer.text.find('\n', at)) != std::string::npos; at = end + 1) {
        console.err.line(answer.text.substr(at, end - at));
    }
    return answer.exitCode;
}

} // namespace quzo::host
