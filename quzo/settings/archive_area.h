// Archive areas.
#pragma once

#include "quzo/settings/area.h"

namespace quzo {

class ArchiveArea : public Area {
public:
    NaObjType getType() const override { return NaObjType::ArchiveArea; }
};

} // namespace quzo
