// Where a running gateway shows its figures: figures_address and figures_file in the section [milter].
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/config/quzo_settings.h"

namespace quzo::platform {

// A port that only programs on this machine reach.
struct LoopbackPort {
    std::string address; // one of 127.0.0.0/8
    std::uint16_t port = 0;

    // Reads "127.0.0.1:PORT". Nothing for any other text: other machines would read along, and a name may
    // become any address.
    static std::optional<LoopbackPort> parse(std::string_view text);

    friend bool operator==(const LoopbackPort&, const LoopbackPort&) = default;
};

struct FiguresSettings {
    std::optional<LoopbackPort> address; // none: no port is opened
    std::string file;                    // empty: none is written
};

// What the settings say; what they say wrongly is as if they did not say it.
FiguresSettings readFiguresSettings(IniSettings& settings);

} // namespace quzo::platform
