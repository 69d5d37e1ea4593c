// Finding, adding and removing header fields of the mail being composed.
#include "quzo/notify/notification_header.h"

#include "quzo/core/handles.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/core/text.h"

namespace quzo {
namespace {

bool begins(const char* text, const char* beginning, unsigned length) {
    return text != nullptr && platform_icasencmp(text, beginning, length) == 0;
}

// The NUL is compared as well.
template <unsigned size>
bool is_named(const KvMsgHeaderField* field, const char (&name)[size]) {
    return field != nullptr && begins(field->getName(), name, size);
}

bool is_multipart(KvMsgEntity& entity, int count) {
    for (int i = 0; i < count; ++i) {
        const KvMsgHeaderField* field = entity.getHeaderField(i, true);
        if (is_named(field, "Content-Type") && begins(field->getValue(nullptr), "multipart", 9)) {
            return true;
        }
    }
    return false;
}

// The text inside of quotation marks.
std::string quotable(const char* text) {
    std::string out;
    for (; *text != '\0'; ++text) {
        if (*text == '"' || *text == '\\') {
            out += '\\';
        }
        out += *text;
    }
    return out;
}

std::string shown_name(const KvMsgAddress& sender, const std::string& charset) {
    const char* name = sender.getDisplayName();
    if (name != nullptr && *name != '\0') {
        int error = 0;
        if (const HeaderValueHandle encoded(msgu::genRfc2047(name, charset.c_str(), error));
            encoded != nullptr) {
            return encoded.get();
        }
    }
    return quotable(sender.getAddress());
}

} // namespace

KvMsgHeaderField* getOrCreateHeader(KvMsgEntity* entity, const char* name, bool forRead, bool& created) {
    if (KvMsgHeaderField* field = entity->getHeaderFieldByName(name, forRead); field != nullptr) {
        return field;
    }
    if (entity->addHeaderField(-1, name, "", nullptr) == nullptr) {
        ActionLog::L2("Failed to set header '%s'.", name);
        return nullptr;
    }
    created = true;
    KvMsgHeaderField* field = entity->getHeaderFieldByName(name, forRead);
    if (field == nullptr) {
        ActionLog::L2("Failed to get header '%s'.", name);
    }
    return field;
}

KvMsgHeaderField* _get_header(KvMsgEntity* entity, const char* name) {
    bool created = false;
    return getOrCreateHeader(entity, name, false, created);
}

bool _add_sender_into_header(KvMsgEntity* root, const KvMsgMailSessionInfo& session,
                             const std::string& charset, bool senderIsEmpty) {
    if (senderIsEmpty) {
        msgu::setHeader(root, "From", "", nullptr);
        return true;
    }
    KvMsgHeaderField* from = _get_header(root, "From");
    const KvMsgAddress* sender = session.getSender();
    if (from == nullptr || sender == nullptr || sender->getAddress() == nullptr) {
        return false;
    }
    std::string value;
    value.reserve(1024);
    value.append("\"").append(shown_name(*sender, charset)).append("\" ");
    value.append("<").append(sender->getAddress()).append(">");
    return from->setValue(value.c_str(), nullptr) == 0;
}

void _remove_content_transfer_encoding_for_multipart_email(KvMsgEntity* entity) {
    if (entity == nullptr) {
        return;
    }
    const int count = entity->getHeaderFieldCount();
    if (!is_multipart(*entity, count)) {
        return;
    }
    for (int i = 0; i < count; ++i) {
        if (is_named(entity->getHeaderField(i, true), "Content-Transfer-Encoding")) {
            entity->removeHeaderField(i);
            return;
        }
    }
}

} // namespace quzo
