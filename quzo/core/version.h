// What this library is and which build of it.
#pragma once

extern "C" {

// "quzo VERSION (build NUMBER, DATE)": static storage.
const char* GetQuzoVersionStr();

// High 16 bits: the version, major * 256 + minor; low 16 bits: the build number of the banner.
unsigned GetQuzoVersion();

} // extern "C"
