// getinfo/tools/wlt_portrait.cpp: wlt-portrait SEED OUT.bmp writes the synthetic portrait of that
// seed as a 24-bit BMP file of 102 x 126 pixels.
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "wlt/portrait.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: wlt-portrait SEED OUT.bmp\n"
                             "  Writes a synthetic head-and-shoulders portrait (102 x 126, 24-bit BMP);\n"
                             "  SEED (0 to 4294967295) picks its colours, proportions and styles.\n");
        return 2;
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long seed = std::strtoull(argv[1], &end, 10);
    if (argv[1][0] == '\0' || argv[1][0] == '-' || *end != '\0' || errno == ERANGE || seed > 0xFFFFFFFFull) {
        std::fprintf(stderr, "wlt-portrait: the seed must be a number from 0 to 4294967295, not '%s'\n", argv[1]);
        return 2;
    }
    if (!wlt::write_bmp(argv[2], wlt::synthetic_portrait(static_cast<unsigned>(seed)))) {
        std::fprintf(stderr, "wlt-portrait: cannot write '%s'\n", argv[2]);
        return 1;
    }
    return 0;
}
