// A trap is built and sent in a session of Net-SNMP's of its own. The library is used without its
// init_snmp(), so that it reads neither configuration files nor MIBs nor the environment and writes no state:
// only its security module of version 3 is started.
//
// Version 3 wants the sender's clock in each trap, as a number of starts and the seconds since the last one,
// and receivers refuse what goes backwards. Seconds since 1970 in that form go on from one start to the
// next, and are the same for several processes, without a file.
#include "platform/snmp/trap_sender.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <initializer_list>
#include <mutex>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/snmp/local_address.h"
#include "platform/snmp/snmp_library.h"
#include "platform/snmp/trap_text.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

using Oid = std::vector<oid>;
using Version = SnmpSettings::Version;
using Level = SnmpSettings::Level;

struct PduDeleter {
    void operator()(netsnmp_pdu* pdu) const { snmpLibrary()->freePdu(pdu); }
};
using Pdu = std::unique_ptr<netsnmp_pdu, PduDeleter>;

struct SessionCloser {
    void operator()(void* session) const { snmpLibrary()->sessClose(session); }
};
using Session = std::unique_ptr<void, SessionCloser>;

// What the IP and UDP headers leave of the usual 1500 bytes of a packet: more would travel in pieces, which
// many a firewall drops.
constexpr std::size_t kMostDatagram = 1472;
// What stands around community, identifiers and text at most.
constexpr std::size_t kAround = 120;
constexpr std::size_t kAroundVersion3 = 200; // with user, engine identifiers, digest, padding

constexpr std::uint32_t kLastGeneric = 2;

std::mutex& libraryMutex() {
    static std::mutex mutex;
    return mutex;
}

// With the mutex held. False: it is not installed.
bool startLibrary() {
    static const bool started = [] {
        if (snmpLibrary() == nullptr) {
            return false;
        }
        const SnmpLibrary& library = *snmpLibrary();
        // With no handler at all it would write to standard error.
        library.registerLoghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
        netsnmp_session any;
        library.sessInit(&any);
        // The name under which handlers of configuration lines are kept, which nothing reads here.
        library.dsSetString(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_APPTYPE, "quzo");
        library.initSecmod();
        return true;
    }();
    return started;
}

std::span<oid> authProtocol(std::string_view name) {
    if (name == "MD5") {
        return *snmpLibrary()->authMd5;
    }
    if (name == "SHA") {
        return *snmpLibrary()->authSha1;
    }
    if (name == "SHA-224") {
        return *snmpLibrary()->authSha224;
    }
    if (name == "SHA-384") {
        return *snmpLibrary()->authSha384;
    }
    return name == "SHA-512" ? std::span<oid>(*snmpLibrary()->authSha512)
                             : std::span<oid>(*snmpLibrary()->authSha256);
}

std::span<oid> privProtocol(std::string_view name) {
    if (name == "AES-192") {
        return *snmpLibrary()->privAes192;
    }
    return name == "AES-256" ? std::span<oid>(*snmpLibrary()->privAes256)
                             : std::span<oid>(*snmpLibrary()->privAes128);
}

// Hundredths of a second since the machine's start, as sysUpTime counts them.
std::uint32_t upTime() {
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 100U +
                                      static_cast<std::uint64_t>(now.tv_nsec) / 10000000U);
}

Oid below(const ObjectIdentifier& root, std::initializer_list<oid> rest) {
    Oid whole(root.begin(), root.end());
    whole.insert(whole.end(), rest);
    return whole;
}

bool addVariable(netsnmp_pdu& pdu, const Oid& name, unsigned char type, const void* value, std::size_t size) {
    return snmpLibrary()->pduAddVariable(&pdu, name.data(), name.size(), type, value, size) != nullptr;
}

Pdu makeVersion1(const SnmpSettings& settings, const Trap& trap, const HostAddress& receiver,
                 std::uint16_t port) {
    Pdu pdu(snmpLibrary()->pduCreate(SNMP_MSG_TRAP));
    const Oid enterprise = below(settings.enterprise, {});
    if (pdu == nullptr) {
        return pdu;
    }
    pdu->enterprise = snmpLibrary()->duplicateObjid(enterprise.data(), enterprise.size());
    if (pdu->enterprise == nullptr) {
        return nullptr;
    }
    pdu->enterprise_length = enterprise.size();
    const bool generic = trap.type <= kLastGeneric;
    pdu->trap_type = generic ? static_cast<long>(trap.type) : SNMP_TRAP_ENTERPRISESPECIFIC;
    pdu->specific_type = generic ? 0 : static_cast<long>(trap.type);
    pdu->time = upTime();
    const auto own = localAddressFor(receiver, port);
    std::copy(own.begin(), own.end(), pdu->agent_addr);
    return pdu;
}

Pdu makeVersion2(const SnmpSettings& settings, const Trap& trap) {
    const Oid upTimeName = {1, 3, 6, 1, 2, 1, 1, 3, 0};
    const Oid trapName = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
    const Oid kind = trap.type <= kLastGeneric ? Oid{1, 3, 6, 1, 6, 3, 1, 1, 5, trap.type + 1}
                                               : below(settings.enterprise, {0, trap.type});
    Pdu pdu(snmpLibrary()->pduCreate(SNMP_MSG_TRAP2));
    const unsigned long time = upTime();
    if (pdu == nullptr || !addVariable(*pdu, upTimeName, ASN_TIMETICKS, &time, sizeof time) ||
        !addVariable(*pdu, trapName, ASN_OBJECT_ID, kind.data(), kind.size() * sizeof(oid))) {
        return nullptr;
    }
    return pdu;
}

// Net-SNMP copies what a session refers to when it opens it, and takes it without const.
unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
}

} // namespace

struct TrapSender::Keys {
    using Key = std::array<unsigned char, USM_AUTH_KU_LEN>;

    Key auth{};
    std::size_t authLength = 0; // 0: none
    Key priv{};
    std::size_t privLength = 0;

    // Takes a few milliseconds, by intention of those who invented it.
    static bool make(std::span<const oid> protocol, const std::string& passphrase, Key& key,
                     std::size_t& length) {
        length = key.size();
        return snmpLibrary()->generateKu(protocol.data(), static_cast<u_int>(protocol.size()),
                                         bytes(passphrase), passphrase.size(), key.data(),
                                         &length) == SNMPERR_SUCCESS;
    }

    static std::unique_ptr<Keys> of(const SnmpSettings& settings) {
        auto keys = std::make_unique<Keys>();
        const auto protocol = authProtocol(settings.authProtocol);
        const bool wantsAuth = settings.level != Level::NoAuthNoPriv;
        const bool wantsPriv = settings.level == Level::AuthPriv;
        const bool made =
            (!wantsAuth || make(protocol, settings.authPassphrase, keys->auth, keys->authLength)) &&
            (!wantsPriv || make(protocol, settings.privPassphrase, keys->priv, keys->privLength));
        return made ? std::move(keys) : nullptr;
    }

    void putInto(netsnmp_session& session, const SnmpSettings& settings) const {
        session.securityModel = USM_SEC_MODEL_NUMBER;
        session.securityLevel = settings.level == Level::AuthPriv     ? SNMP_SEC_LEVEL_AUTHPRIV
                                : settings.level == Level::AuthNoPriv ? SNMP_SEC_LEVEL_AUTHNOPRIV
                                                                      : SNMP_SEC_LEVEL_NOAUTH;
        session.securityName = const_cast<char*>(settings.user.c_str());
        session.securityNameLen = settings.user.size();
        session.securityEngineID = bytes(settings.engineId);
        session.securityEngineIDLen = settings.engineId.size();
        session.contextEngineID = session.securityEngineID;
        session.contextEngineIDLen = session.securityEngineIDLen;
        if (authLength != 0) {
            const auto protocol = authProtocol(settings.authProtocol);
            session.securityAuthProto = protocol.data();
            session.securityAuthProtoLen = protocol.size();
            std::copy(auth.begin(), auth.end(), session.securityAuthKey);
            session.securityAuthKeyLen = authLength;
        }
        if (privLength != 0) {
            const auto protocol = privProtocol(settings.privProtocol);
            session.securityPrivProto = protocol.data();
            session.securityPrivProtoLen = protocol.size();
            std::copy(priv.begin(), priv.end(), session.securityPrivKey);
            session.securityPrivKeyLen = privLength;
        }
        constexpr unsigned kSecondsBits = 31; // of a start, by the protocol
        const auto now = static_cast<std::uint64_t>(std::time(nullptr));
        session.engineBoots = static_cast<u_int>(1 + (now >> kSecondsBits));
        session.engineTime = static_cast<u_int>(now & ((std::uint64_t{1} << kSecondsBits) - 1));
    }
};

TrapSender::TrapSender(SnmpSettings settings) : settings_(std::move(settings)) {}

TrapSender::~TrapSender() = default;

std::size_t TrapSender::mostText(const Trap& trap) const {
    constexpr std::size_t kMostOfNumber = 5; // encoded
    const std::size_t identifiers = 2 * kMostOfNumber * settings_.enterprise.size();
    const std::size_t who = settings_.version == Version::V3 ? kAroundVersion3 : trap.community.size();
    return kMostDatagram - kAround - identifiers - who;
}

int TrapSender::send(const Trap& trap, const HostAddress& receiver, std::uint16_t port) {
    constexpr std::uint32_t kMostSpecific = 0x7FFFFFFF; // an INTEGER of version 1
    const bool version3 = settings_.version == Version::V3;
    if ((settings_.version == Version::V1 && trap.type > kMostSpecific) ||
        (version3 && settings_.user.empty())) {
        return kErrorInvalidArgument;
    }
    const std::scoped_lock lock(libraryMutex());
    if (!startLibrary()) {
        return kErrorNotSupported;
    }
    if (version3 && keys_ == nullptr) {
        keys_ = Keys::of(settings_);
        if (keys_ == nullptr) {
            return kErrorInvalidArgument;
        }
    }
    Pdu pdu = settings_.version == Version::V1 ? makeVersion1(settings_, trap, receiver, port)
                                               : makeVersion2(settings_, trap);
    const std::string text = trapText(trap.text, mostText(trap));
    if (pdu == nullptr ||
        !addVariable(*pdu, below(settings_.enterprise, {1, 1, 0}), ASN_OCTET_STR, text.data(), text.size())) {
        return kErrorNoMemory;
    }
    const std::string host = receiver.ipv6 ? "udp6:[" + receiver.text + "]" : "udp:" + receiver.text;
    const Session session(open(trap, host + ":" + std::to_string(port)));
    if (session == nullptr || snmpLibrary()->sessSend(session.get(), pdu.get()) == 0) {
        return kErrorInputOutput;
    }
    static_cast<void>(pdu.release()); // Net-SNMP has freed it
    return kErrorNone;
}

void* TrapSender::open(const Trap& trap, const std::string& peer) const {
    netsnmp_session wanted;
    snmpLibrary()->sessInit(&wanted);
    wanted.peername = const_cast<char*>(peer.c_str());
    wanted.retries = 0;
    wanted.flags |= SNMP_FLAGS_DONT_PROBE;
    switch (settings_.version) {
        case Version::V1:
            wanted.version = SNMP_VERSION_1;
            break;
        case Version::V2c:
            wanted.version = SNMP_VERSION_2c;
            break;
        case Version::V3:
            wanted.version = SNMP_VERSION_3;
            keys_->putInto(wanted, settings_);
            return snmpLibrary()->sessOpen(&wanted);
    }
    wanted.community = bytes(trap.community);
    wanted.community_len = trap.community.size();
    return snmpLibrary()->sessOpen(&wanted);
}

} // namespace quzo::platform
