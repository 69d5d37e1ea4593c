// An owner for ICU's converters.
#pragma once

#include <unicode/ucnv.h>

#include <memory>

namespace quzo::platform {

struct CloseConverter {
    void operator()(UConverter* converter) const noexcept { ucnv_close(converter); }
};

// A converter of its own; used by one thread at a time.
using ConverterHandle = std::unique_ptr<UConverter, CloseConverter>;

} // namespace quzo::platform
