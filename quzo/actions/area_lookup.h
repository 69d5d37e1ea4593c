// Finding the area that an action is bound to.
#pragma once

#include "quzo/core/named_obj_cache.h"
#include "quzo/settings/area.h"

namespace quzo {

// The area with this id, when it is of `type`; otherwise null, said at level 1.
const Area* findArea(const NamedObjMgrForScanner& namedObjects, unsigned id, QuzoNamedObj::NaObjType type);

// The area's aging period in days as decimal text; empty when aging is off.
std::string agingText(const Area& area);

} // namespace quzo
