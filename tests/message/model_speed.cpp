// How fast the message model is beside GMime, over the corpus, in memory, in one process: medians of
// alternating runs. Not a test; build the target model_speed with optimisation and run it.
#include <gmime/gmime.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <numeric>

#include "messages.h"
#include "quzo/core/text.h"

namespace quzo::platform::test {
namespace {

using Job = std::function<std::size_t(const std::string& bytes)>;

std::size_t throughGMime(const std::string& bytes) {
    GMimeStream* in = g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size());
    GMimeParser* parser = g_mime_parser_new_with_stream(in);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    std::size_t size = 0;
    if (message != nullptr) {
        GMimeStream* out = g_mime_stream_mem_new();
        size = static_cast<std::size_t>(g_mime_object_write_to_stream(GMIME_OBJECT(message), nullptr, out));
        g_object_unref(out);
        g_object_unref(message);
    }
    g_object_unref(parser);
    g_object_unref(in);
    return size;
}

std::size_t gmimeHeaders(const std::string& bytes) {
    GMimeStream* in = g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size());
    GMimeParser* parser = g_mime_parser_new_with_stream(in);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    std::size_t size = 0;
    if (message != nullptr) {
        const char* subject = g_mime_message_get_subject(message);
        size = subject == nullptr ? 0 : std::string_view(subject).size();
        g_object_unref(message);
    }
    g_object_unref(parser);
    g_object_unref(in);
    return size;
}

// The steps of a subject tag: protection, charset, every field's name, value, conversion there and back.
void tag(MailMessage& message) {
    KvMsgEntity& root = *message.getRootEntity();
    const bool isProtected = message.isEncrypted() || message.isSigned();
    const char* charset = msgu::getCharset(&message);
    const char* target = charset == nullptr ? "utf-8" : charset;
    for (int i = 0; !isProtected && root.hasError() == 0 && i < root.getHeaderFieldCount(); ++i) {
        const KvMsgHeaderField* field = root.getHeaderField(i, true);
        if (platform_icasencmp(field->getName(), "subject", 8) != 0) {
            continue;
        }
        const char* fieldCharset = nullptr;
        const char* value = field->getValue(&fieldCharset);
        const char* from = fieldCharset == nullptr ? target : fieldCharset;
        char utf8[2049] = "[checked] ";
        std::size_t length = 2038;
        char encoded[2049] = {};
        std::size_t encodedLength = 2048;
        if (KvMsg_CharsetConverterString(value, from, utf8 + 10, "utf-8", &length, 1, '?') == 0 &&
            KvMsg_CharsetConverterString(utf8, "utf-8", encoded, from, &encodedLength, 0, '?') == 0) {
            root.getHeaderField(i, false)->setValue(encoded, from);
        }
    }
}

std::size_t writeOut(const MailMessage& message) {
    std::string out;
    out.reserve(message.size());
    message.write([&out](std::string_view piece) {
        out.append(piece);
        return true;
    });
    return out.size();
}

std::size_t tagAndHeader(const std::string& bytes) {
    const auto message = parsed(bytes);
    tag(*message);
    msgu::setHeader(message->getRootEntity(), "X-Scanned", "yes", nullptr);
    return writeOut(*message);
}

std::size_t headerOnly(const std::string& bytes) {
    const auto message = parsed(bytes);
    std::string value;
    for (const char* name : {"Subject", "From", "X-Spam-Flag"}) {
        msgu::getHeader(message->getRootEntity(), name, value);
    }
    return writeOut(*message);
}

std::size_t passThrough(const std::string& bytes) { return writeOut(*parsed(bytes)); }

std::size_t wholeTree(const std::string& bytes) {
    const auto message = parsed(bytes);
    std::size_t entities = 0;
    for (KvMsgEntity* one = message->getRootEntity(); one != nullptr; one = one->getNext()) {
        ++entities;
    }
    return entities;
}

int measure() {
    const std::vector<std::string> messages = corpusMessages();
    if (messages.empty()) {
        std::printf("no corpus\n");
        return 1;
    }
    struct Row {
        const char* name;
        Job job;
        std::vector<double> perSecond;
    };
    Row rows[] = {
        {"GMime: parse, write", throughGMime, {}}, {"GMime: parse, subject", gmimeHeaders, {}},
        {"parse, write", passThrough, {}},         {"parse, three fields, write", headerOnly, {}},
        {"parse, whole tree", wholeTree, {}},      {"parse, tag, X-header, write", tagAndHeader, {}}};
    std::size_t total = 0;
    for (int run = 0; run < 21; ++run) {
        for (Row& row : rows) {
            const auto begin = std::chrono::steady_clock::now();
            for (const std::string& bytes : messages) {
                total += row.job(bytes);
            }
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
            row.perSecond.push_back(static_cast<double>(messages.size()) / took.count());
        }
    }
    double base = 0;
    for (Row& row : rows) {
        std::nth_element(row.perSecond.begin(), row.perSecond.begin() + 10, row.perSecond.end());
        base = base == 0 ? row.perSecond[10] : base;
        std::printf("%-30s %9.0f messages/s  x%.1f\n", row.name, row.perSecond[10], row.perSecond[10] / base);
    }
    std::printf("(%zu messages, 21 runs, checksum %zu)\n", messages.size(), total);
    return 0;
}

} // namespace
} // namespace quzo::platform::test

int main() {
    g_mime_init();
    return quzo::platform::test::measure();
}
