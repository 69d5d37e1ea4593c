// Fields in order, with edits applied. See header_block.h.
#include "platform/message/edit/header_block.h"

#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/message/edit/entity.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/message_writer.h"
#include "platform/message/values/field_text.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

bool HeaderBlock::isOfMessage() const { return entity_ == 0 && text_ == &context_->source; }

Content HeaderBlock::source() const { return {text_, entity_}; }

bool HeaderBlock::editable() const {
    return context_->source.error() == kErrorNone && span().readable &&
           (isOfMessage() || !text_->structure().entities[entity_].cut);
}

void HeaderBlock::makeFields() {
    const std::size_t fields = span().fields.size();
    if (received_.size() != fields) {
        received_.reserve(fields);
        for (std::size_t i = received_.size(); i < fields; ++i) {
            received_.emplace_back(*this, static_cast<std::uint32_t>(i));
        }
    }
}

void HeaderBlock::makeOrder() {
    if (!ordered_) {
        makeFields();
        order_.clear();
        order_.reserve(received_.size() + 4);
        for (HeaderField& field : received_) {
            order_.push_back(&field);
        }
        ordered_ = true;
    }
}

std::size_t HeaderBlock::count() const { return ordered_ ? order_.size() : span().fields.size(); }

HeaderField* HeaderBlock::at(std::size_t index) {
    if (index >= count()) {
        return nullptr;
    }
    makeFields();
    return ordered_ ? order_[index] : &received_[index];
}

HeaderField* HeaderBlock::find(std::string_view name) {
    if (!ordered_) {
        const HeaderSpan& header = span();
        const FieldSpan* field = findField(text(), header, name);
        return field == nullptr ? nullptr : at(static_cast<std::size_t>(field - header.fields.data()));
    }
    const auto found = std::find_if(order_.begin(), order_.end(), [&](const HeaderField* field) {
        return equalsNoCase(field->name(), name);
    });
    return found == order_.end() ? nullptr : *found;
}

std::vector<HeaderField*> HeaderBlock::all(std::string_view name) {
    std::vector<HeaderField*> fields;
    for (std::size_t i = 0; i < count(); ++i) {
        HeaderField* field = at(i);
        if (equalsNoCase(field->name(), name)) {
            fields.push_back(field);
        }
    }
    return fields;
}

std::vector<std::string_view> HeaderBlock::rawValues(std::string_view name) {
    std::vector<std::string_view> values;
    for (const HeaderField* field : all(name)) {
        values.push_back(field->rawValue());
    }
    return values;
}

std::optional<std::string_view> HeaderBlock::rawValue(std::string_view name) {
    if (edited()) {
        const HeaderField* field = find(name);
        return field == nullptr ? std::nullopt : std::optional(field->rawValue());
    }
    const FieldSpan* field = findField(text(), span(), name);
    if (field == nullptr) {
        return std::nullopt;
    }
    return text().substr(field->valueBegin, field->end - field->valueBegin);
}

ContentType HeaderBlock::contentType() const {
    const HeaderView standing = typeEdited_ ? view() : HeaderView{text(), &span()};
    return governingContentType(standing.text, *standing.span);
}

HeaderView HeaderBlock::view() const {
    if (!edited()) {
        return {text(), &span()};
    }
    if (!view_) {
        // At the very start of a text the scan would look for what mailboxes put in front of a message.
        constexpr std::size_t kBegin = 1;
        auto made = std::make_unique<Rescanned>();
        made->text = "\n" + writtenHeader(*this);
        made->span = scanHeader(made->text, kBegin, made->text.size(), text_->limits());
        view_ = std::move(made);
    }
    return {view_->text, &view_->span};
}

void HeaderBlock::noteEdit(std::string_view name) {
    owner_->noteHeaderEdit(name);
    typeEdited_ = typeEdited_ || equalsNoCase(name, "Content-Type");
    ++version_;
    view_.reset();
}

HeaderBlock::Exchange HeaderBlock::prepareExchange(const std::function<bool(std::string_view name)>& goes,
                                                   const std::vector<std::string>& fields) {
    makeOrder();
    Exchange made;
    std::size_t place = order_.size();
    for (HeaderField* field : order_) {
        if (goes(field->name())) {
            place = made.gone.empty() ? made.order.size() : place;
            made.gone.push_back(field);
        } else {
            made.order.push_back(field);
        }
    }
    std::size_t offset = made.gone.empty() ? appendOffset() : made.gone.front()->offset();
    // In front of lines that are no fields: they end the header for some readers.
    offset = std::min(offset, endOfFields());
    place = std::min(place, made.order.size());
    const auto standsBehind = [offset](const HeaderField& field) {
        return field.offset() > offset || (field.offset() == offset && !field.added());
    };
    while (place > 0 && standsBehind(*made.order[place - 1])) {
        --place;
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
        made.added.emplace_front(*this, offset, fields[i].find(':'), fields[i]);
        made.order.insert(made.order.begin() + static_cast<std::ptrdiff_t>(place + i), &made.added.front());
    }
    return made;
}

void HeaderBlock::carryOut(Exchange& exchange) noexcept {
    owner_->noteHeaderEdit("Content-"); // whoever exchanges fields sees to the content too
    typeEdited_ = true;
    ++version_;
    view_.reset();
    for (HeaderField* field : exchange.gone) {
        field->markRemoved();
    }
    added_.splice_after(added_.before_begin(), exchange.added);
    order_.swap(exchange.order);
}

HeaderField* HeaderBlock::add(std::size_t position, std::string_view name, std::string_view value,
                              const char* charset, int& error) {
    makeOrder();
    const std::string_view lineBreak = context_->source.lineBreak();
    std::string written;
    error = !validFieldName(name) || position > order_.size()
                ? kErrorInvalidArgument
                : writtenValue(value, charset, name.size() + 2, lineBreak, written);
    if (error != kErrorNone) {
        return nullptr;
    }
    std::string whole(name);
    const bool bringsBlank = !written.empty() && isBlank(written.front());
    whole.append(bringsBlank ? ":" : ": ").append(written).append(lineBreak);
    const std::size_t offset = position < order_.size() ? order_[position]->offset() : appendOffset();
    added_.emplace_front(*this, offset, name.size(), std::move(whole));
    noteEdit(name);
    order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(position), &added_.front());
    return &added_.front();
}

int HeaderBlock::removeAt(std::size_t index) {
    makeOrder();
    if (index >= order_.size()) {
        return kErrorNotFound;
    }
    noteEdit(order_[index]->name());
    order_[index]->markRemoved();
    order_.erase(order_.begin() + static_cast<std::ptrdiff_t>(index));
    return kErrorNone;
}

void HeaderBlock::removeAll(std::string_view name, const HeaderField* kept) {
    const auto goes = [&](const HeaderField* field) {
        return field != kept && equalsNoCase(field->name(), name);
    };
    std::size_t first = 0;
    while (first < count() && !goes(at(first))) {
        ++first;
    }
    if (first == count()) {
        return;
    }
    makeOrder();
    noteEdit(name);
    for (HeaderField* field : order_) {
        if (goes(field)) {
            field->markRemoved();
        }
    }
    order_.erase(std::remove_if(order_.begin(), order_.end(),
                                [](const HeaderField* field) { return field->removed(); }),
                 order_.end());
}

void HeaderBlock::prepareToRemove(std::string_view name) {
    if (all(name).size() > 1) {
        makeOrder();
    }
}

// Where the first line stands that is no field; the end of the block when all are.
std::size_t HeaderBlock::endOfFields() const {
    const HeaderSpan& header = span();
    std::size_t at = header.begin;
    for (const FieldSpan& field : header.fields) {
        if (field.begin != at) {
            break;
        }
        at = field.end;
    }
    return header.fields.empty() || header.fields.front().begin != header.begin ? header.end : at;
}

// Where a field at the end goes: behind all lines of the block, but for an unfinished last one of nothing
// but carriage returns, which would be an empty line once it is finished.
std::size_t HeaderBlock::appendOffset() const {
    const HeaderSpan& header = span();
    const std::string_view block = text().substr(header.begin, header.end - header.begin);
    const std::size_t last = block.find_last_not_of('\r');
    const std::size_t kept = last == std::string_view::npos ? 0 : last + 1;
    return kept == 0 || block[kept - 1] == '\n' ? header.begin + kept : header.end;
}

} // namespace quzo::platform
