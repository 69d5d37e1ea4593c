// As its manual has it: text parts are read and stored by their own operations, which know charsets and
// transfer encodings. It recurses, as GMime's own operations do on the same messages. See gmime_edits.h.
#include "bench/gmime_edits.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "bench/gmime_message.h"

namespace quzo::bench {
namespace {

struct Free {
    void operator()(char* text) const { g_free(text); }
};
using Text = std::unique_ptr<char, Free>;

bool isType(GMimeObject* object, const char* type, const char* subtype) {
    GMimeContentType* own = g_mime_object_get_content_type(object);
    return own != nullptr && g_mime_content_type_is_type(own, type, subtype);
}

bool isMarkedAttachment(GMimeObject* object) {
    const char* disposition = g_mime_object_get_disposition(object);
    return disposition != nullptr && strcasecmp(disposition, "attachment") == 0;
}

bool isAttachment(GMimeObject* object) {
    return isMarkedAttachment(object) || GMIME_IS_MESSAGE_PART(object) ||
           (GMIME_IS_PART(object) && g_mime_part_get_filename(GMIME_PART(object)) != nullptr);
}

bool isProtected(GMimeObject* object) {
    constexpr std::array kTypes = {"pkcs7-mime", "x-pkcs7-mime", "ms-tnef", "vnd.ms-tnef"};
    if (GMIME_IS_MULTIPART_SIGNED(object) || GMIME_IS_MULTIPART_ENCRYPTED(object)) {
        return true;
    }
    if (GMIME_IS_MULTIPART(object)) {
        GMimeMultipart* multipart = GMIME_MULTIPART(object);
        for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
            if (isProtected(g_mime_multipart_get_part(multipart, i))) {
                return true;
            }
        }
        return false;
    }
    return std::any_of(kTypes.begin(), kTypes.end(),
                       [object](const char* one) { return isType(object, "application", one); });
}

bool hasArmour(std::string_view bytes) {
    constexpr std::array<std::string_view, 2> kMarks = {"\n-----BEGIN PGP MESSAGE",
                                                        "\n-----BEGIN PGP SIGNED MESSAGE"};
    return std::any_of(kMarks.begin(), kMarks.end(), [bytes](std::string_view mark) {
        return memmem(bytes.data(), bytes.size(), mark.data(), mark.size()) != nullptr;
    });
}

// Adds the text parts of the body: every alternative, of a related part the root, else the first that has
// some.
void findBodies(GMimeObject* object, std::vector<GMimeTextPart*>& found) {
    if (!GMIME_IS_MULTIPART(object)) {
        if (GMIME_IS_TEXT_PART(object) &&
            (isType(object, "text", "plain") || isType(object, "text", "html"))) {
            found.push_back(GMIME_TEXT_PART(object));
        }
        return;
    }
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    const bool alternative = isType(object, "multipart", "alternative");
    const bool related = isType(object, "multipart", "related");
    const std::size_t before = found.size();
    const int count = g_mime_multipart_get_count(multipart);
    for (int i = 0; i < (related ? std::min(count, 1) : count); ++i) {
        GMimeObject* part = g_mime_multipart_get_part(multipart, i);
        if (!isMarkedAttachment(part) && (alternative || found.size() == before)) {
            findBodies(part, found);
        }
    }
}

// In front of the last end tag of the body, or of the document; else at the end.
std::size_t placeInHtml(const std::string& html) {
    for (const char* tag : {"</body>", "</html>"}) {
        const std::size_t length = std::strlen(tag);
        for (std::size_t at = html.rfind("</"); at != std::string::npos; at = html.rfind("</", at - 1)) {
            if (strncasecmp(html.c_str() + at, tag, length) == 0) {
                return at;
            }
            if (at == 0) {
                break;
            }
        }
    }
    return html.size();
}

void removeAttachments(GMimeObject* object) {
    if (!GMIME_IS_MULTIPART(object) || GMIME_IS_MULTIPART_ENCRYPTED(object)) {
        return;
    }
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    for (int i = g_mime_multipart_get_count(multipart) - 1; i >= 0; --i) {
        GMimeObject* part = g_mime_multipart_get_part(multipart, i);
        if (isAttachment(part)) {
            const GObjectOwner<GMimeObject> removed(g_mime_multipart_remove_at(multipart, i));
        } else {
            removeAttachments(part);
        }
    }
}

} // namespace

void GMimeStamp::putInto(GMimeTextPart& part) const {
    const Text old(g_mime_text_part_get_text(&part));
    if (old == nullptr) {
        return;
    }
    std::string text(old.get());
    if (isType(GMIME_OBJECT(&part), "text", "html")) {
        text.insert(placeInHtml(text), html_);
    } else {
        text.append(text.empty() || text.back() == '\n' ? "" : "\n").append(text_);
    }
    const GMimeContentEncoding encoding = g_mime_part_get_content_encoding(GMIME_PART(&part));
    g_mime_text_part_set_text(&part, text.c_str());
    if (encoding != GMIME_CONTENT_ENCODING_BASE64 && encoding != GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE) {
        const GMimeContentEncoding best =
            g_mime_part_get_best_content_encoding(GMIME_PART(&part), GMIME_ENCODING_CONSTRAINT_8BIT);
        g_mime_part_set_content_encoding(GMIME_PART(&part), best);
    }
}

void GMimeStamp::stamp(GMimeMessage& message, const std::string& bytes) const {
    g_mime_object_append_header(GMIME_OBJECT(&message), "X-Scanned", "yes", nullptr);
    GMimeObject* body = g_mime_message_get_mime_part(&message);
    if (body == nullptr || isProtected(body) || hasArmour(bytes)) {
        return;
    }
    const char* subject = g_mime_message_get_subject(&message);
    const std::string tagged = std::string("[checked] ") + (subject == nullptr ? "" : subject);
    g_mime_message_set_subject(&message, tagged.c_str(), "utf-8");
    std::vector<GMimeTextPart*> bodies;
    findBodies(body, bodies);
    for (GMimeTextPart* part : bodies) {
        putInto(*part);
    }
}

void GMimeStamp::run(const std::string& bytes, const Result& result) {
    if (const GObjectOwner<GMimeMessage> message = gmimeMessage(bytes)) {
        stamp(*message, bytes);
        gmimeWrite(*message, result);
    } else {
        result(bytes);
    }
}

void GMimeStrip::run(const std::string& bytes, const Result& result) {
    if (const GObjectOwner<GMimeMessage> message = gmimeMessage(bytes)) {
        if (GMimeObject* body = g_mime_message_get_mime_part(message.get())) {
            removeAttachments(body);
        }
        gmimeWrite(*message, result);
    } else {
        result(bytes);
    }
}

} // namespace quzo::bench
