// Settings of the subject tagging action.
#include "quzo/settings/ui_tag_subject.h"

#include "quzo/core/guard.h"

namespace quzo {

bool uiTagSubject::construct(const char* setting, unsigned length) {
    if (setting == nullptr || length < 2) {
        return false;
    }
    return guarded("uiTagSubject::construct", false, [&] {
        tagFlag = setting[0] == 'T';
        tagText.assign(setting + 1, length - 1);
        return true;
    });
}

std::string uiTagSubject::serialize() {
    return guarded("uiTagSubject::serialize", std::string(), [&] { return (tagFlag ? "T" : "F") + tagText; });
}

int uiTagSubject::setTagSubjectAction(bool flag, const char* text) {
    return guarded("uiTagSubject::setTagSubjectAction", 0, [&] {
        tagText = text;
        tagFlag = flag;
        return 0;
    });
}

int uiTagSubject::getTagSubjectAction(bool& flag, std::string& text) {
    flag = tagFlag;
    return guarded("uiTagSubject::getTagSubjectAction", 0, [&] {
        text = tagText;
        return 0;
    });
}

} // namespace quzo
