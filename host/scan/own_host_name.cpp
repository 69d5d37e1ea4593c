// Asked of the system each time: it is called once for each run of a program.
#include "host/scan/own_host_name.h"

#include <unistd.h>

namespace quzo::host {

std::string mailHostName(const std::string& configured) {
    if (!configured.empty()) {
        return configured;
    }
    char name[256] = "";
    if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') {
        return "localhost";
    }
    return name;
}

} // namespace quzo::host
