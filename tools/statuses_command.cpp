// tools/statuses_command.cpp: the command-line tool. vnr statuses [--json]: every status of the library
// with its words, from the one table of them (core/status.h). The Python binding is made from its JSON.
#include "cli.h"
#include "core/status.h"
#include "verbs.h"

#include <cstdio>
#include <cstring>

namespace vnr::tool {

int statuses_command(int argc, char** argv) {
    const bool json = argc == 1 && std::strcmp(argv[0], "--json") == 0;
    if (argc > 1 || (argc == 1 && !json)) {
        std::fprintf(stderr, "vnr: statuses takes only --json\n");
        return 2;
    }
    const char* separator = "";
    if (json) std::printf("{");
    for (int code = 0; code >= -100; --code) {
        const std::string_view words = core::status_words(code);
        if (words.empty()) continue;
        if (json) {
            std::printf("%s\"%d\": %s", separator, code, json_text(words).c_str());
            separator = ", ";
        } else {
            std::printf("%5d  %.*s\n", code, static_cast<int>(words.size()), words.data());
        }
    }
    if (json) std::printf("}\n");
    return 0;
}

}  // namespace vnr::tool
