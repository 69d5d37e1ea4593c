// Stamps and strips a hostile message: what comes out can be read, the stamp is in it, and a stamp that was
// refused has changed nothing.
//
// The first byte of an input chooses position, charset and what is done; the rest is the message.
#include <list>
#include <string>

#include "fuzz_input.h"
#include "platform/message/mail_message.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"
#include "quzo/core/msgu.h"

namespace {

using quzo::platform::EntityReader;
using quzo::platform::MailMessage;

constexpr const char* kCharsets[] = {nullptr, "utf-8", "iso-8859-1", "iso-2022-jp"};
constexpr std::size_t kMaxText = 1U << 20U;

std::string written(const MailMessage& message) {
    std::string bytes;
    message.write([&bytes](std::string_view piece) {
        bytes += piece;
        return true;
    });
    return bytes;
}

bool showsStamp(MailMessage& message, const std::string& word) {
    for (quzo::KvMsgEntity* entity = message.getRootEntity(); entity != nullptr; entity = entity->getNext()) {
        for (const std::string& text : EntityReader::texts(*entity, kMaxText)) {
            if (text.find(word) != std::string::npos) {
                return true;
            }
        }
    }
    return false;
}

void strip(MailMessage& message) {
    std::list<quzo::KvMsgEntity*> files;
    for (quzo::KvMsgEntity* entity = message.getRootEntity(); entity != nullptr; entity = entity->getNext()) {
        if (entity->getFileInfo() != nullptr) {
            files.push_back(entity);
        }
    }
    for (quzo::KvMsgEntity* entity : files) {
        if (!quzo::msgu::existEntity(&message, entity)) {
            continue;
        }
        const bool gone = quzo::msgu::removeEntityAndDummyParent(entity, "");
        // A root, of the message or of one attached to it, stays and is emptied.
        quzo::fuzz::require(
            !gone || !quzo::msgu::existEntity(&message, entity) || entity->getFileInfo() == nullptr,
            "a removed file is there");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const unsigned choice = data[0];
    const auto message =
        MailMessage::parse(std::string(quzo::fuzz::textOf(data + 1, size - 1)), quzo::platform::Limits());
    if ((choice & 8U) != 0) {
        message->setRemovalNote("%NAME% was here");
    }
    if ((choice & 4U) != 0) {
        strip(*message);
    }
    const std::string before = written(*message);
    const std::string word = "StampWord"; // the rest may be references in HTML
    const std::string stamp = word + " \u00FC\u3042";
    const quzo::LocatorHandle locator(
        quzo::KvMsg_CreateResourceLocator(stamp.data(), 1, stamp.size(), stamp.size(), 1));
    const int error = message->insertStamp(1 + static_cast<int>(choice & 1U), locator.get(), 20, "utf-8",
                                           kCharsets[(choice >> 4U) & 3U]);
    const std::string after = written(*message);
    quzo::fuzz::require(message->size() == after.size(), "the size is not that of what is written");
    if (error != quzo::kErrorNone) {
        quzo::fuzz::require(after == before, "a refused stamp changed the message");
        return 0;
    }
    const auto again = MailMessage::parse(after, quzo::platform::Limits());
    quzo::fuzz::require(again->limited() || showsStamp(*again, word), "the stamp is not there");
    return 0;
}
