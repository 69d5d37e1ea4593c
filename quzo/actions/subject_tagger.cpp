// Tagging the Subject fields of one message.
//
// A subject is decoded to UTF-8 right behind the tag, and the whole is encoded again and stored. Which
// charset is tried when, for decoding, encoding and storing, is fixed: the subject's own first, then the
// destination, then the installation's own, then UTF-8. Subjects in the Latin-1 family are stored as raw
// bytes, which is what the mail programs that still write them expect.
#include "quzo/actions/subject_tagger.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "quzo/actions/act_tag_subject.h"
#include "quzo/core/error_text.h"
#include "quzo/core/msgu.h"
#include "quzo/core/text.h"
#include "quzo/tokens/action_utils.h"

namespace quzo {
namespace {

constexpr char kUtf8[] = "utf-8";
constexpr char kSubstitute = '?';

// Equal without regard to case, up to and including the end.
bool same_text(const char* a, std::string_view b) {
    return platform_icasencmp(a, b.data(), static_cast<unsigned>(b.size()) + 1) == 0;
}

bool is_ucs2(const std::string& charset) { return same_text(charset.c_str(), "iso-10646-ucs-2"); }

bool is_latin1_family(const std::string& charset) {
    return platform_icasencmp(charset.c_str(), "iso-8859-1", 10) == 0;
}

// As much of a UTF-8 text as fits, ended before a character that would be cut.
std::size_t fitting_size(const std::string& text, std::size_t room) {
    if (text.size() <= room) {
        return text.size();
    }
    std::size_t size = room;
    while (size > 0 && room - size < 3 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    return size;
}

std::string message_charset(const KvMsgMailMessage& msg) {
    const char* charset = msgu::getCharset(&msg);
    return charset != nullptr && *charset != '\0' ? charset : ActionUtils::getLocalCharset();
}

void log_unreadable(int error) {
    ActionUtils::L3("Ignore subject tagging due to error '%s' (%u).", KVMSGERR::I2A(error),
                    static_cast<unsigned>(error));
}

} // namespace

SubjectTagger::SubjectTagger(KvMsgMailMessage& msg, TokenMap<ScanToken>& tokens, const std::string& tag,
                             SubjectTaggerModes modes)
    : msg_(msg),
      tokens_(tokens),
      tag_(tag),
      modes_(modes),
      sevenBit_(std::all_of(tag.begin(), tag.end(),
                            [](char c) { return (static_cast<unsigned char>(c) & 0x80U) == 0; })),
      destination_(message_charset(msg)),
      tagSize_(fitting_size(tag, kWorkSize)) {
    std::memcpy(work_.data(), tag.data(), tagSize_);
}

bool SubjectTagger::run() {
    for (KvMsgEntity* entity = msg_.getRootEntity(); entity != nullptr; entity = entity->getNextSibling()) {
        if (entity->hasError() != 0) {
            continue;
        }
        bool handled = false;
        const int count = entity->getHeaderFieldCount();
        for (int index = 0; index < count; ++index) {
            const Step step = tagField(*entity, index);
            if (step == Step::EndWithTrue || step == Step::EndWithFalse) {
                return step == Step::EndWithTrue;
            }
            handled = handled || step == Step::Handled;
        }
        if (!handled) {
            return addSubject(*entity);
        }
    }
    return true;
}

SubjectTagger::Step SubjectTagger::tagField(KvMsgEntity& entity, int index) {
    const KvMsgHeaderField* field = entity.getHeaderField(index, true);
    const char* name = field != nullptr ? field->getName() : nullptr;
    if (name == nullptr || !same_text(name, "subject")) {
        return Step::NotASubject;
    }
    const char* charset = nullptr;
    const char* value = field->getValue(&charset);
    ActionUtils::L3("Tag Subject Action find subject:%s", value != nullptr ? value : "(null)");
    if (sevenBit_ && modes_.directly && spliceIntoRawLine(entity, index, *field)) {
        return Step::Handled;
    }
    const std::string fieldCharset = charset != nullptr ? charset : "";
    KvMsgHeaderField* writable = entity.getHeaderField(index, false);
    if (value == nullptr || writable == nullptr) {
        return Step::Handled;
    }
    return tagValue(*writable, value, fieldCharset);
}

// The tag goes before all that follows the colon, its blank included. False when there is no raw line.
bool SubjectTagger::spliceIntoRawLine(KvMsgEntity& entity, int index, const KvMsgHeaderField& field) {
    const char* line = field.getRawLine();
    if (line == nullptr) {
        return false;
    }
    const char* colon = std::strchr(line, ':');
    KvMsgHeaderField* writable = colon != nullptr ? entity.getHeaderField(index, false) : nullptr;
    if (writable == nullptr) {
        return true;
    }
    std::string value = tag_ + (colon + 1);
    const std::size_t size = value.size();
    if (size > 1 && value[size - 2] == '\r' && value[size - 1] == '\n') {
        value.resize(size - 2);
    }
    writable->setValue(value.c_str(), nullptr);
    return true;
}

SubjectTagger::Step SubjectTagger::tagValue(KvMsgHeaderField& field, const char* value,
                                            const std::string& fieldCharset) {
    const std::string& subjectCharset = fieldCharset.empty() ? destination_ : fieldCharset;
    const int error = decode(value, subjectCharset);
    if (error != 0) {
        log_unreadable(error);
        return Step::EndWithTrue;
    }
    publish();
    if (encode(subjectCharset) != 0) {
        field.setValue(work_.data(), kUtf8);
        return Step::Handled;
    }
    if (outputSize_ > 0 && is_ucs2(subjectCharset)) {
        RemoveNullCharInplace(output_.data(), static_cast<unsigned>(outputSize_));
    }
    return store(field, fieldCharset, subjectCharset);
}

// Returns the error of the last attempt made.
int SubjectTagger::decode(const char* value, const std::string& subjectCharset) {
    const bool known = !subjectCharset.empty();
    int error = known ? decodeFrom(subjectCharset.c_str(), value) : 0;
    if (known && error == 0) {
        return 0;
    }
    error = decodeFrom(destination_.c_str(), value);
    if (!known || error != 0) {
        error = decodeFrom(ActionUtils::getLocalCharset(), value);
    }
    return error;
}

int SubjectTagger::decodeFrom(const char* charset, const char* value) {
    char* const subject = work_.data() + tagSize_;
    std::size_t size = kWorkSize - tagSize_;
    std::memset(subject, 0, size + 1);
    return KvMsg_CharsetConverterString(value, charset, subject, kUtf8, &size, 1, kSubstitute);
}

int SubjectTagger::encode(const std::string& subjectCharset) {
    if (!subjectCharset.empty() && encodeTo(subjectCharset.c_str(), 0) == 0) {
        return 0;
    }
    return encodeTo(destination_.c_str(), 0);
}

int SubjectTagger::encodeTo(const char* charset, int flag) {
    output_.fill('\0');
    outputSize_ = kOutputSize;
    return KvMsg_CharsetConverterString(work_.data(), kUtf8, output_.data(), charset, &outputSize_, flag,
                                        kSubstitute);
}

SubjectTagger::Step SubjectTagger::store(KvMsgHeaderField& field, const std::string& fieldCharset,
                                         const std::string& subjectCharset) {
    const bool known = !subjectCharset.empty();
    int error = 0;
    if ((fieldCharset.empty() && modes_.notEncoding) || (known && is_latin1_family(subjectCharset))) {
        error = field.setValue(output_.data(), nullptr);
    } else if (!known) {
        return Step::Handled;
    } else {
        error = field.setValue(output_.data(), subjectCharset.c_str());
    }
    if (error != 0 && !known) {
        error = field.setValue(output_.data(), destination_.c_str());
    }
    if (error != 0) {
        error = field.setValue(output_.data(), nullptr);
    }
    return error == 0 ? Step::Handled : Step::EndWithFalse;
}

bool SubjectTagger::addSubject(KvMsgEntity& entity) {
    // Nothing may follow the tag: an earlier subject's text may still stand there.
    work_[tagSize_] = '\0';
    const int error = encodeTo(destination_.c_str(), 1);
    if (error != 0) {
        log_unreadable(error);
        return true;
    }
    if (outputSize_ > 0 && is_ucs2(destination_)) {
        RemoveNullCharInplace(output_.data(), static_cast<unsigned>(outputSize_));
    }
    return entity.addHeaderField(-1, "Subject", output_.data(), destination_.c_str()) != nullptr;
}

// Later actions of the rule see the first tagged subject.
void SubjectTagger::publish() {
    if (!published_) {
        tokens_.set(ScanToken::Subject, work_.data());
        published_ = true;
    }
}

} // namespace quzo
