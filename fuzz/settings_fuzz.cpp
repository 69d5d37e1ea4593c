// Stored settings: every reader takes any text, looks at nothing past it, and what it accepts it writes in a
// form that it accepts again with the same meaning.
#include "fuzz_input.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"
#include "quzo/settings/ui_fieldless.h"
#include "quzo/settings/ui_handoff.h"
#include "quzo/settings/ui_insert_xheader_tag.h"
#include "quzo/settings/ui_postpone.h"
#include "quzo/settings/ui_readdress.h"
#include "quzo/settings/ui_tag_subject.h"

namespace quzo::fuzz {
namespace {

template <typename Action>
void roundTrip(const ExactCopy& text) {
    Action action;
    if (!action.construct(text.data(), text.size())) {
        return;
    }
    const std::string written = action.serialize();
    Action again;
    const ExactCopy copy(written);
    require(again.construct(copy.data(), copy.size()) && again.serialize() == written,
            "what was written is not read back");
}

class IdList : public QuzoActionN {
public:
    IdList() : QuzoActionN(ActionType::Notify, true) {}
};

void readPositional(const ExactCopy& text) {
    const SettingText setting(text.data(), text.size());
    const char* cursor = setting.begin();
    char* end = nullptr;
    unsigned budget = setting.length();
    std::string value;
    while (_get_string_data(value, cursor, end, budget)) {
        require(cursor <= setting.begin() + 2 * static_cast<std::size_t>(setting.length()) + 1,
                "the cursor left the copy");
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
    return 0;
}
