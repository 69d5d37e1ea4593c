// All edits are prepared first and then carried out, so that a stamp is in every alternative or in none. See
// insert_stamp.h.
#include "platform/message/stamp/insert_stamp.h"

#include <deque>
#include <optional>

#include "platform/message/edit/edit_checks.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/prepared_edit.h"
#include "platform/message/stamp/html_stamp.h"
#include "platform/message/stamp/html_text.h"
#include "platform/message/stamp/part_text.h"
#include "platform/message/stamp/stamp_known.h"
#include "platform/message/stamp/stamp_targets.h"
#include "platform/message/stamp/text_fields.h"
#include "platform/message/stamp/text_ladder.h"
#include "platform/message/structure/pgp_marks.h"
#include "platform/message/values/readable_text.h"
#include "platform/message/values/text_part.h"
#include "quzo/core/error_text.h"
#include "quzo/settings/stamp_forms.h"

namespace quzo::platform {
namespace {

using How = StampTarget::How;

constexpr std::string_view kFileName = "disclaimer.txt";

class Stamping {
public:
    Stamping(Entity& root, const StampRequest& request)
        : root_(root),
          request_(request),
          forms_(splitStampForms(readableText(request.stamp, "utf-8"))),
          html_(forms_.html ? *forms_.html : htmlOfText(forms_.text)),
          known_(request.once ? std::optional<KnownStamp>(std::in_place, forms_.text, html_) : std::nullopt) {
    }

    int run() {
        int error = checkEditable(root_);
        if (error != kErrorNone) {
            return error;
        }
        if (request_.asAttachment) {
            error = asPart(How::Outside, root_);
        } else {
            for (const StampTarget& target : stampTargets(root_)) {
                error = error == kErrorNone ? stamp(target) : error;
            }
        }
        if (error != kErrorNone) {
            return error;
        }
        for (BodyEdit& edit : bodies_) {
            edit.carryOut();
        }
        for (PartEdit& edit : parts_) {
            edit.carryOut();
        }
        return kErrorNone;
    }

private:
    int stamp(const StampTarget& target) {
        if (target.how == How::Beside || target.how == How::Outside) {
            return known_ && shownSomewhere() ? static_cast<int>(kErrorNone)
                                              : asPart(target.how, *target.entity);
        }
        const PartText part(*target.entity);
        const std::optional<int> done = !part.readable()          ? std::nullopt
                                        : target.how == How::Text ? intoText(*target.entity, part)
                                                                  : intoHtml(*target.entity, part);
        return done ? *done : asPart(How::Beside, *target.entity);
    }

    // Both: 0 or an error; nothing when the stamp cannot get into the part without damage.

    std::optional<int> intoText(Entity& entity, const PartText& part) {
        const PgpMarks marks = findPgpMarks(part.decoded());
        if (marks.isSigned || marks.isEncrypted) {
            return std::nullopt;
        }
        if (isShownIn(part, false)) {
            return kErrorNone;
        }
        TextLadder ladder(part, forms_.text, request_.position, formatOf(entity), request_.charset);
        while (const std::optional<StampedText> stamped = ladder.next()) {
            const std::optional<int> done = store(entity, part, *stamped);
            if (done) {
                return done;
            }
        }
        return std::nullopt;
    }

    std::optional<int> intoHtml(Entity& entity, const PartText& part) {
        if (isShownIn(part, true)) {
            return kErrorNone;
        }
        const std::optional<StampedText> stamped = stampedHtml(part, html_, request_.position);
        return stamped ? store(entity, part, *stamped) : std::nullopt;
    }

    // Prepares the edit that stores a part so.
    std::optional<int> store(Entity& entity, const PartText& part, const StampedText& stamped) {
        for (const PartText::Way way : PartText::kWays) {
            std::optional<StoredText> stored =
                stamped.placement ? part.with(*stamped.placement, way) : part.instead(stamped.whole, way);
            if (!stored) {
                continue;
            }
            const TextFields fields(entity, stamped.charset, stored->encoding);
            BodyEdit edit;
            const int error = edit.prepare(entity, std::move(stored->bytes), fields.header());
            if (error == kErrorNone) {
                bodies_.push_back(std::move(edit));
            }
            if (error != kErrorInvalidArgument) {
                return error;
            }
        }
        return std::nullopt;
    }

    // The stamp as a part of its own: next to an entity, or in one.
    int asPart(How how, Entity& entity) {
        const bool before = request_.position == StampPosition::Before && !request_.asAttachment;
        Entity* into = &entity;
        int position = before ? 0 : -1;
        PartEdit::Into mode = PartEdit::Into::Wrapped;
        if (how == How::Outside && isShownInTurn(entity)) {
            mode = PartEdit::Into::Multipart;
        } else if (canHaveNeighbours(entity)) {
            into = entity.parent();
            mode = PartEdit::Into::Multipart;
            position = placeAmongParts(entity) + (before ? 0 : 1);
        }
        PartEdit edit;
        const std::string_view fileName = request_.asAttachment ? kFileName : std::string_view();
        const int error = edit.prepareText(*into, {forms_.text, request_.charset, fileName}, position, mode);
        if (error == kErrorNone) {
            parts_.push_back(std::move(edit));
        }
        return error;
    }

    // Whether a part shows the stamp already; false when that does not matter.
    bool isShownIn(const PartText& part, bool isHtml) const {
        if (!known_) {
            return false;
        }
        const std::string text = readableText(part.decoded(), part.charset());
        return known_->shownIn(isHtml ? textOfHtml(text) : text);
    }

    bool shownSomewhere() const {
        for (const Entity* part = &root_; part != nullptr; part = EntityTree::next(*part)) {
            if (part->span().type != kEntityLeaf || part->embedded() || part->markedAttachment()) {
                continue;
            }
            const std::string media = part->mediaType();
            const bool isHtml = media == "text/html";
            if ((isHtml || media == "text/plain") && isShownIn(PartText(*part), isHtml)) {
                return true;
            }
        }
        return false;
    }

    Entity& root_;
    const StampRequest& request_;
    const StampForms forms_;
    const std::string html_;
    const std::optional<KnownStamp> known_; // when that matters
    std::deque<BodyEdit> bodies_;
    std::deque<PartEdit> parts_;
};

} // namespace

int insertStamp(Entity& root, const StampRequest& request) { return Stamping(root, request).run(); }

} // namespace quzo::platform
