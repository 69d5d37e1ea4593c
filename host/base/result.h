// What an operation of the programs gives: a value, or what went wrong.
#pragma once

#include "host/base/fault.h"
#include "platform/base/result.h"

namespace quzo::host {

template <typename T>
using Result = platform::Result<T, Fault>;

} // namespace quzo::host
