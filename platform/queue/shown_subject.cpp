// See shown_subject.h.
#include "platform/queue/shown_subject.h"

#include <string_view>

#include "platform/base/utf8.h"
#include "quzo/core/msgu.h"

namespace quzo::platform {
namespace {
constexpr std::size_t kMaxSubject = 512;
} // namespace

std::string shownSubject(MailMessage& msg) {
    std::string subject;
    if (!msgu::getSubject(&msg, "utf-8", nullptr, subject)) {
        return {};
    }
    if (subject.size() > kMaxSubject) {
        const std::string_view cut = std::string_view(subject).substr(0, kMaxSubject);
        const std::size_t whole = validUtf8Prefix(cut);
        subject.resize(kMaxSubject - whole < 4 ? whole : kMaxSubject);
    }
    return subject;
}

} // namespace quzo::platform
