// tools/led_command.cpp: the command-line tool. vnr led VALUE | led --color A B C | led --lights A B C D:
// the reader's lights through device_ledctrl, color_ledcontrol or dev_ledcontrol (each light 0, 1 or 2).
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

#include <array>

namespace vnr::tool {

int led_command(int argc, char** argv) {
    const auto args = parse_verb_args(argc, argv, {}, {"--color", "--lights"});
    if (!args) return 2;
    const bool color = args->has("--color"), lights = args->has("--lights");
    const std::size_t count = color ? 3 : lights ? 4 : 1;
    if ((color && lights) || args->words.size() != count)
        return usage_error("led takes VALUE, or --color and three values, or --lights and four values");
    std::array<uint8_t, 4> values{};
    for (std::size_t i = 0; i < count; ++i) {
        const auto value = number_arg("a light", args->words[i], 0, lights ? 2 : 0xFF);
        if (!value) return 2;
        values[i] = static_cast<uint8_t>(*value);
    }
    const OpenReader reader(args->open);
    if (!reader) return 1;
    const int32_t h = reader.handle();
    if (color) {
        const int16_t status = color_ledcontrol(h, values[0], values[1], values[2]);
        return status == VNR_OK ? 0 : report_failure("color_ledcontrol", status);
    }
    if (lights) {
        const int16_t status = dev_ledcontrol(h, values.data());
        return status == VNR_OK ? 0 : report_failure("dev_ledcontrol", status);
    }
    const int16_t status = device_ledctrl(h, values[0]);
    return status == VNR_OK ? 0 : report_failure("device_ledctrl", status);
}

}  // namespace vnr::tool
