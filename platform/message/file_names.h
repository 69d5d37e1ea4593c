// The file names that an entity bears.
#pragma once

#include <string>
#include <vector>

namespace quzo::platform {

class HeaderBlock;

// Every filename and name parameter of every Content-Disposition and Content-Type field, each form by
// itself (plain, encoded, continued), decoded to valid UTF-8, without duplicates and empty ones. Readers
// differ in which of them they show, so a test for forbidden names has to see them all. Content-Disposition
// comes first.
std::vector<std::string> fileNamesOf(HeaderBlock& header);

} // namespace quzo::platform
