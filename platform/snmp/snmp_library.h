// Net-SNMP, loaded for the first trap: with its encryption it would take a fifth of a filter's start.
#pragma once

#include <net-snmp/net-snmp-config.h>
// Net-SNMP wants its configuration first.
#include <net-snmp/net-snmp-includes.h>

namespace quzo::platform {

// The functions and tables that are used, by the names that Net-SNMP gives them.
struct SnmpLibrary {
    decltype(&::netsnmp_register_loghandler) registerLoghandler = nullptr;
    decltype(&::netsnmp_ds_set_string) dsSetString = nullptr;
    decltype(&::init_secmod) initSecmod = nullptr;
    decltype(&::generate_Ku) generateKu = nullptr;
    decltype(&::snmp_sess_init) sessInit = nullptr;
    decltype(&::snmp_sess_open) sessOpen = nullptr;
    decltype(&::snmp_sess_send) sessSend = nullptr;
    decltype(&::snmp_sess_close) sessClose = nullptr;
    decltype(&::snmp_pdu_create) pduCreate = nullptr;
    decltype(&::snmp_pdu_add_variable) pduAddVariable = nullptr;
    decltype(&::snmp_free_pdu) freePdu = nullptr;
    decltype(&::snmp_duplicate_objid) duplicateObjid = nullptr;

    // The identifiers of version 3's protocols.
    decltype(&::usmHMACMD5AuthProtocol) authMd5 = nullptr;
    decltype(&::usmHMACSHA1AuthProtocol) authSha1 = nullptr;
    decltype(&::usmHMAC128SHA224AuthProtocol) authSha224 = nullptr;
    decltype(&::usmHMAC192SHA256AuthProtocol) authSha256 = nullptr;
    decltype(&::usmHMAC256SHA384AuthProtocol) authSha384 = nullptr;
    decltype(&::usmHMAC384SHA512AuthProtocol) authSha512 = nullptr;
    decltype(&::usmAESPrivProtocol) privAes128 = nullptr;
    decltype(&::usmAES192PrivProtocol) privAes192 = nullptr;
    decltype(&::usmAES256PrivProtocol) privAes256 = nullptr;
};

// Null when it is not installed. Loaded at the first call, for good; any thread. Nothing of it is started.
const SnmpLibrary* snmpLibrary();

} // namespace quzo::platform
