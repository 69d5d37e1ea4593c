// See content_fields.h.
#include "platform/message/edit/content_fields.h"

#include "platform/base/ascii.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/part_scan.h"

namespace quzo::platform {

bool describesContent(std::string_view name) { return startsWithNoCase(name, "Content-"); }

std::vector<std::string> contentFields(const Entity& entity, bool forDigest) {
    const std::string_view lineBreak = entity.context().source.lineBreak();
    std::vector<std::string> fields;
    for (std::size_t i = 0; i < entity.header().count(); ++i) {
        const HeaderField& field = *entity.header().at(i);
        if (describesContent(field.name())) {
            fields.emplace_back(field.text());
            if (fields.back().back() != '\n') {
                fields.back().append(lineBreak);
            }
        }
    }
    const bool fromDigest = isInDigest(entity);
    if (fromDigest != forDigest && !entity.header().contentType().valid()) {
        fields.push_back(std::string("Content-Type: ")
                             .append(fromDigest ? "message/rfc822" : "text/plain")
                             .append(lineBreak));
    }
    return fields;
}

} // namespace quzo::platform
