// The name that is loaded comes from the build, which found it beside the headers.
#include "platform/snmp/snmp_library.h"

#include <optional>

#include "platform/base/shared_library.h"

namespace quzo::platform {
namespace {

bool findProtocols(const SharedLibrary& library, SnmpLibrary& all) {
    return library.find("usmHMACMD5AuthProtocol", all.authMd5) &&
           library.find("usmHMACSHA1AuthProtocol", all.authSha1) &&
           library.find("usmHMAC128SHA224AuthProtocol", all.authSha224) &&
           library.find("usmHMAC192SHA256AuthProtocol", all.authSha256) &&
           library.find("usmHMAC256SHA384AuthProtocol", all.authSha384) &&
           library.find("usmHMAC384SHA512AuthProtocol", all.authSha512) &&
           library.find("usmAESPrivProtocol", all.privAes128) &&
           library.find("usmAES192PrivProtocol", all.privAes192) &&
           library.find("usmAES256PrivProtocol", all.privAes256);
}

std::optional<SnmpLibrary> load() {
    const SharedLibrary library(QUZO_LIBNETSNMP);
    SnmpLibrary all;
    const bool found =
        library.find("netsnmp_register_loghandler", all.registerLoghandler) &&
        library.find("netsnmp_ds_set_string", all.dsSetString) &&
        library.find("init_secmod", all.initSecmod) && library.find("generate_Ku", all.generateKu) &&
        library.find("snmp_sess_init", all.sessInit) && library.find("snmp_sess_open", all.sessOpen) &&
        library.find("snmp_sess_send", all.sessSend) && library.find("snmp_sess_close", all.sessClose) &&
        library.find("snmp_pdu_create", all.pduCreate) &&
        library.find("snmp_pdu_add_variable", all.pduAddVariable) &&
        library.find("snmp_free_pdu", all.freePdu) &&
        library.find("snmp_duplicate_objid", all.duplicateObjid) && findProtocols(library, all);
    return found ? std::optional(all) : std::nullopt;
}

} // namespace

const SnmpLibrary* snmpLibrary() {
    static const std::optional<SnmpLibrary> kLibrary = load();
    return kLibrary ? &*kLibrary : nullptr;
}

} // namespace quzo::platform
