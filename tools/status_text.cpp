// tools/status_text.cpp: the command-line tool. A status in words, from the library's one table of them.
#include "status_text.h"

#include "core/status.h"

#include <cstdio>

namespace vnr::tool {

std::string explain_status(long status) {
    char text[200];
    const std::string_view words = core::status_words(static_cast<std::int32_t>(status));
    if (!words.empty()) {
        std::snprintf(text, sizeof text, "%.*s (%ld)", static_cast<int>(words.size()), words.data(), status);
    } else if (status >= -100 && status < 0) {
        std::snprintf(text, sizeof text, "library failure (%ld)", status);
    } else {
        const unsigned reader = static_cast<unsigned>(-status) & 0xFFFF;
        std::snprintf(text, sizeof text, "the reader answered status 0x%04X (%ld)", reader, status);
    }
    return text;
}

}  // namespace vnr::tool
