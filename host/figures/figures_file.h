// The file that has the figures, for a program that collects such files.
#pragma once

#include <string>
#include <string_view>

#include "host/base/fault.h"

namespace quzo::host {

// Replaces the file as a whole, by a new one with mode 0644 that takes its name; the new one is named
// `path` and ".new" before. Who reads at that moment gets the former one or this.
MaybeFault replaceFile(const std::string& path, std::string_view text);

} // namespace quzo::host
