// See file_options.h.
#include "host/cli/files/file_options.h"

#include <CLI/CLI.hpp>

#include <utility>

#include "host/gateway/standard_files.h"

namespace quzo::host {

CLI::Option* addConfigOption(CLI::App& command, std::string& target) {
    return command
        .add_option("-c,--config", target,
                    std::string("Settings file (default: ") + standardFolder() +
                        "/quzo.ini if it is there and no file is named)")
        ->type_name("FILE");
}

CLI::Option* addPolicyOption(CLI::App& command, std::string& target, const std::string& help) {
    return command
        .add_option("-p,--policy", target,
                    help + " (default: policy.toml in the folder of the default settings)")
        ->type_name("FILE");
}

void useStandardFiles(const CLI::App& command, std::string& iniFile, std::string& policyFile) {
    const CLI::Option* policy = command.get_option_no_throw("--policy");
    if (command.count("--config") != 0 || (policy != nullptr && policy->count() != 0)) {
        return;
    }
    StandardFiles files = standardFiles();
    iniFile = std::move(files.iniFile);
    if (policy != nullptr) {
        policyFile = std::move(files.policyFile);
    }
}

} // namespace quzo::host
