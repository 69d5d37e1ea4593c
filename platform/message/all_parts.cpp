// The readings of a message. See all_parts.h.
//
// A reading is a text with one Content-Type in front that leaves no doubt, so that the scan of the structure
// needs no options. Readings are worked off from a list, not by recursion, and each takes its bytes, parts,
// fields and levels from what the message may have in all.
#include "platform/message/all_parts.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/message/message_impl.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/values/boundary_readings.h"
#include "platform/message/values/header_readings.h"
#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kSpareBytes = std::size_t{64} << 20U;

// Where a run of carriage returns that no line feed ends begins, at `from` or behind it; npos without one.
// Those at the very end of the text end no line that matters.
std::size_t findLoneReturns(std::string_view text, std::size_t from) {
    for (std::size_t at = text.find('\r', from); at != std::string_view::npos;) {
        const std::size_t behind = text.find_first_not_of('\r', at);
        if (behind == std::string_view::npos || text[behind] != '\n') {
            return behind == std::string_view::npos ? behind : at;
        }
        at = text.find('\r', behind);
    }
    return std::string_view::npos;
}

std::string withoutLoneReturns(std::string_view text) {
    std::string out(text);
    for (std::size_t at = findLoneReturns(text, 0); at != std::string_view::npos;
         at = findLoneReturns(text, at)) {
        for (; text[at] == '\r'; ++at) {
            out[at] = '\n';
        }
    }
    return out;
}

// A part of a message that is stored outside, or in other messages: what there is of it begins with a header.
bool isFragment(const ContentType& type) {
    return type.is("message", "partial") || type.is("message", "external-body");
}

std::string multipartHeader(const ContentType& type, std::string_view label) {
    std::string header("Content-Type: multipart/");
    header.append(type.subtype.empty() ? "mixed" : type.subtype).append("; boundary=\"");
    for (const char c : label) {
        header.append(c == '"' || c == '\\' ? "\\" : "").append(1, c);
    }
    return header.append("\"\n\n");
}

} // namespace

class AllParts::Reader {
public:
    Reader(AllParts& all, MailMessage& message, const Limits& limits)
        : all_(all), limits_(limits), bytes_(4 * message.original().size() + kSpareBytes) {
        sources_.push_back({MessageImpl::from(&message), 0, 0, 0, true, true});
    }

    void run() {
        for (std::size_t i = 0; i < sources_.size(); ++i) {
            read(Source(sources_[i])); // a copy: the list grows
        }
    }

private:
    // A message whose parts are to be listed: the message itself, or a reading of one of its entities.
    struct Source {
        MessageImpl* message;
        std::size_t number; // as in SeenPart
        std::size_t behind;
        std::size_t depth; // levels above its root
        bool own;
        bool hasRoot; // its root is an entity, and not what was put in front of a body
    };
    // One entity whose header is read.
    struct Place {
        std::string_view text;
        const EntitySpan& span;
        const EntitySpan* parent;
        std::size_t number;
        std::size_t behind;
        std::size_t depth;

        std::string_view body() const {
            return text.substr(span.header.bodyBegin, span.bodyEnd - span.header.bodyBegin);
        }
        bool isMultipart() const { return span.type == kEntityMultipart; }
        bool isMessage() const { return !isMultipart() && span.type != kEntityLeaf; }
    };

    void read(const Source& source);
    static std::vector<std::size_t> endsOfSubtrees(const Source& source,
                                                   const std::vector<EntitySpan>& entities);
    bool addPart(const Source& source, std::uint32_t index, std::size_t behind);
    void readHeader(const Place& place);
    bool isDigest(std::string_view text, const EntitySpan& multipart);
    void readAsMessage(const Place& place, const std::vector<TransferEncoding>& encodings, bool fragment);
    void readAsMultipart(const Place& place, const ContentType& type,
                         const std::vector<TransferEncoding>& encodings);
    void readWithLabels(const Place& place, const ContentType& type, std::string_view content,
                        const std::vector<std::string>& labels);
    std::optional<std::string> decoded(const Place& place, TransferEncoding encoding);
    bool take(std::size_t bytes);
    void add(const Place& place, std::string header, std::string_view content);
    void addSource(Source source, std::string text);

    AllParts& all_;
    const Limits& limits_;
    std::size_t bytes_;      // that readings may still be made from
    std::size_t fields_ = 0; // of all sources so far
    std::vector<Source> sources_;
    const EntitySpan* multipart_ = nullptr; // that isDigest() was last asked about
    bool isDigest_ = false;
};

bool AllParts::Reader::take(std::size_t bytes) {
    if (bytes > bytes_) {
        all_.limited_ = true;
        return false;
    }
    bytes_ -= bytes;
    return true;
}

// For each entity of the message's own the first one behind all that lies in it.
std::vector<std::size_t> AllParts::Reader::endsOfSubtrees(const Source& source,
                                                          const std::vector<EntitySpan>& entities) {
    std::vector<std::size_t> ends(entities.size(), source.behind);
    for (std::size_t i = source.own ? entities.size() : 0; i-- > 0;) {
        ends[i] = std::max(ends[i], i + 1);
        if (i != 0) {
            ends[entities[i].parent] = std::max(ends[entities[i].parent], ends[i]);
        }
    }
    return ends;
}

bool AllParts::Reader::addPart(const Source& source, std::uint32_t index, std::size_t behind) {
    if (!source.own && limits_.parts != 0 && all_.parts_.size() >= limits_.parts) {
        all_.limited_ = true;
        return false;
    }
    KvMsgEntity* entity =
        index == 0 ? source.message->getRootEntity() : &source.message->tree().received(index);
    all_.parts_.push_back({entity, source.own ? index : source.number, behind, source.own});
    return true;
}

void AllParts::Reader::read(const Source& source) {
    const ScannedText& scanned = source.message->context().source;
    const std::vector<EntitySpan>& entities = scanned.structure().entities;
    all_.limited_ = all_.limited_ || scanned.structure().limited;
    const std::vector<std::size_t> ends = endsOfSubtrees(source, entities);
    std::vector<std::size_t> depths(entities.size(), source.depth);
    for (std::uint32_t i = 0; i < entities.size(); ++i) {
        const EntitySpan* parent = i == 0 ? nullptr : &entities[entities[i].parent];
        depths[i] = i == 0 ? source.depth : depths[entities[i].parent] + 1;
        fields_ += entities[i].header.fields.size();
        if (i == 0 && !source.hasRoot) {
            continue;
        }
        if (!addPart(source, i, ends[i])) {
            return;
        }
        readHeader({scanned.text(), entities[i], parent, all_.parts_.back().number, ends[i], depths[i]});
    }
    if (findLoneReturns(scanned.text(), 0) != std::string_view::npos && take(scanned.text().size())) {
        Source reading = source;
        reading.own = false;
        reading.behind = ends.front();
        addSource(reading, withoutLoneReturns(scanned.text()));
    }
}

bool AllParts::Reader::isDigest(std::string_view text, const EntitySpan& multipart) {
    if (multipart_ != &multipart) {
        multipart_ = &multipart;
        isDigest_ = governingContentType(text, multipart.header).is("multipart", "digest");
    }
    return isDigest_;
}

void AllParts::Reader::readHeader(const Place& place) {
    const std::vector<ContentType> types = typeReadings(place.text, place.span.header);
    const bool messageByDefault =
        types.empty() && place.parent != nullptr && isDigest(place.text, *place.parent);
    if (types.empty() && !messageByDefault) {
        return;
    }
    const std::vector<TransferEncoding> encodings = encodingReadings(place.text, place.span.header);
    if (messageByDefault || std::any_of(types.begin(), types.end(), isEmbeddedMessage)) {
        readAsMessage(place, encodings, false);
    } else if (std::any_of(types.begin(), types.end(), isFragment)) {
        readAsMessage(place, encodings, true);
    }
    for (const ContentType& type : types) {
        if (type.is("multipart")) {
            readAsMultipart(place, type, encodings);
        }
    }
}

std::optional<std::string> AllParts::Reader::decoded(const Place& place, TransferEncoding encoding) {
    const std::string_view body = place.body();
    return take(body.size()) ? std::optional(decodedTransfer(body, encoding, body.size())) : std::nullopt;
}

// The body as a message, in each encoding in which the message's own tree does not show it.
void AllParts::Reader::readAsMessage(const Place& place, const std::vector<TransferEncoding>& encodings,
                                     bool fragment) {
    constexpr std::string_view kHeader = "Content-Type: message/rfc822\n\n";
    for (const TransferEncoding encoding : encodings) {
        if (encoding != TransferEncoding::None) {
            if (const std::optional<std::string> content = decoded(place, encoding)) {
                add(place, std::string(kHeader), *content);
            }
        } else if (fragment || !(place.isMessage() || place.span.cut)) {
            if (take(place.body().size())) {
                add(place, std::string(kHeader), place.body());
            }
        }
    }
}

// The body as a multipart, with each boundary by which the message's own tree does not show it.
void AllParts::Reader::readAsMultipart(const Place& place, const ContentType& type,
                                       const std::vector<TransferEncoding>& encodings) {
    BoundaryReadings readings = boundaryReadings(type.parameters);
    all_.limited_ = all_.limited_ || readings.more;
    if (!place.isMultipart()) {
        for (const TransferEncoding encoding : encodings) {
            const std::optional<std::string> content =
                encoding == TransferEncoding::None ? std::nullopt : decoded(place, encoding);
            if (content) {
                readWithLabels(place, type, *content, readings.labels);
            }
        }
    }
    if (place.span.cut) {
        return; // what lies in it is beyond the limits
    }
    std::erase(readings.labels, place.span.boundary);
    if (!readings.labels.empty() && take(place.body().size())) {
        readWithLabels(place, type, place.body(), readings.labels);
    }
}

void AllParts::Reader::readWithLabels(const Place& place, const ContentType& type, std::string_view content,
                                      const std::vector<std::string>& labels) {
    for (const std::size_t used : labelsInUse(content, labels)) {
        const std::string& label = labels[used];
        if (!take(content.size())) {
            return;
        }
        if (label.back() != ' ' && label.back() != '\t') {
            add(place, multipartHeader(type, label), content);
            continue;
        }
        const ExactBoundary exact = withExactBoundary(content, label);
        all_.limited_ = all_.limited_ || exact.label.empty();
        if (!exact.label.empty()) {
            add(place, multipartHeader(type, exact.label), exact.content);
        }
    }
}

// Adds a reading of an entity: `content` behind a header of its own.
void AllParts::Reader::add(const Place& place, std::string header, std::string_view content) {
    addSource({nullptr, place.number, place.behind, place.depth, false, false}, header.append(content));
}

void AllParts::Reader::addSource(Source source, std::string text) {
    const auto left = [](std::size_t limit, std::size_t used) { return limit > used ? limit - used : 0; };
    Limits limits = limits_;
    limits.messageBytes = 0;
    limits.nesting = left(limits_.nesting, source.depth);
    limits.parts = left(limits_.parts, all_.parts_.size());
    limits.headerFields = left(limits_.headerFields, fields_);
    if ((limits_.nesting != 0 && limits.nesting == 0) || (limits_.parts != 0 && limits.parts == 0) ||
        (limits_.headerFields != 0 && limits.headerFields == 0)) {
        all_.limited_ = true;
        return;
    }
    limits.parts += limits.parts != 0 && !source.hasRoot ? 1 : 0;
    all_.readings_.push_back(MailMessage::parse(std::move(text), limits));
    source.message = MessageImpl::from(all_.readings_.back().get());
    sources_.push_back(source);
}

AllParts::AllParts(MailMessage& message, const Limits& limits) { Reader(*this, message, limits).run(); }

AllParts::~AllParts() = default;

} // namespace quzo::platform
