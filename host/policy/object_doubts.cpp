// See object_doubts.h.
#include "host/policy/object_doubts.h"

#include <string>
#include <utility>

#include "host/policy/stamp_html.h"
#include "host/policy/token_doubts.h"
#include "quzo/settings/stamp_forms.h"
#include "quzo/settings/ui_stamp_area.h"

namespace quzo::host {
namespace {

void add(platform::Findings& findings, platform::Findings doubts, const char* field) {
    for (platform::Finding& doubt : doubts) {
        doubt.where = field;
        findings.push_back(std::move(doubt));
    }
}

} // namespace

platform::Findings doubtsOf(const QuzoNamedObj& object) {
    platform::Findings findings;
    if (object.getType() != QuzoNamedObj::NaObjType::StampArea) {
        return findings;
    }
    const StampForms forms = splitStampForms(static_cast<const uiStampArea&>(object).stampText);
    if (forms.text.empty()) {
        findings.push_back({platform::Finding::Severity::Warning, 0, "text",
                            forms.html ? "it is empty: whoever reads plain text sees no stamp"
                                       : "it is empty: nothing is stamped",
                            "give a text"});
    }
    add(findings, doubtsOfTokens(forms.text), "text");
    if (forms.html) {
        add(findings, doubtsOfTokens(*forms.html), "html");
        add(findings, doubtsOfStampHtml(*forms.html), "html");
    }
    return findings;
}

} // namespace quzo::host
