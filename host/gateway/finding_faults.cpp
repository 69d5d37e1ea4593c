// See finding_faults.h.
#include "host/gateway/finding_faults.h"

#include <cstddef>

#include "host/base/exit_code.h"

namespace quzo::host {
namespace {

using platform::StoreRemedy;
using platform::StoreTrouble;

// "FILE:LINE", or "FILE" for what has no line.
std::string place(const std::string& file, std::size_t line) {
    return line == 0 ? file : file + ":" + std::to_string(line);
}

int exitCodeOf(const platform::StoreFault& fault) {
    if (fault.trouble == StoreTrouble::NotFound) {
        return kExitNoInput;
    }
    switch (fault.remedy()) {
        case StoreRemedy::ChangeRequest:
            return kExitData;
        case StoreRemedy::TryAgain:
            return kExitTryAgain;
        case StoreRemedy::Configure:
            break;
    }
    return kExitConfiguration;
}

} // namespace

Fault faultOf(const platform::Finding& finding, const std::string& file) {
    std::string where = place(file, finding.line);
    where += finding.where.empty() ? "" : ": " + finding.where;
    return finding.severity == platform::Finding::Severity::Error
               ? Fault{kExitConfiguration, std::move(where), finding.problem, finding.remedy}
               : Fault::warning(std::move(where), finding.problem, finding.remedy);
}

Fault faultOf(const platform::StoreFault& fault, const std::string& iniFile) {
    const bool request = fault.remedy() == StoreRemedy::ChangeRequest;
    const bool missing = fault.trouble == StoreTrouble::NotFound;
    return {exitCodeOf(fault), request ? "" : iniFile + ": store", fault.text,
            missing ? "see quzo object list" : ""};
}

MaybeFault upgradeNotice(const platform::StoreFormat& format, const std::string& iniFile) {
    if (!format.upgraded()) {
        return std::nullopt;
    }
    return Fault::warning(iniFile + ": store",
                          "it had format " + std::to_string(format.found) + " and has format " +
                              std::to_string(format.now) + " now",
                          format.copy.empty() ? "" : format.copy + " is a copy of it as it was");
}

} // namespace quzo::host
