// The file names that an entity bears.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

// Every filename and name parameter in the raw values of Content-Disposition fields and of Content-Type
// fields, each form by itself (plain, encoded, continued), decoded to valid UTF-8, without duplicates and
// empty ones. Readers differ in which of them they show, so a test for forbidden names has to see them all.
// Content-Disposition comes first.
std::vector<std::string> fileNamesOf(const std::vector<std::string_view>& dispositions,
                                     const std::vector<std::string_view>& contentTypes);

} // namespace quzo::platform
