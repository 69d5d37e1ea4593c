// The structure scan, protection, edits of the tree, and addresses.
#include "platform/message/mail_message.h"
#include "platform/message/protection.h"
#include "platform/message/structure/structure.h"
#include "platform/message/values/address_list.h"
#include "platform/message/values/mailbox.h"
#include "quzo/core/msgu.h"
#include "tests/growth/probe.h"

namespace quzo::test {
namespace {

using namespace platform;

constexpr Limits kNoLimits{0, 0, 0, 0, 0};

bool scans(const std::string& text) {
    return scanStructure(text, scanHeader(text, 0, text.size(), kNoLimits), kNoLimits).entities.size() > 1;
}

std::string boundariesAmongOpenOnes(std::size_t count) {
    const std::size_t levels = count / 4;
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) {
        text += "Content-Type: multipart/mixed; boundary=b" + std::to_string(i) + "\n\n--b" +
                std::to_string(i) + "\n";
    }
    std::size_t level = 0;
    for (std::size_t i = 0; i < count; ++i) {
        text += "--b" + std::to_string(level) + "x\n";
        level = level + 1 < levels ? level + 1 : 0;
    }
    return text + "--b0--\n";
}

std::string oneBoundaryOnManyLevels(std::size_t count) {
    return repeated("Content-Type: multipart/mixed; boundary=a\n\n--a\n", count) + "\nbody\n" +
           repeated("--a--\n", count);
}

std::string digestWithALargeHeader(std::size_t count) {
    return repeated("Content-Type: text/plain\n", count / 10) +
           "Content-Type: multipart/digest; boundary=a\n\n" +
           repeated("--a\nContent-Type: text/plain\n\nx\n", count);
}

std::string longLinesAndManyFields(std::size_t count) {
    return repeated("A:\n", count) +
           "Content-Type: multipart/mixed; boundary=" + std::string(5 * count, '-') + "\n" +
           repeated("-- junk\n", count) + "\n" + std::string(100 * count, '-') + "\n--" +
           std::string(100 * count, ' ') + "\n--" + std::string(5 * count, '-') + "\n" +
           std::string(100 * count, '\r') + "x\n\nbody";
}

std::string manyParts(std::size_t count) {
    return "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nbody\n" +
           repeated("--b\nContent-Type: a/b; name=c.exe\n\nx\n", count) + "--b--\n";
}

// Each part is looked at as whoever removes attachments does.
bool removesParts(const std::string& text) {
    const auto message = MailMessage::parse(text, kNoLimits);
    std::vector<KvMsgEntity*> parts;
    for (KvMsgEntity* part = message->getRootEntity()->getNext(); part != nullptr; part = part->getNext()) {
        parts.push_back(part);
    }
    bool removed = true;
    for (KvMsgEntity* part : parts) {
        const bool goes = msgu::existEntity(message.get(), part) && !msgu::isBody(message.get(), part);
        removed = removed && (!goes || msgu::removeEntityAndDummyParent(part, ""));
    }
    return removed && message->size() < text.size() / 2 + 200;
}

bool insertsParts(const std::string& text) {
    const auto message = MailMessage::parse(text, kNoLimits);
    const auto other = MailMessage::parse("A: 1\n\nx\n", kNoLimits);
    bool inserted = true;
    for (std::size_t i = 0; i < text.size() / 80; ++i) {
        inserted = inserted && message->getRootEntity()->insertChildEntity(other->getRootEntity(),
                                                                           i % 2 == 0 ? -1 : 0) == 0;
    }
    return inserted && message->size() > text.size();
}

} // namespace

std::vector<Probe> messageProbes() {
    std::vector<Probe> probes = {
        {"boundary lines among open boundaries", 4000, boundariesAmongOpenOnes, scans},
        {"one boundary on many levels", 2000, oneBoundaryOnManyLevels, scans},
        {"a digest with a large header", 3000, digestWithALargeHeader, scans},
        {"long lines and many fields", 5000, longLinesAndManyFields, scans},
        {"removing all parts", 1000, manyParts, removesParts},
        {"inserting many parts", 1000, manyParts, insertsParts},
        {"many types and encodings", 2000,
         [](std::size_t count) {
             return repeated("Content-Type: application/pkcs7-mime\nContent-Transfer-Encoding: base64\n",
                             count) +
                    "\nbody";
         },
         [](const std::string& text) {
             return findRootProtection(text, scanHeader(text, 0, text.size(), kNoLimits))
                 .isSigned.has_value();
         }},
    };
    for (const char* piece :
         {"a:", "a ,", "(", "<", "\"", "\\", "[", "a@x,", "a:;", "<@a,@b:", "=?utf-8?q?a?= ", "\xC3"}) {
        const auto text = [piece](std::size_t count) { return repeated(piece, count) + " <a@x>"; };
        probes.push_back({std::string("a mailbox of ") + piece, 20000, text, [](const std::string& input) {
                              Mailbox mailbox;
                              parseMailbox(input, mailbox);
                              return true;
                          }});
    }
    for (const char* piece :
         {"a:", "a ,", "(", "<", "\"", "\\", "[", "\xC3\xBC:", "\xC3\xBC,", "\xC3\xBC <a@x>;", "\xC3\xBC,;",
          "\xC3\xBC:;", "\xC3\xBC ", "<@a,@b:", "=?utf-8?q?a?= "}) {
        const auto text = [piece](std::size_t count) { return repeated(piece, count) + " \xC3\xBC"; };
        probes.push_back({std::string("a list of ") + piece, 3000, text, [](const std::string& list) {
                              std::string written;
                              return writtenAddressList(list, nullptr, 4, "\r\n", written) == 0;
                          }});
    }
    return probes;
}

} // namespace quzo::test
