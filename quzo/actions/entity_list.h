// Lists of entities as the scanner writes them into the token map.
#pragma once

#include <string>
#include <vector>

#include "quzo/core/message.h"

namespace quzo {

// The entities of "ID ADDRESS;ID ADDRESS...": decimal numbers, and addresses in hexadecimal of a pointer's
// width. The list ends at an entry of more than 63 characters, without a number, or whose address is zero.
// The pointers may be anything: they may be compared, and followed only once msgu::existEntity() knows them.
std::vector<KvMsgEntity*> listedEntities(const std::string& list);

// The same for who takes all or nothing: false, with `entities` empty, when the list is empty, ends with ";",
// or has such an entry. Throws std::bad_alloc, as the other does.
bool readWholeEntityList(const std::string& list, std::vector<KvMsgEntity*>& entities);

} // namespace quzo
