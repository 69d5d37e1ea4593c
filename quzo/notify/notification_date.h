// The date that a notification bears.
#pragma once

#include <ctime>
#include <string>

namespace quzo {

// "Mon, 02 Jan 2006 15:04:05 +0530": local time in English, whatever the process's locale, and its distance
// from UTC. That distance is what mktime() makes of the UTC time, with one hour more while daylight saving
// time is in force, so it is wrong where that is not one hour ahead (Lord Howe Island) or where winter time
// is the one that is set apart (Dublin, in some versions of the time zone data). Any thread may call it.
// Throws std::bad_alloc.
std::string notificationDate(std::time_t now);

} // namespace quzo
