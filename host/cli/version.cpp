// quzo version: which build this is, for reports.
#include <fmt/format.h>

#include <string_view>

#include "host/base/exit_code.h"
#include "host/cli/commands.h"
#include "quzo/core/version.h"

namespace quzo::host {

int runVersion(Console& console) {
    console.out.write(fmt::format("{}\n", GetQuzoVersionStr()));
    // Made by the build: "name version, name version".
    console.out.write(fmt::format("built with {}\n", std::string_view(QUZO_BUILT_WITH)));
    return kExitOk;
}

} // namespace quzo::host
