// Tagging and X-header on a whole message: what comes out is read again with the same parts, which have the
// same bytes, the tag is in the subject that is read, and every byte outside the edited fields is where it
// was.
#include <strings.h>

#include <vector>

#include "fuzz_input.h"
#include "platform/charset/encoded_words.h"
#include "platform/message/mail_message.h"
#include "platform/message/structure/structure.h"
#include "quzo/actions/act_insert_xheader_tag.h"
#include "quzo/actions/act_tag_subject.h"
#include "quzo/core/adapter.h"
#include "quzo/core/handles.h"
#include "quzo/core/msgu.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::fuzz {
namespace {

using platform::MailMessage;

class NoObjects : public NamedObjMgrForScanner {
public:
    QuzoNamedObj* find(unsigned) const override { return nullptr; }
};

// Neither action asks it for anything.
class NoAdapter : public KvIsAdapter {
public:
    int deleteMessage(unsigned&, KvMsgMailMessage*) override { return called(); }
    int sendMessage(unsigned&, KvMsgMailMessage*, bool) override { return called(); }
    int submitForScan(unsigned&, KvMsgMailMessage*, int) override { return called(); }
    int sendComposed(unsigned&, KvMsgMailMessage*) override { return called(); }
    int postponeMessage(unsigned&, KvMsgMailMessage*, unsigned char, unsigned char, int, int) override {
        return called();
    }
    int handoffMessage(unsigned&, KvMsgMailMessage*, const char*, unsigned) override { return called(); }
    int quarantineMessage(int&, KvMsgMailMessage*, const char*, const char*, char*) override {
        return called();
    }
    int archiveMessage(int&, KvMsgMailMessage*, const char*, const char*, const char*) override {
        return called();
    }

private:
    static int called() { finding("the adapter was called"); }
};

template <typename Action>
bool take(const char* setting, MailMessage& message) {
    static const NoObjects objects;
    static NoAdapter adapter;
    Action action;
    require(action.construct(setting, static_cast<unsigned>(std::string_view(setting).size())),
            "bad setting");
    TokenMap<ScanToken> tokens;
    bool consumed = true;
    const bool done = action.takeAction(&message, &message, consumed, tokens, adapter, objects);
    require(!consumed, "the message is consumed");
    return done;
}

std::string written(const MailMessage& message) {
    std::string out;
    require(message.write([&](std::string_view piece) {
        out.append(piece);
        return true;
    }),
            "not written");
    require(out.size() == message.size(), "another size than announced");
    return out;
}

// The message without the root's fields that the actions may touch.
std::string untouched(std::string_view text) {
    const platform::HeaderSpan header = platform::scanHeader(text, 0, text.size(), {});
    std::string rest;
    std::size_t copied = 0;
    for (const platform::FieldSpan& field : header.fields) {
        const std::string name(platform::fieldName(text, field));
        if (strcasecmp(name.c_str(), "subject") == 0 || strcasecmp(name.c_str(), "x-fuzz") == 0) {
            rest.append(text.substr(copied, field.begin - copied));
            copied = field.end;
        }
    }
    return rest.append(text.substr(copied));
}

// Type, header fields (but for the root, which is edited) and body of each part.
std::string partsOf(std::string_view text) {
    const platform::Limits limits;
    const platform::Structure structure =
        platform::scanStructure(text, platform::scanHeader(text, 0, text.size(), limits), limits);
    std::string all;
    for (const platform::EntitySpan& part : structure.entities) {
        const bool root = &part == structure.entities.data();
        const std::size_t begin = root ? part.header.bodyBegin : part.header.begin;
        all += std::to_string(part.type) + " " + std::to_string(part.header.fields.size() * (root ? 0 : 1)) +
               " " + std::to_string(part.parent) + ":";
        all += text.substr(begin, part.bodyEnd - begin);
    }
    return all;
}

std::size_t entityCount(MailMessage& message) {
    std::size_t count = 0;
    for (KvMsgEntity* entity = message.getRootEntity(); entity != nullptr; entity = entity->getNext()) {
        ++count;
    }
    return count;
}

// A header block that ends without a line break gets one before what is added.
bool sameRest(const std::string& before, std::string after) {
    if (before == after) {
        return true;
    }
    return after.size() > before.size() && after.compare(0, before.size(), before) == 0 &&
           after.find_first_not_of("\r\n", before.size()) == std::string::npos;
}

} // namespace
} // namespace quzo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quzo;
    static const bool ready = [] {
        setenv("G_SLICE", "always-malloc", 1);
        ActionUtils::_build_token_string_table();
        return true;
    }();
    fuzz::require(ready, "start-up");
    static constexpr const char* kTags[] = {"T[tag] ", "F[tag] ", "T\xC3\xA9\xE3\x81\x82 ", "T[%SUBJECT%]"};
    const char* tag = kTags[size % 4];
    const std::string original(fuzz::textOf(data, size));
    const auto message = platform::MailMessage::parse(original, {});
    fuzz::require(fuzz::written(*message) == original, "changed without an edit");
    const std::size_t entities = fuzz::entityCount(*message);
    const std::string rest = fuzz::untouched(original);
    const std::string parts = fuzz::partsOf(original);

    std::string value;
    const bool hadSubject = msgu::getHeader(message->getRootEntity(), "Subject", value);
    fuzz::take<ActTagSubject>(tag, *message);
    const bool stamped = fuzz::take<ActInsertXHeaderTag>("X-Fuzz: yes", *message);
    const std::string result = fuzz::written(*message);
    fuzz::require(message->changed() || result == original, "changed, but says it is not");
    fuzz::require(fuzz::sameRest(rest, fuzz::untouched(result)), "bytes outside the edited fields differ");
    fuzz::require(result == original || fuzz::partsOf(result) == parts, "other parts than before");
    const auto again = platform::MailMessage::parse(result, {});
    fuzz::require(fuzz::entityCount(*again) == entities, "another number of parts than before");
    fuzz::require(!stamped || msgu::getHeader(again->getRootEntity(), "X-Fuzz", value),
                  "the X-header is not there");
    fuzz::require(!hadSubject || msgu::getHeader(again->getRootEntity(), "Subject", value),
                  "the subject is gone");
    return 0;
}
