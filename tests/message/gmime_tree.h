// What GMime sees in a message, flattened into the order of the structure scan.
#pragma once

#include <gmime/gmime.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quzo::platform::test {

struct GmimeField {
    std::size_t offset = 0;
    std::string name;
    std::string rawValue; // behind the colon, line break included, up to the first NUL
};

struct GmimeNode {
    enum class Kind { leaf, multipart, message };
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    Kind kind = Kind::leaf;
    std::size_t parent = kNone;
    std::string contentType; // of the node's own object
    std::string boundary;    // the parameter as GMime reads it
    std::vector<GmimeField> fields;
    std::optional<std::pair<std::size_t, std::size_t>> body; // of a leaf that has one
    std::string preamble;
    std::string epilogue;
};

struct GObjectUnref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using GObjectHandle = std::unique_ptr<Object, GObjectUnref>;

class GmimeTree {
public:
    // Parses a message with persistent stream. `message()` is false when GMime finds none.
    explicit GmimeTree(std::string_view text)
        : stream_(g_mime_stream_mem_new_with_buffer(text.data(), text.size())),
          parser_(g_mime_parser_new_with_stream(stream_.get())) {
        g_mime_parser_set_persist_stream(parser_.get(), TRUE);
        message_.reset(g_mime_parser_construct_message(parser_.get(), nullptr));
        if (message_) {
            walk();
        }
    }

    bool message() const { return message_ != nullptr; }
    const std::vector<GmimeNode>& nodes() const { return nodes_; }

private:
    struct Pending {
        GMimeObject* object; // a message or a part
        std::size_t parent;
    };

    void walk() {
        std::vector<Pending> pending{{GMIME_OBJECT(message_.get()), GmimeNode::kNone}};
        while (!pending.empty()) {
            const Pending next = pending.back();
            pending.pop_back();
            const std::size_t self = nodes_.size();
            nodes_.emplace_back().parent = next.parent;
            GMimeObject* part = next.object;
            addFields(part);
            if (GMIME_IS_MESSAGE(part)) {
                part = g_mime_message_get_mime_part(GMIME_MESSAGE(part));
                if (part == nullptr) {
                    continue;
                }
                addFields(part);
            }
            describe(part);
            pushChildren(part, self, pending);
        }
    }

    void addFields(GMimeObject* object) {
        GMimeHeaderList* list = g_mime_object_get_header_list(object);
        for (int i = 0; i < g_mime_header_list_get_count(list); ++i) {
            GMimeHeader* header = g_mime_header_list_get_header_at(list, i);
            const gint64 offset = g_mime_header_get_offset(header);
            if (offset < 0) {
                continue; // made by GMime
            }
            const char* raw = g_mime_header_get_raw_value(header);
            nodes_.back().fields.push_back({static_cast<std::size_t>(offset), g_mime_header_get_name(header),
                                            raw == nullptr ? "" : raw});
        }
        std::stable_sort(nodes_.back().fields.begin(), nodes_.back().fields.end(),
                         [](const GmimeField& a, const GmimeField& b) { return a.offset < b.offset; });
    }

    void describe(GMimeObject* part) {
        GmimeNode& node = nodes_.back();
        GMimeContentType* contentType = g_mime_object_get_content_type(part);
        node.contentType = std::string(g_mime_content_type_get_media_type(contentType)) + "/" +
                           g_mime_content_type_get_media_subtype(contentType);
        const char* boundary = g_mime_content_type_get_parameter(contentType, "boundary");
        node.boundary = boundary == nullptr ? "" : boundary;
        if (GMIME_IS_MULTIPART(part)) {
            node.kind = GmimeNode::Kind::multipart;
            const char* preamble = g_mime_multipart_get_prologue(GMIME_MULTIPART(part));
            const char* epilogue = g_mime_multipart_get_epilogue(GMIME_MULTIPART(part));
            node.preamble = preamble == nullptr ? "" : preamble;
            node.epilogue = epilogue == nullptr ? "" : epilogue;
        } else if (GMIME_IS_MESSAGE_PART(part)) {
            node.kind = GmimeNode::Kind::message;
        } else if (GMIME_IS_PART(part)) {
            if (GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(part))) {
                GMimeStream* stream = g_mime_data_wrapper_get_stream(content);
                node.body = {static_cast<std::size_t>(stream->bound_start),
                             static_cast<std::size_t>(stream->bound_end)};
            }
        }
    }

    static void pushChildren(GMimeObject* part, std::size_t self, std::vector<Pending>& pending) {
        if (GMIME_IS_MULTIPART(part)) {
            for (int i = g_mime_multipart_get_count(GMIME_MULTIPART(part)); i-- > 0;) {
                pending.push_back({g_mime_multipart_get_part(GMIME_MULTIPART(part), i), self});
            }
        } else if (GMIME_IS_MESSAGE_PART(part)) {
            if (GMimeMessage* inner = g_mime_message_part_get_message(GMIME_MESSAGE_PART(part))) {
                pending.push_back({GMIME_OBJECT(inner), self});
            }
        }
    }

    GObjectHandle<GMimeStream> stream_;
    GObjectHandle<GMimeParser> parser_;
    GObjectHandle<GMimeMessage> message_;
    std::vector<GmimeNode> nodes_;
};

} // namespace quzo::platform::test
