// The file of an embedded store.
#pragma once

#include <string>

namespace quzo::platform {

// Makes an empty file when there is none and `create` allows it, for its owner alone (made by the superuser:
// for that of the folder), and never through a link that leads to nothing. Throws StoreFailure (CannotOpen,
// NoSpace) when there is none then, and for what is no regular file.
void ensureDatabaseFile(const std::string& path, const std::string& label, bool create);

} // namespace quzo::platform
