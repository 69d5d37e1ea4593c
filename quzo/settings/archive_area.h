// Archive areas.
#pragma once

#include <memory>

#include "quzo/settings/area.h"

namespace quzo {

class ArchiveArea : public Area {
public:
    NaObjType getType() const override { return NaObjType::ArchiveArea; }
    std::unique_ptr<QuzoNamedObj> clone() const override { return std::make_unique<ArchiveArea>(*this); }
};

} // namespace quzo
