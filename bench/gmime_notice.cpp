// As GMime's manual has it, and nothing is copied that need not be: streams read and write buffers that are
// there already. See gmime_notice.h.
#include "bench/gmime_notice.h"

#include <stdexcept>

namespace quzo::bench {
namespace {

struct UnrefDate {
    void operator()(GDateTime* date) const { g_date_time_unref(date); }
};

// A stream over the array, which stays the caller's.
GObjectOwner<GMimeStream> streamOver(GByteArray* array) {
    GObjectOwner<GMimeStream> stream(g_mime_stream_mem_new());
    g_mime_stream_mem_set_byte_array(GMIME_STREAM_MEM(stream.get()), array);
    return stream;
}

template <typename Part>
void setContent(Part* part, GByteArray* array) {
    const GObjectOwner<GMimeStream> stream = streamOver(array);
    const GObjectOwner<GMimeDataWrapper> content(
        g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
    g_mime_part_set_content(GMIME_PART(part), content.get());
}

} // namespace

GMimeNotice::Array GMimeNotice::arrayOf(const std::string& bytes) {
    Array array(g_byte_array_new());
    g_byte_array_append(array.get(), reinterpret_cast<const guint8*>(bytes.data()),
                        static_cast<guint>(bytes.size()));
    return array;
}

GMimeNotice::GMimeNotice(const Notice& notice, Attached way)
    : notice_(notice),
      way_(way),
      parsed_(gmimeMessage(notice.attached)),
      attached_(arrayOf(notice.attached)),
      text_(arrayOf(notice.text)),
      out_(g_byte_array_new()) {
    if (parsed_ == nullptr) {
        throw std::runtime_error("GMime does not read the message");
    }
}

GObjectOwner<GMimeMessage> GMimeNotice::makeHeader() const {
    GObjectOwner<GMimeMessage> mail(g_mime_message_new(FALSE));
    const std::string& sender = notice_.sender;
    g_mime_message_add_mailbox(mail.get(), GMIME_ADDRESS_TYPE_FROM, sender.c_str(), sender.c_str());
    g_mime_message_set_subject(mail.get(), notice_.subject.c_str(), "utf-8");
    const std::unique_ptr<GDateTime, UnrefDate> now(g_date_time_new_now_local());
    g_mime_message_set_date(mail.get(), now.get());
    for (const std::string& recipient : notice_.recipients) {
        g_mime_message_add_mailbox(mail.get(), GMIME_ADDRESS_TYPE_TO, nullptr, recipient.c_str());
    }
    g_mime_message_set_message_id(mail.get(), notice_.messageId.c_str());
    for (const auto& [name, value] : notice_.marks) {
        g_mime_object_append_header(GMIME_OBJECT(mail.get()), name.c_str(), value.c_str(), nullptr);
    }
    return mail;
}

// The operation that sets a text of its own would choose another charset.
GObjectOwner<GMimeObject> GMimeNotice::makeText() const {
    GMimeTextPart* part = g_mime_text_part_new_with_subtype("plain");
    g_mime_text_part_set_charset(part, "utf-8");
    setContent(part, text_.get());
    g_mime_part_set_content_encoding(GMIME_PART(part), GMIME_CONTENT_ENCODING_BASE64);
    return GObjectOwner<GMimeObject>(GMIME_OBJECT(part));
}

GObjectOwner<GMimeObject> GMimeNotice::makeAttached() const {
    if (way_ == Attached::Parsed) {
        GMimeMessagePart* part = g_mime_message_part_new_with_message("rfc822", parsed_.get());
        return GObjectOwner<GMimeObject>(GMIME_OBJECT(part));
    }
    GMimePart* part = g_mime_part_new_with_type("message", "rfc822");
    setContent(part, attached_.get());
    if (way_ == Attached::BinaryBytes) {
        g_mime_part_set_content_encoding(part, GMIME_CONTENT_ENCODING_BINARY);
    }
    return GObjectOwner<GMimeObject>(GMIME_OBJECT(part));
}

std::string_view GMimeNotice::compose() {
    const GObjectOwner<GMimeMessage> mail = makeHeader();
    const GObjectOwner<GMimeMultipart> parts(g_mime_multipart_new_with_subtype("mixed"));
    g_mime_multipart_add(parts.get(), makeText().get());
    g_mime_multipart_add(parts.get(), makeAttached().get());
    g_mime_message_set_mime_part(mail.get(), GMIME_OBJECT(parts.get()));
    g_byte_array_set_size(out_.get(), 0);
    const GObjectOwner<GMimeStream> out = streamOver(out_.get());
    g_mime_object_write_to_stream(GMIME_OBJECT(mail.get()), nullptr, out.get());
    return {reinterpret_cast<const char*>(out_->data), out_->len};
}

} // namespace quzo::bench
