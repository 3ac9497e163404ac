// tools/status_text.h: the command-line tool. A status code of the library explained in words.
#pragma once

#include <string>

namespace vnr::tool {

// "no reply from the reader within the time-out (-17)", or for a reader's own status
// "the reader answered status 0x1001 (-4097)".
std::string explain_status(long status);

}  // namespace vnr::tool
