// tools/utf8_output.cpp: the command-line tool. A console that shows the UTF-8 the tool prints.
#include "utf8_output.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace vnr::tool {

void use_utf8_output() {
#if defined(_WIN32)
    SetConsoleOutputCP(CP_UTF8);
#endif
}

}  // namespace vnr::tool
