// The labels of mail fetched by POP3. The "@*" at the end of two of them is part of the label and no pattern.
#include "quzo/notify/pop3_labels.h"

#include <cstring>

namespace quzo {
namespace {

// Ends with the first empty slot.
constexpr char kLabels[5][64] = {"POP3FromLabel@*", "POP3ToLabel@*", "POP3_Mail_Sender",
                                 "POP3_Mail_Recipient", ""};

} // namespace

bool _is_pop3_email(const char* text) {
    for (const char* label : kLabels) {
        if (text == nullptr || *label == '\0') {
            return false;
        }
        if (std::strstr(text, label) != nullptr) {
            return true;
        }
    }
    return false;
}

} // namespace quzo
