// libcurl, loaded when the first connection is opened. It brings some twenty libraries along, of encryption,
// directories and tickets: a filter that is started for each message has no use for them.
#pragma once

#include <curl/curl.h>

namespace quzo::platform {

// The functions that are used, by the names that libcurl gives them behind curl_.
struct CurlLibrary {
    decltype(&::curl_easy_init) easyInit = nullptr;
    decltype(&::curl_easy_setopt) easySetopt = nullptr;
    decltype(&::curl_easy_perform) easyPerform = nullptr;
    decltype(&::curl_easy_getinfo) easyGetinfo = nullptr;
    decltype(&::curl_easy_send) easySend = nullptr;
    decltype(&::curl_easy_recv) easyRecv = nullptr;
    decltype(&::curl_easy_strerror) easyStrerror = nullptr;
    decltype(&::curl_easy_cleanup) easyCleanup = nullptr;
};

// Null when it is not installed. Loaded and made ready at the first call, for good; any thread.
const CurlLibrary* curlLibrary();

} // namespace quzo::platform
