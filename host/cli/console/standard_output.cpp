// Standard output may be a full disk, a closed pipe or nothing at all. A filter that lost its output must
// not report success, so nothing goes through stdio, whose errors surface late or never.
#include "host/cli/console/standard_output.h"

#include <unistd.h>

#include <cstddef>
#include <cstdlib>

#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"

namespace quzo::host {
namespace {
constexpr std::size_t kBufferSize = std::size_t{64} << 10U;
}

bool StandardOutput::write(std::string_view bytes) {
    if (buffer_.size() + bytes.size() > kBufferSize && !flush()) {
        return false;
    }
    if (bytes.size() >= kBufferSize) {
        error_ = error_ != 0 ? error_ : writeAll(STDOUT_FILENO, bytes);
    } else {
        buffer_ += bytes;
    }
    return error_ == 0;
}

bool StandardOutput::flush() {
    if (error_ == 0) {
        error_ = writeAll(STDOUT_FILENO, buffer_);
    }
    buffer_.clear();
    return error_ == 0;
}

MaybeFault StandardOutput::finish() {
    if (flush()) {
        return std::nullopt;
    }
    return systemFault(kExitInputOutput, "standard output", "cannot be written", error_);
}

bool StandardOutput::colours() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
}

} // namespace quzo::host
