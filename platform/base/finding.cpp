// One fault as one line. Parts of it come from other people's files, so nothing in it may start a second
// line.
#include "platform/base/finding.h"

#include <algorithm>

#include "platform/base/visible_text.h"

namespace quzo::platform {

std::string describe(const Finding& finding, const std::string& file) {
    std::string line = file;
    if (finding.line != 0) {
        line += ":" + std::to_string(finding.line);
    }
    for (const std::string* part : {&finding.where, &finding.problem, &finding.remedy}) {
        if (!part->empty()) {
            line += line.empty() ? "" : ": ";
            line += *part;
        }
    }
    return visibleText(line);
}

bool hasErrors(const Findings& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.severity == Finding::Severity::Error; });
}

} // namespace quzo::platform
