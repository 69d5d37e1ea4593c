// The names that results carry to the outside.
#include "host/scan/scan_result.h"

namespace quzo::host {

const char* outcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::Modified:
            return "modified";
        case Outcome::Consumed:
            return "consumed";
        case Outcome::Deferred:
            return "deferred";
        case Outcome::Failed:
            return "failed";
        case Outcome::Unchanged:
            break;
    }
    return "unchanged";
}

} // namespace quzo::host
