// Quarantine areas.
#pragma once

#include <memory>

#include "quzo/settings/area.h"

namespace quzo {

class uiQuarantineArea : public Area {
public:
    NaObjType getType() const override { return NaObjType::QuarantineArea; }
    std::unique_ptr<QuzoNamedObj> clone() const override { return std::make_unique<uiQuarantineArea>(*this); }
};

} // namespace quzo
