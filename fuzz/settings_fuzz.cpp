// Stored settings and named objects: every reader takes any text, looks at nothing past it, and what it
// accepts it writes in a form that it accepts again with the same meaning.
#include "fuzz_input.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"
#include "quzo/settings/ui_fieldless.h"
#include "quzo/settings/ui_handoff.h"
#include "quzo/settings/ui_insert_xheader_tag.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_postpone.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_readdress.h"
#include "quzo/settings/ui_stamp_area.h"
#include "quzo/settings/ui_tag_subject.h"

namespace quzo::fuzz {
namespace {

// An action or a named object.
template <typename Object>
void roundTrip(const ExactCopy& text) {
    Object object;
    if (!object.construct(text.data(), text.size())) {
        return;
    }
    const std::string written = object.serialize();
    Object again;
    const ExactCopy copy(written);
    require(again.construct(copy.data(), copy.size()) && again.serialize() == written,
            "what was written is not read back");
}

class IdList : public QuzoActionN {
public:
    IdList() : QuzoActionN(ActionType::Notify, true) {}
};

// Never a negative budget, never a cursor outside of the padded copy.
void readPositional(const ExactCopy& text) {
    const SettingText setting(text.data(), text.size());
    const char* cursor = setting.begin();
    char* end = nullptr;
    unsigned budget = setting.length();
    std::string value;
    while (_get_string_data(value, cursor, end, budget)) {
        require(cursor <= setting.begin() + 2 * static_cast<std::size_t>(setting.length()) + 1,
                "the cursor left the copy");
        require(value.size() <= setting.length() && budget <= setting.length(), "more than there is");
    }
    for (int field = 0; field < 7 && cursor <= setting.end(); ++field) {
        long number = 0;
        _get_numeric_data(number, cursor, end);
        require(number >= 0 && number <= 4294967295L, "a number out of range");
    }
}

} // namespace
} // namespace quzo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quzo;
    fuzz::LogLines::areFormatted();
    const fuzz::ExactCopy text(fuzz::textOf(data, size));
    fuzz::readPositional(text);
    fuzz::roundTrip<fuzz::IdList>(text);
    fuzz::roundTrip<uiDelete>(text);
    fuzz::roundTrip<uiIBEEncrypt>(text);
    fuzz::roundTrip<uiReaddress>(text);
    fuzz::roundTrip<uiBcc>(text);
    fuzz::roundTrip<uiHandoff>(text);
    fuzz::roundTrip<uiPostpone>(text);
    fuzz::roundTrip<uiTagSubject>(text);
    fuzz::roundTrip<uiInsertXHeaderTag>(text);
    fuzz::roundTrip<uiNotifyArea>(text);
    fuzz::roundTrip<uiStampArea>(text);
    fuzz::roundTrip<uiQuarantineArea>(text);
    fuzz::roundTrip<ArchiveArea>(text);
    return 0;
}
