// src/platform/posix/text.cpp: platform (POSIX). GBK conversions through iconv.
#include "platform/text.h"

#include "platform/posix/iconv_handle.h"

#include <cerrno>
#include <vector>

namespace vnr::platform {

namespace {

// Converts with one iconv descriptor; an input sequence the target lacks becomes `replacement`.
bool convert(const char* to, const char* from, const char* input, std::size_t size, std::size_t unit,
             std::string& output, const char* replacement) {
    const Iconv cd(to, from);
    if (!cd) return false;
    output.clear();
    std::vector<char> chunk(256);
    char* in = const_cast<char*>(input);
    std::size_t in_left = size;
    while (in_left > 0) {
        char* out = chunk.data();
        std::size_t out_left = chunk.size();
        const std::size_t result = ::iconv(cd.get(), &in, &in_left, &out, &out_left);
        output.append(chunk.data(), chunk.size() - out_left);
        if (result != static_cast<std::size_t>(-1)) break;
        if (errno == E2BIG) continue;
        // EILSEQ or EINVAL: an unconvertible or broken character; replace it and step over it: one
        // unit, or both units of a UTF-16 surrogate pair, which stand for one character.
        output += replacement;
        std::size_t step = in_left < unit ? in_left : unit;
        if (unit == 2 && in_left >= 4) {
            const auto* at = reinterpret_cast<const unsigned char*>(in);
            const unsigned first = at[0] | (at[1] << 8);
            const unsigned second = at[2] | (at[3] << 8);
            if (first >= 0xD800 && first < 0xDC00 && second >= 0xDC00 && second < 0xE000) step = 4;
        }
        in += step;
        in_left -= step;
    }
    return true;
}

}  // namespace

bool utf16le_to_gbk(std::span<const std::uint8_t> utf16le, std::string& gbk) {
    return convert("GBK", "UTF-16LE", reinterpret_cast<const char*>(utf16le.data()), utf16le.size() & ~std::size_t{1},
                   2, gbk, "?");
}

bool utf8_to_gbk(std::string_view utf8, std::string& gbk) {
    return convert("GBK", "UTF-8", utf8.data(), utf8.size(), 1, gbk, "?");
}

bool gbk_to_utf8(std::string_view text, std::string& utf8) {
    return convert("UTF-8", "GBK", text.data(), text.size(), 1, utf8, "\xEF\xBF\xBD");
}

}  // namespace vnr::platform
