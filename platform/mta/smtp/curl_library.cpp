// The name that is loaded comes from the build, which found it beside the headers.
#include "platform/mta/smtp/curl_library.h"

#include <optional>

#include "platform/base/shared_library.h"

namespace quzo::platform {
namespace {

std::optional<CurlLibrary> load() {
    const SharedLibrary library(QUZO_LIBCURL);
    CurlLibrary all;
    decltype(&::curl_global_init) globalInit = nullptr;
    const bool found =
        library.find("curl_global_init", globalInit) && library.find("curl_easy_init", all.easyInit) &&
        library.find("curl_easy_setopt", all.easySetopt) &&
        library.find("curl_easy_perform", all.easyPerform) &&
        library.find("curl_easy_getinfo", all.easyGetinfo) && library.find("curl_easy_send", all.easySend) &&
        library.find("curl_easy_recv", all.easyRecv) &&
        library.find("curl_easy_strerror", all.easyStrerror) &&
        library.find("curl_easy_cleanup", all.easyCleanup);
    if (!found || globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        return std::nullopt;
    }
    return all;
}

} // namespace

const CurlLibrary* curlLibrary() {
    static const std::optional<CurlLibrary> kLibrary = load();
    return kLibrary ? &*kLibrary : nullptr;
}

} // namespace quzo::platform
