// Whatever is set is written and read again before anybody gets the text: a value that the stored form cannot
// hold is refused here, where the field still has a name.
#include "host/admin/object_form.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/base/numbers.h"
#include "platform/base/utf8.h"
#include "platform/base/visible_text.h"
#include "platform/store/stored_named_objects.h"

namespace quzo::host {
namespace {

platform::Finding faultOf(const ObjectField& field, std::string problem, std::string remedy) {
    return {.where = field.name, .problem = std::move(problem), .remedy = std::move(remedy)};
}

std::optional<platform::Finding> checkText(const ObjectField& field, const std::string& text) {
    if (!platform::isUtf8(text)) {
        return faultOf(field, "it is not UTF-8 at byte " + std::to_string(platform::validUtf8Prefix(text)),
                       "give it in UTF-8");
    }
    if (text.find('\0') != std::string::npos) {
        return faultOf(field, "it has a NUL", "leave that out");
    }
    if (field.type == ObjectField::Type::Word &&
        std::find(field.words.begin(), field.words.end(), text) == field.words.end()) {
        return faultOf(field, platform::quotedText(text) + " is no value of it",
                       "give " + wantedValue(field));
    }
    if (field.type == ObjectField::Type::Line && platform::hasControlBytes(text)) {
        return faultOf(field, "it has a line break or another control character", "give it in one line");
    }
    std::optional<platform::Finding> fault = field.problem != nullptr ? field.problem(text) : std::nullopt;
    if (fault) {
        fault->where = field.name;
    }
    return fault;
}

std::size_t wantedIndex(const ObjectField& field) {
    switch (field.type) {
        case ObjectField::Type::Flag:
            return 1;
        case ObjectField::Type::Number:
            return 2;
        default:
            return 0;
    }
}

std::optional<platform::Finding> check(const ObjectField& field, const ObjectValue& value) {
    if (value.index() != wantedIndex(field)) {
        return faultOf(field, "it is of the wrong kind", "give " + wantedValue(field));
    }
    const auto* text = std::get_if<std::string>(&value);
    return text != nullptr ? checkText(field, *text) : std::nullopt;
}

bool construct(QuzoNamedObj& object, std::string_view text) {
    return object.construct(text.data(), static_cast<unsigned>(text.size()));
}

} // namespace

std::string wantedValue(const ObjectField& field) {
    switch (field.type) {
        case ObjectField::Type::Flag:
            return "true or false";
        case ObjectField::Type::Number:
            return "a number from 0 to 4294967295";
        case ObjectField::Type::Word:
            break;
        default:
            return "a text";
    }
    std::string text = "one of";
    for (const std::string_view word : field.words) {
        text += (word == field.words.front() ? " " : ", ") + std::string(word);
    }
    return text;
}

ObjectForm::ObjectForm(platform::ObjectKind kind) : kind_(kind), object_(platform::makeNamedObject(kind)) {
    if (kind == platform::ObjectKind::StampArea) { // its numbers have no defaults of their own
        set({{"position", std::string("after")}, {"signed", std::string("skip")}});
    }
}

std::optional<ObjectForm> ObjectForm::read(platform::ObjectKind kind, std::string_view stored) {
    ObjectForm form(kind);
    if (!construct(*form.object_, stored)) {
        return std::nullopt;
    }
    return form;
}

ObjectValues ObjectForm::values() const {
    ObjectValues all;
    for (const ObjectField& field : objectFields(kind_)) {
        all.emplace_back(field.name, value(field));
    }
    return all;
}

std::optional<platform::Finding> ObjectForm::set(const ObjectValues& values) {
    for (const auto& [name, value] : values) {
        if (findObjectField(kind_, name) == nullptr) {
            return platform::Finding{
                .where = name,
                .problem = std::string("a ") + platform::objectKindName(kind_) + " has no such field",
                .remedy = "leave it out"};
        }
    }
    for (const ObjectField& field : objectFields(kind_)) {
        for (const auto& [name, value] : values) {
            if (name != field.name) {
                continue;
            }
            if (std::optional<platform::Finding> fault = check(field, value)) {
                return fault;
            }
            field.set(*object_, value);
        }
    }
    return std::nullopt;
}

std::optional<platform::Finding> ObjectForm::write(std::string& stored) const {
    const std::unique_ptr<QuzoNamedObj> again = platform::makeNamedObject(kind_);
    stored = object_->serialize();
    const bool readable = construct(*again, stored);
    for (const ObjectField& field : objectFields(kind_)) {
        if (!readable || field.get(*again) != value(field)) {
            return faultOf(field, "the stored text cannot hold this value", "give another one");
        }
    }
    stored = again->serialize(); // what is derived when it is read is then written, too
    return std::nullopt;
}

std::optional<ObjectValue> parseObjectValue(const ObjectField& field, const std::string& text,
                                            platform::Finding& fault) {
    switch (field.type) {
        case ObjectField::Type::Flag:
            if (text == "true" || text == "false") {
                return text == "true";
            }
            break;
        case ObjectField::Type::Number: {
            if (const auto number = platform::parseNumber<std::uint32_t>(text)) {
                return *number;
            }
            break;
        }
        default:
            return text;
    }
    fault = faultOf(field, platform::quotedText(text) + " is no value of it", "give " + wantedValue(field));
    return std::nullopt;
}

bool saidByFields(platform::ObjectKind kind, std::string_view stored) {
    const std::optional<ObjectForm> form = ObjectForm::read(kind, stored);
    ObjectForm copy(kind);
    std::string text;
    return form && !copy.set(form->values()) && !copy.write(text) && text == stored;
}

} // namespace quzo::host
