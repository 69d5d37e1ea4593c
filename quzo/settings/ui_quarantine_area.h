// Quarantine areas.
#pragma once

#include "quzo/settings/area.h"

namespace quzo {

class uiQuarantineArea : public Area {
public:
    NaObjType getType() const override { return NaObjType::QuarantineArea; }
};

} // namespace quzo
