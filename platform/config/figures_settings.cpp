// See figures_settings.h.
#include "platform/config/figures_settings.h"

#include "platform/base/network.h"
#include "platform/base/numbers.h"

namespace quzo::platform {

std::optional<LoopbackPort> LoopbackPort::parse(std::string_view text) {
    static const std::optional<Network> kLoopback = Network::parse("127.0.0.0/8");
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || !kLoopback->contains(text.substr(0, colon))) {
        return std::nullopt;
    }
    const auto port = parseNumber<std::uint16_t>(text.substr(colon + 1));
    return port && *port != 0 ? std::optional(LoopbackPort{std::string(text.substr(0, colon)), *port})
                              : std::nullopt;
}

FiguresSettings readFiguresSettings(IniSettings& settings) {
    FiguresSettings figures;
    std::string address;
    settings.getValue("figures_address", address, "milter", 0);
    settings.getValue("figures_file", figures.file, "milter", 0);
    figures.address = LoopbackPort::parse(address);
    return figures;
}

} // namespace quzo::platform
