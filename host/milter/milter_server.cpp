// See milter_server.h. Everything of libmilter is in this file: its functions take char* that they do not
// write to, and no exception may pass through them.
#include "host/milter/milter_server.h"

#include <arpa/inet.h>
#include <libmilter/mfapi.h>
#include <sys/resource.h>

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "host/base/exit_code.h"

namespace quzo::host {
namespace {

const MilterContext* theContext = nullptr; // set before the first connection
std::atomic<int> live{0};

char* mutableText(const std::string& text) { return const_cast<char*>(text.c_str()); }
char* mutableText(const char* text) { return const_cast<char*>(text); }

class ContextEditor final : public MailEditor {
public:
    explicit ContextEditor(SMFICTX* context) : context_(context) {}

    bool editHeader(const HeaderEdit& edit) override {
        char* name = mutableText(edit.field->name);
        char* value = mutableText(edit.field->value);
        const int place = static_cast<int>(edit.place);
        switch (edit.kind) {
            case HeaderEdit::Kind::Insert:
                // Servers count the field that they have put in front themselves.
                return ::smfi_insheader(context_, place + 1, name, value) == MI_SUCCESS;
            case HeaderEdit::Kind::Append:
                return ::smfi_addheader(context_, name, value) == MI_SUCCESS;
            case HeaderEdit::Kind::Change:
                return ::smfi_chgheader(context_, name, place, value) == MI_SUCCESS;
            case HeaderEdit::Kind::Remove:
                return ::smfi_chgheader(context_, name, place, nullptr) == MI_SUCCESS;
        }
        return false;
    }

    bool replaceBody(std::string_view piece) override {
        auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(piece.data()));
        return ::smfi_replacebody(context_, bytes, static_cast<int>(piece.size())) == MI_SUCCESS;
    }

    bool changeSender(const std::string& address) override {
        return ::smfi_chgfrom(context_, mutableText("<" + address + ">"), nullptr) == MI_SUCCESS;
    }
    bool addRecipient(const std::string& address) override {
        return ::smfi_addrcpt(context_, mutableText("<" + address + ">")) == MI_SUCCESS;
    }
    bool removeRecipient(const std::string& received) override {
        return ::smfi_delrcpt(context_, mutableText(received)) == MI_SUCCESS;
    }

private:
    SMFICTX* context_;
};

MilterSession* sessionOf(SMFICTX* context) { return static_cast<MilterSession*>(::smfi_getpriv(context)); }

std::string macroOf(SMFICTX* context, const char* name) {
    const char* value = ::smfi_getsymval(context, mutableText(name));
    return value != nullptr ? value : "";
}

sfsistat answer(SMFICTX* context, const MilterVerdict& verdict) {
    switch (verdict.kind) {
        case MilterVerdict::Kind::GoOn:
            return SMFIS_CONTINUE;
        case MilterVerdict::Kind::Accept:
            return SMFIS_ACCEPT;
        case MilterVerdict::Kind::Discard:
            return SMFIS_DISCARD;
        case MilterVerdict::Kind::Later:
        case MilterVerdict::Kind::Refuse:
            break;
    }
    ::smfi_setreply(context, mutableText(verdict.code), mutableText(verdict.status),
                    verdict.text.empty() ? nullptr : mutableText(verdict.text)); // else the server's own text
    return verdict.kind == MilterVerdict::Kind::Later ? SMFIS_TEMPFAIL : SMFIS_REJECT;
}

// Runs a step of the connection's session; a connection without one is refused for now.
template <typename Work>
sfsistat step(SMFICTX* context, Work&& work) noexcept {
    MilterSession* session = sessionOf(context);
    return session != nullptr ? answer(context, work(*session)) : SMFIS_TEMPFAIL;
}

// For steps after which servers wait for no answer; those that do get one all the same. libmilter logs each
// other value that it is given there.
sfsistat unlessFine(sfsistat result) { return result == SMFIS_CONTINUE ? SMFIS_NOREPLY : result; }

sfsistat onNegotiate(SMFICTX* /*context*/, unsigned long actions, unsigned long steps, unsigned long /*f2*/,
                     unsigned long /*f3*/, unsigned long* wantedActions, unsigned long* wantedSteps,
                     unsigned long* wanted2, unsigned long* wanted3) {
    constexpr unsigned long kActions =
        SMFIF_ADDHDRS | SMFIF_CHGHDRS | SMFIF_CHGBODY | SMFIF_ADDRCPT | SMFIF_DELRCPT | SMFIF_CHGFROM;
    if ((actions & kActions) != kActions || (steps & SMFIP_HDR_LEADSPC) == 0) {
        return SMFIS_REJECT; // a server that cannot do what a policy may ask for
    }
    *wantedActions = kActions;
    *wantedSteps = steps & (SMFIP_HDR_LEADSPC | SMFIP_NOHELO | SMFIP_NOUNKNOWN | SMFIP_NODATA | SMFIP_NR_HDR |
                            SMFIP_NOEOH | SMFIP_NR_CONN | SMFIP_NR_BODY | SMFIP_NR_MAIL | SMFIP_NR_RCPT);
    *wanted2 = 0;
    *wanted3 = 0;
    return SMFIS_CONTINUE;
}

std::string addressText(const _SOCK_ADDR* address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address != nullptr && address->sa_family == AF_INET) {
        ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
    } else if (address != nullptr && address->sa_family == AF_INET6) {
        ::inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, sizeof text);
    }
    return text;
}

sfsistat onConnect(SMFICTX* context, char* /*name*/, _SOCK_ADDR* address) noexcept {
    try {
        auto session = std::make_unique<MilterSession>(*theContext);
        session->connected(addressText(address));
        if (::smfi_setpriv(context, session.get()) != MI_SUCCESS) {
            return SMFIS_TEMPFAIL;
        }
        static_cast<void>(session.release()); // onClose() has it
        ++live;
        return SMFIS_NOREPLY;
    } catch (const std::exception&) {
        return SMFIS_TEMPFAIL;
    }
}

sfsistat onSender(SMFICTX* context, char** arguments) noexcept {
    return unlessFine(step(context, [&](MilterSession& session) -> MilterVerdict {
        try {
            std::vector<std::string_view> parameters;
            for (char** each = arguments + 1; *each != nullptr; ++each) {
                parameters.emplace_back(*each);
            }
            return session.sender(arguments[0], parameters);
        } catch (const std::exception&) {
            return {MilterVerdict::Kind::Later, "451", "4.3.0"};
        }
    }));
}

sfsistat onRecipient(SMFICTX* context, char** arguments) noexcept {
    return unlessFine(step(context, [&](MilterSession& session) { return session.recipient(arguments[0]); }));
}

sfsistat onField(SMFICTX* context, char* name, char* value) noexcept {
    return unlessFine(step(context, [&](MilterSession& session) { return session.field(name, value); }));
}

sfsistat onBody(SMFICTX* context, unsigned char* piece, std::size_t size) noexcept {
    return unlessFine(step(context, [&](MilterSession& session) {
        return session.body({reinterpret_cast<const char*>(piece), size});
    }));
}

sfsistat onEndOfMessage(SMFICTX* context) noexcept {
    return step(context, [&](MilterSession& session) -> MilterVerdict {
        try {
            ContextEditor editor(context);
            return session.endOfMessage(editor, {macroOf(context, "i"), macroOf(context, "{daemon_name}")});
        } catch (const std::exception&) {
            return {MilterVerdict::Kind::Later, "451", "4.3.0"};
        }
    });
}

sfsistat onAbort(SMFICTX* context) noexcept {
    if (MilterSession* session = sessionOf(context); session != nullptr) {
        session->abort();
    }
    return SMFIS_CONTINUE;
}

sfsistat onClose(SMFICTX* context) noexcept {
    const std::unique_ptr<MilterSession> session(sessionOf(context));
    ::smfi_setpriv(context, nullptr);
    live -= session != nullptr ? 1 : 0;
    return SMFIS_CONTINUE;
}

// A descriptor for each connection, and a server has as many connections as clients: as many as are allowed.
void allowDescriptors() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

std::string connectionOf(const platform::MilterSocket& socket) {
    if (socket.family == platform::MilterSocket::Family::Unix) {
        return "unix:" + socket.place;
    }
    const bool v6 = socket.family == platform::MilterSocket::Family::Inet6;
    return (v6 ? "inet6:" : "inet:") + std::to_string(socket.port) + "@" + socket.place;
}

} // namespace

MilterServer::MilterServer(const platform::MilterSocket& socket, const MilterContext& context)
    : socket_(connectionOf(socket)) {
    theContext = &context;
}

MaybeFault MilterServer::open() {
    allowDescriptors();
    smfiDesc description{};
    description.xxfi_name = mutableText("quzo");
    description.xxfi_version = SMFI_VERSION;
    description.xxfi_flags =
        SMFIF_ADDHDRS | SMFIF_CHGHDRS | SMFIF_CHGBODY | SMFIF_ADDRCPT | SMFIF_DELRCPT | SMFIF_CHGFROM;
    description.xxfi_connect = onConnect;
    description.xxfi_envfrom = onSender;
    description.xxfi_envrcpt = onRecipient;
    description.xxfi_header = onField;
    description.xxfi_body = onBody;
    description.xxfi_eom = onEndOfMessage;
    description.xxfi_abort = onAbort;
    description.xxfi_close = onClose;
    description.xxfi_negotiate = onNegotiate;
    if (::smfi_setconn(mutableText(socket_)) != MI_SUCCESS || ::smfi_register(description) != MI_SUCCESS ||
        ::smfi_opensocket(1) != MI_SUCCESS) {
        return Fault{kExitCannotCreate, socket_, "the socket cannot be opened",
                     "see to socket in [milter], its folder, and that no other milter has it"};
    }
    return std::nullopt;
}

MaybeFault MilterServer::run() {
    if (::smfi_main() != MI_SUCCESS) {
        return Fault{kExitInputOutput, socket_, "serving it ended", "start it again"};
    }
    return std::nullopt;
}

void MilterServer::stop() { ::smfi_stop(); }

int MilterServer::connections() { return live.load(); }

} // namespace quzo::host
