// Putting a tag in front of the Subject.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// Puts a configured text, its tokens replaced, in front of each Subject of the message's header, or adds a
// Subject of the tag alone. The subject's charset is kept where it can carry the tag. The first tagged
// subject becomes the value of %SUBJECT%.
//
// A subject that no known charset explains is left as it is, and that counts as done (said at level 3). Tag
// and subject together are cut at 2047 bytes of UTF-8.
class ActTagSubject : public PlainAction {
public:
    // Reads "TagNotEncoding" and "TagDirectly" of "MessageModule". Always true.
    static bool init(GlobalSetting& settings, LogMsg& log);

    // The text of uiTagSubject.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::TagSubject; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

    // Both return 0. `text` must not be null.
    int getTagSubjectAction(bool& modifySigned, std::string& text) const;
    int setTagSubjectAction(bool modifySigned, const char* text);

private:
    bool modifySignedMessage = false; // tag signed and encrypted messages too
    std::string tagText;              // with %TOKEN% names
};

// Moves the non-zero bytes among the first `length` to the front, in order, and zeroes the rest of those
// bytes.
void RemoveNullCharInplace(char* buffer, unsigned length);

} // namespace quzo
