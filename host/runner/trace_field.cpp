// See trace_field.h.
#include "host/runner/trace_field.h"

#include <utility>

#include "platform/message/compose/own_header.h"

namespace quzo::host {

std::string traceField(const std::string& hostname, const std::string& id, std::int64_t now) {
    return "Received: by " + hostname + " (quzo) id " + id + ";\r\n\t" + platform::headerDate(now) + "\r\n";
}

platform::MessageWriter behindField(std::string field, platform::MessageWriter message) {
    return [field = std::move(field), message = std::move(message)](
               const std::function<bool(std::string_view)>& sink) { return sink(field) && message(sink); };
}

} // namespace quzo::host
