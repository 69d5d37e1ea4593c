// See edit_checks.h.
#include "platform/message/edit/edit_checks.h"

#include "platform/message/edit/message_context.h"
#include "platform/message/edit/part_scan.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

int checkEditable(Entity& entity) {
    MessageContext& context = entity.context();
    const int error = entity.hasError();
    if (error != kErrorNone) {
        return error;
    }
    context.tree.grow();
    if (entity.removed()) {
        return kErrorNotFound;
    }
    return context.source.structure().limited ? kErrorLimit : kErrorNone;
}

int checkRoom(Entity& entity, const ScannedText& text) {
    MessageContext& context = entity.context();
    const std::size_t most = context.source.limits().parts;
    const bool tooMany = most != 0 && context.tree.count() + text.structure().entities.size() > most;
    return tooMany || text.structure().limited ? kErrorLimit : kErrorNone;
}

int checkNesting(const Entity& entity) {
    const std::size_t most = entity.context().source.limits().nesting;
    return most != 0 && placeOf(entity).depth >= most ? kErrorLimit : kErrorNone;
}

bool isAnyRoot(const Entity& entity) {
    return entity.parent() == nullptr || holdsMessage(entity.parent()->span());
}

void addMimeVersion(const Entity& entity, std::vector<std::string>& fields) {
    if (isAnyRoot(entity) && entity.header().find("MIME-Version") == nullptr) {
        fields.insert(fields.begin(),
                      std::string("MIME-Version: 1.0").append(entity.context().source.lineBreak()));
    }
}

} // namespace quzo::platform
