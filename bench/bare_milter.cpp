// What a milter costs that does next to nothing: it keeps the body and puts it back as it came. For
// live_load.py, beside which quzo is measured.
//
//     bare_milter SOCKET          as libmilter writes it: unix:PATH or inet:PORT@HOST
//
// Ends with SIGTERM.
#include <libmilter/mfapi.h>
#include <sys/stat.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

namespace {

constexpr std::size_t kPiece = 65535; // bytes that a server takes at once

std::string* bodyOf(SMFICTX* context) { return static_cast<std::string*>(smfi_getpriv(context)); }

sfsistat onConnect(SMFICTX* context, char* /*name*/, _SOCK_ADDR* /*address*/) {
    auto body = std::make_unique<std::string>();
    return smfi_setpriv(context, body.release()) == MI_SUCCESS ? SMFIS_CONTINUE : SMFIS_TEMPFAIL;
}

sfsistat onBody(SMFICTX* context, unsigned char* piece, std::size_t size) {
    bodyOf(context)->append(reinterpret_cast<const char*>(piece), size);
    return SMFIS_CONTINUE;
}

sfsistat onEndOfMessage(SMFICTX* context) {
    std::string& body = *bodyOf(context);
    for (std::size_t at = 0; at < body.size(); at += kPiece) {
        if (smfi_replacebody(context, reinterpret_cast<unsigned char*>(body.data() + at),
                             static_cast<int>(std::min(kPiece, body.size() - at))) != MI_SUCCESS) {
            return SMFIS_TEMPFAIL;
        }
    }
    body.clear();
    return SMFIS_ACCEPT;
}

sfsistat onAbort(SMFICTX* context) {
    bodyOf(context)->clear();
    return SMFIS_CONTINUE;
}

sfsistat onClose(SMFICTX* context) {
    const std::unique_ptr<std::string> body(bodyOf(context));
    smfi_setpriv(context, nullptr);
    return SMFIS_CONTINUE;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: bare_milter SOCKET\n";
        return 64;
    }
    std::string name = "bare";
    smfiDesc description{};
    description.xxfi_name = name.data();
    description.xxfi_version = SMFI_VERSION;
    description.xxfi_flags = SMFIF_CHGBODY;
    description.xxfi_connect = onConnect;
    description.xxfi_body = onBody;
    description.xxfi_eom = onEndOfMessage;
    description.xxfi_abort = onAbort;
    description.xxfi_close = onClose;
    umask(0);
    if (smfi_setconn(arguments[1]) != MI_SUCCESS || smfi_register(description) != MI_SUCCESS) {
        std::cerr << "bare_milter: " << arguments[1] << " is no socket\n";
        return 73;
    }
    return smfi_main() == MI_SUCCESS ? 0 : 74;
}
