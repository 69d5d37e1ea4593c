// One form for everything that goes wrong, so that a person finds the file, the reason and the next step
// in the same places of each line, and a script can split it at ": ".
#include "host/base/fault.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/base/visible_text.h"

namespace quzo::host {

Fault Fault::warning(std::string where, std::string what, std::string advice) {
    return {0, std::move(where), std::move(what), std::move(advice), false, Severity::Warning};
}

std::string Fault::line() const {
    std::string text = "quzo: ";
    for (const std::string* part : {&where, &what, &advice}) {
        if (!part->empty()) {
            if (text.size() > 6) {
                text += ": ";
            }
            text += part == &what && !isError() ? "warning: " : "";
            text += platform::visibleText(*part);
        }
    }
    return text;
}

bool hasErrors(const Faults& faults) {
    return std::any_of(faults.begin(), faults.end(), [](const Fault& fault) { return fault.isError(); });
}

int exitCodeOf(const Faults& faults) {
    int code = 0;
    for (const Fault& fault : faults) {
        code = std::max(code, fault.isError() ? fault.exitCode : 0);
    }
    return code;
}

std::string_view systemAdvice(int errnoValue) {
    switch (errnoValue) {
        case ENOENT:
            return "check the name";
        case EACCES:
        case EPERM:
            return "check its owner and mode, or run as a user who may";
        case ENOSPC:
        case EDQUOT:
            return "make room there and run it again";
        case EFBIG:
            return "raise the limit on file sizes (ulimit -f) and run it again";
        case EROFS:
            return "choose a folder that can be written to";
        case EISDIR:
            return "name a file, or move that folder away";
        case ENOTDIR:
            return "a part of the path is no folder: move it away or choose another path";
        case EEXIST:
            return "move it away or choose another folder";
        case ENAMETOOLONG:
            return "use shorter names";
        case ELOOP:
            return "name the file itself, links are not followed here";
        case EMFILE:
        case ENFILE:
            return "raise the limit on open files (ulimit -n)";
        case EPIPE:
            return "keep the reading side open until quzo has ended";
        case EBADF:
            return "open it for quzo";
        default:
            return "see to the disk and run it again";
    }
}

Fault systemFault(int exitCode, std::string where, std::string_view doing, int errnoValue) {
    char buffer[128] = {};
    const char* reason = strerror_r(errnoValue, buffer, sizeof buffer);
    std::string what(doing);
    what.append(" (").append(reason).append(")");
    return {exitCode, std::move(where), std::move(what), std::string(systemAdvice(errnoValue))};
}

} // namespace quzo::host
