// Tagging the Subject fields of one message, for ActTagSubject.
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "quzo/core/message.h"
#include "quzo/core/token_map.h"

namespace quzo {

struct SubjectTaggerModes {
    bool notEncoding = false; // a subject without a charset of its own is written as raw bytes
    bool directly = false;    // a 7-bit tag is spliced into the raw header line
};

// One use: make it, run it.
class SubjectTagger {
public:
    // Keeps references to the first two. `tag` is UTF-8 with its tokens replaced.
    SubjectTagger(KvMsgMailMessage& msg, TokenMap<ScanToken>& tokens, const std::string& tag,
                  SubjectTaggerModes modes);

    // Tags every Subject, or adds one. False only when the message refuses the field; a subject that cannot
    // be read ends the walk with true and stays as it is. May throw std::bad_alloc.
    bool run();

private:
    // Tag and subject in UTF-8, cut here; the converter's buffers have one byte more, for the NUL.
    static constexpr std::size_t kWorkSize = 2047;
    static constexpr std::size_t kOutputSize = 2048;

    enum class Step { NotASubject, Handled, EndWithTrue, EndWithFalse };

    Step tagField(KvMsgEntity& entity, int index);
    bool spliceIntoRawLine(KvMsgEntity& entity, int index, const KvMsgHeaderField& field);
    Step tagValue(KvMsgHeaderField& field, const char* value, const std::string& fieldCharset);
    int decode(const char* value, const std::string& subjectCharset);
    int decodeFrom(const char* charset, const char* value);
    int encodeTo(const char* charset, int flag);
    int encode(const std::string& subjectCharset);
    Step store(KvMsgHeaderField& field, const std::string& fieldCharset, const std::string& subjectCharset);
    bool addSubject(KvMsgEntity& entity);
    void publish();

    KvMsgMailMessage& msg_;
    TokenMap<ScanToken>& tokens_;
    const std::string& tag_;
    SubjectTaggerModes modes_;
    bool sevenBit_;
    bool published_ = false;
    std::string destination_; // charset that is tried when the subject's own does not do
    std::size_t tagSize_;     // bytes of the tag in work_
    std::array<char, kWorkSize + 1> work_{};
    std::array<char, kOutputSize + 1> output_{};
    std::size_t outputSize_ = 0;
};

} // namespace quzo
