// The file of an embedded store.
#pragma once

#include <string>

namespace quzo::platform {

// Makes an empty file when there is none and `create` allows it, readable for its owner and group, writable
// for its owner. Throws StoreFailure (CannotOpen, NoSpace) when there is none then, and for what is no
// regular file.
void ensureDatabaseFile(const std::string& path, const std::string& label, bool create);

} // namespace quzo::platform
