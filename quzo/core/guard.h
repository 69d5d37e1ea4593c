// Keeping exceptions inside.
#pragma once

#include <exception>
#include <utility>

#include "quzo/core/log.h"

namespace quzo {

// Runs `work` and returns its result. When it throws (in practice: when memory runs out), writes a
// level-1 line that names `where` and returns `onError`. Every entry point of the library that can
// allocate runs inside one.
template <typename Result, typename Work>
Result guarded(const char* where, Result onError, Work&& work) noexcept {
    try {
        return std::forward<Work>(work)();
    } catch (const std::exception& problem) {
        ActionLog::L1("%s gave up: %s.", where, problem.what());
    } catch (...) {
        ActionLog::L1("%s gave up: unknown exception.", where);
    }
    return onError;
}

} // namespace quzo
