// Presses Super+Shift+B so many times and tells each press as one line of JSON.
//
//   quibel-bench-hotkey <presses> <keycode that closes> <pause in ms> [typing | announcing]
//
// Typing: ten characters follow each press. Announcing: a line "pressing" comes before each press.
#include "bench/agent/HotKeyProbe.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

void tell(const char* name, std::optional<double> value)
{
    if (value)
        std::printf("\"%s\": %.3f, ", name, *value);
    else
        std::printf("\"%s\": null, ", name);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 4)
        return 2;
    const std::string_view mode = argc > 4 ? argv[4] : "";
    quibel::bench::HotKeyProbe probe({ .typesAhead = mode == "typing",
                                       .closingKey = static_cast<std::uint8_t>(std::atoi(argv[2])),
                                       .pauseMs = std::atoi(argv[3]) });
    const int presses = std::atoi(argv[1]);
    for (int i = 0; i < presses; ++i) {
        if (mode == "announcing") {
            std::puts("pressing");
            std::fflush(stdout);
        }
        const auto press = probe.press();
        if (!press) {
            std::puts("{\"failed\": true}");
            continue;
        }
        std::fputs("{", stdout);
        tell("mapped", press->mapped);
        tell("keyboard", press->keyboard);
        tell("painted", press->painted);
        tell("still", press->still);
        const auto injected = std::chrono::duration_cast<std::chrono::microseconds>(
            press->injected.time_since_epoch());
        std::printf("\"injected\": %lld, \"misled\": %d, \"closed\": %s}\n",
                    static_cast<long long>(injected.count()),
                    press->misled,
                    press->closed ? "true" : "false");
    }
    return 0;
}
