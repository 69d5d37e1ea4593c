// The library's one entry point for start-up.
#pragma once

#include "quzo/core/log.h"
#include "quzo/core/settings_source.h"

extern "C" {

// Reads every setting of the library and keeps the log. Call it once, on one thread, before any action
// is used; after it the library's static state is only read. A second call starts over. `log` must
// outlive the library's use, `settings` only the call. Always returns true: a step that fails has
// logged why and leaves its built-in values.
bool InitActionLib(quzo::GlobalSetting& settings, quzo::LogMsg& log);

} // extern "C"
