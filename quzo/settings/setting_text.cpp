// The padded copy of a setting text; see the header for why it exists.
#include "quzo/settings/setting_text.h"

#include <cstddef>
#include <cstring>

namespace quzo {
namespace {

// Beyond twice the length: the separators that number fields step over without looking.
constexpr std::size_t kPadding = 32;

} // namespace

SettingText::SettingText(const char* setting, unsigned length)
    : length_(setting == nullptr ? 0 : length), bytes_(2 * static_cast<std::size_t>(length_) + kPadding) {
    if (setting != nullptr && length_ != 0) {
        std::memcpy(bytes_.data(), setting, length_);
    }
}

} // namespace quzo
