// Finding the area that an action is bound to, for quarantine and archive alike.
#include "quzo/actions/area_lookup.h"

#include "quzo/core/log.h"

namespace quzo {

const Area* findArea(const NamedObjMgrForScanner& namedObjects, unsigned id, QuzoNamedObj::NaObjType type) {
    const QuzoNamedObj* object = namedObjects.find(id);
    if (object == nullptr) {
        ActionLog::L1("Invalid name object type reference. id=%u", id);
        return nullptr;
    }
    // An object may claim a type that it is not; both have to agree.
    const Area* area = object->getType() == type ? dynamic_cast<const Area*>(object) : nullptr;
    if (area == nullptr) {
        ActionLog::L1("Incorrect name object type reference. type=%u",
                      static_cast<unsigned>(object->getType()));
    }
    return area;
}

std::string agingText(const Area& area) {
    return area.agingEnabled ? std::to_string(area.agingDays) : std::string();
}

} // namespace quzo
