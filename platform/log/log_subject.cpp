// One pointer for each thread. The library's log functions know no message, so that this is the way its name
// gets into their lines.
#include "platform/log/log_subject.h"

#include <utility>

namespace quzo::platform {
namespace {

thread_local const LogSubject* latest = nullptr;

} // namespace

LogSubject::LogSubject(std::string text) : text_(std::move(text)), outer_(std::exchange(latest, this)) {}

LogSubject::~LogSubject() { latest = outer_; }

void LogSubject::add(std::string_view more) { text_.append(text_.empty() ? "" : " ").append(more); }

std::string_view LogSubject::current() {
    return latest == nullptr ? std::string_view() : std::string_view(latest->text_);
}

} // namespace quzo::platform
