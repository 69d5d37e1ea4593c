// Messages in GMime, for what is compared with it: owners of its objects, reading from memory, writing to
// memory.
#pragma once

#include <gmime/gmime.h>

#include <memory>
#include <string>
#include <string_view>

#include "bench/memory_job.h"

namespace quzo::bench {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using GObjectOwner = std::unique_ptr<T, Unref>;

// Null when GMime finds no message. It may refer to `bytes`, which outlive it.
inline GObjectOwner<GMimeMessage> gmimeMessage(const std::string& bytes) {
    const GObjectOwner<GMimeStream> in(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
    const GObjectOwner<GMimeParser> parser(g_mime_parser_new_with_stream(in.get()));
    return GObjectOwner<GMimeMessage>(g_mime_parser_construct_message(parser.get(), nullptr));
}

inline void gmimeWrite(GMimeMessage& message, const Job::Result& result) {
    const GObjectOwner<GMimeStream> out(g_mime_stream_mem_new());
    g_mime_object_write_to_stream(GMIME_OBJECT(&message), nullptr, out.get());
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(out.get()));
    result({reinterpret_cast<const char*>(bytes->data), bytes->len});
}

} // namespace quzo::bench
