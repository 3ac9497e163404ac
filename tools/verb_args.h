// tools/verb_args.h: the command-line tool. The arguments of the reader control, stripe and PIN pad
// verbs: the --port and --baud options, plain flags, options with a value, and words in their order.
#pragma once

#include "cli.h"
#include "open_options.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::tool {

struct VerbArgs {
    OpenOptions open;
    std::vector<std::string> words;            // the arguments that are no option, in order
    std::map<std::string, std::string> values; // --name VALUE
    std::vector<std::string> flags;            // --name

    bool has(std::string_view flag) const { return std::ranges::find(flags, flag) != flags.end(); }
    const std::string* value(const std::string& name) const {
        const auto it = values.find(name);
        return it == values.end() ? nullptr : &it->second;
    }
};

// Takes argv apart; `with_value` are the options that take a value, `flags` those that do not. Prints
// what is wrong and gives nullopt for an unknown option or a missing value.
inline std::optional<VerbArgs> parse_verb_args(int argc, char** argv, std::initializer_list<std::string_view> with_value,
                                               std::initializer_list<std::string_view> flags) {
    VerbArgs args;
    for (int i = 0; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const int taken = take_open_option(argc, argv, i, args.open);
        if (taken < 0) return std::nullopt;
        if (taken > 0) continue;
        if (std::ranges::find(with_value, arg) != with_value.end()) {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "vnr: %s needs a value\n", argv[i]);
                return std::nullopt;
            }
            args.values[std::string(arg)] = argv[++i];
        } else if (std::ranges::find(flags, arg) != flags.end()) {
            args.flags.emplace_back(arg);
        } else if (arg.size() > 1 && arg[0] == '-' && !(arg[1] >= '0' && arg[1] <= '9')) {
            std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i]);
            return std::nullopt;
        } else {
            args.words.emplace_back(arg);
        }
    }
    return args;
}

// `text` as a whole number from `low` to `high` (decimal or 0x-hexadecimal); prints what `what` must be
// and gives nullopt when it is not.
inline std::optional<long long> number_arg(const char* what, std::string_view text, long long low, long long high) {
    const std::optional<long long> value = parse_number(text, low, high);
    if (!value)
        std::fprintf(stderr, "vnr: %s takes a number from %lld to %lld, not '%.*s'\n", what, low, high,
                     static_cast<int>(text.size()), text.data());
    return value;
}

// A mistake on the command line: prints it and gives the exit status 2.
inline int usage_error(const char* text) {
    std::fprintf(stderr, "vnr: %s\n", text);
    return 2;
}

}  // namespace vnr::tool
