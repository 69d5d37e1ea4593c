// The log's file: appended to, line by line, and opened anew when somebody has moved it away.
#pragma once

#include <memory>
#include <string>

namespace spdlog::sinks {
class sink;
}

namespace quzo::platform {

// Opens the file; with `make` one that is not there is made, with mode 0640, and
// platform/base/owner_of_new_file.h says whose it is. Null, with an errno value in `error`, when it cannot be
// opened.
//
// Each line is one write at the file's end, so lines of several processes do not mix. Before each, the path
// is looked at: when it leads to another file, or to none, as after logrotate has renamed the former, the
// lines go on into that one, made if need be; when that fails, into the former. Callable from any thread.
std::shared_ptr<spdlog::sinks::sink> makeFileSink(const std::string& path, bool make, int& error);

} // namespace quzo::platform
