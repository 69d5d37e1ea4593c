// The subject tagging action: its settings and its way to the tagger, which does the work on the header.
#include "quzo/actions/act_tag_subject.h"

#include "quzo/actions/subject_tagger.h"
#include "quzo/core/guard.h"
#include "quzo/core/message.h"
#include "quzo/settings/ui_tag_subject.h"
#include "quzo/tokens/action_utils.h"

namespace quzo {
namespace {

// Set by init, then only read.
SubjectTaggerModes s_modes;

bool read_switch(GlobalSetting& settings, const char* key) {
    int value = 0;
    return settings.getIntValue(key, value, "MessageModule", 0) == 0 && value != 0;
}

} // namespace

bool ActTagSubject::init(GlobalSetting& settings, LogMsg& /*log*/) {
    return guarded("ActTagSubject::init", true, [&] {
        s_modes.notEncoding = read_switch(settings, "TagNotEncoding");
        s_modes.directly = read_switch(settings, "TagDirectly");
        return true;
    });
}

bool ActTagSubject::construct(const char* setting, unsigned length) {
    uiTagSubject parsed;
    if (!parsed.construct(setting, length)) {
        return false;
    }
    modifySignedMessage = parsed.tagFlag;
    tagText.swap(parsed.tagText);
    return true;
}

std::string ActTagSubject::serialize() {
    return guarded("ActTagSubject::serialize", std::string(), [&] {
        uiTagSubject settings;
        settings.tagFlag = modifySignedMessage;
        settings.tagText = tagText.c_str();
        return settings.serialize();
    });
}

int ActTagSubject::getTagSubjectAction(bool& modifySigned, std::string& text) const {
    modifySigned = modifySignedMessage;
    return guarded("ActTagSubject::getTagSubjectAction", 0, [&] {
        text = tagText;
        return 0;
    });
}

int ActTagSubject::setTagSubjectAction(bool modifySigned, const char* text) {
    return guarded("ActTagSubject::setTagSubjectAction", 0, [&] {
        tagText = text;
        modifySignedMessage = modifySigned;
        return 0;
    });
}

bool ActTagSubject::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                               bool& msgConsumed, TokenMap<ScanToken>& tokens, KvIsAdapter& /*adapter*/,
                               const NamedObjMgrForScanner& /*namedObjects*/) {
    return guarded("ActTagSubject::takeAction", false, [&] {
        msgConsumed = false;
        if (msg == nullptr) {
            return false;
        }
        if (!modifySignedMessage && (msg->isEncrypted() || msg->isSigned())) {
            return true;
        }
        std::string tag;
        if (!ActionUtils::replaceTokens(tokens, tagText, *msg, tag)) {
            return false;
        }
        return SubjectTagger(*msg, tokens, tag, s_modes).run();
    });
}

void RemoveNullCharInplace(char* buffer, unsigned length) {
    unsigned kept = 0;
    for (unsigned i = 0; i < length; ++i) {
        if (buffer[i] != '\0') {
            buffer[kept++] = buffer[i];
        }
    }
    while (kept < length) {
        buffer[kept++] = '\0';
    }
}

} // namespace quzo
