// tools/utf8_output.cpp: the command-line tool. GBK to UTF-8 for printing.
#include "utf8_output.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <iconv.h>
#endif

#include <cerrno>
#include <vector>

namespace vnr::tool {

#if defined(_WIN32)

std::string gbk_to_utf8(std::string_view gbk) {
    if (gbk.empty()) return {};
    const int wide_size = MultiByteToWideChar(936, 0, gbk.data(), static_cast<int>(gbk.size()), nullptr, 0);
    std::vector<wchar_t> wide(static_cast<std::size_t>(wide_size > 0 ? wide_size : 0));
    MultiByteToWideChar(936, 0, gbk.data(), static_cast<int>(gbk.size()), wide.data(), wide_size);
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), wide_size, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), wide_size, utf8.data(), size, nullptr, nullptr);
    return utf8;
}

void use_utf8_output() { SetConsoleOutputCP(CP_UTF8); }

#else

std::string gbk_to_utf8(std::string_view gbk) {
    const iconv_t cd = iconv_open("UTF-8", "GBK");
    if (cd == reinterpret_cast<iconv_t>(-1)) return std::string(gbk);
    std::string utf8;
    std::vector<char> chunk(256);
    char* in = const_cast<char*>(gbk.data());
    std::size_t in_left = gbk.size();
    while (in_left > 0) {
        char* out = chunk.data();
        std::size_t out_left = chunk.size();
        const std::size_t result = iconv(cd, &in, &in_left, &out, &out_left);
        utf8.append(chunk.data(), chunk.size() - out_left);
        if (result != static_cast<std::size_t>(-1) || errno == E2BIG) continue;
        utf8 += "\xEF\xBF\xBD";  // a byte that starts no GBK character
        ++in;
        --in_left;
    }
    iconv_close(cd);
    return utf8;
}

void use_utf8_output() {}

#endif

}  // namespace vnr::tool
