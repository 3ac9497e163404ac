// src/platform/win32/text.cpp: platform (Windows). GBK conversions through UTF-16 with
// MultiByteToWideChar and WideCharToMultiByte on code page 936.
#include "platform/text.h"

#include <windows.h>

#include <climits>

namespace vnr::platform {

namespace {

constexpr UINT kGbk = 936;

// `size` bytes of code page `code_page` to UTF-16. Bytes that do not form a character of that code
// page become a replacement character rather than failing the whole text.
bool to_wide(UINT code_page, const char* text, std::size_t size, std::wstring& wide) {
    wide.clear();
    if (size == 0) return true;
    if (size > INT_MAX) return false;
    const int count = ::MultiByteToWideChar(code_page, 0, text, static_cast<int>(size), nullptr, 0);
    if (count <= 0) return false;
    wide.resize(static_cast<std::size_t>(count));
    return ::MultiByteToWideChar(code_page, 0, text, static_cast<int>(size), wide.data(), count) == count;
}

// UTF-16 to code page `code_page`. For GBK, a character that it lacks becomes '?': best-fit mapping
// is switched off so that no look-alike character is substituted instead.
bool from_wide(UINT code_page, const std::wstring& wide, std::string& text) {
    text.clear();
    if (wide.empty()) return true;
    if (wide.size() > INT_MAX) return false;
    const bool to_gbk = code_page == kGbk;
    const DWORD flags = to_gbk ? WC_NO_BEST_FIT_CHARS : 0;
    const char* replacement = to_gbk ? "?" : nullptr;  // UTF-8 takes no default character
    const int length = static_cast<int>(wide.size());
    const int count = ::WideCharToMultiByte(code_page, flags, wide.data(), length, nullptr, 0, replacement, nullptr);
    if (count <= 0) return false;
    text.resize(static_cast<std::size_t>(count));
    return ::WideCharToMultiByte(code_page, flags, wide.data(), length, text.data(), count, replacement, nullptr) == count;
}

}  // namespace

bool utf16le_to_gbk(std::span<const std::uint8_t> utf16le, std::string& gbk) {
    std::wstring wide(utf16le.size() / 2, L'\0');  // an odd trailing byte is dropped
    for (std::size_t i = 0; i < wide.size(); ++i)
        wide[i] = static_cast<wchar_t>(utf16le[2 * i] | (utf16le[2 * i + 1] << 8));
    return from_wide(kGbk, wide, gbk);
}

bool utf8_to_gbk(std::string_view utf8, std::string& gbk) {
    std::wstring wide;
    return to_wide(CP_UTF8, utf8.data(), utf8.size(), wide) && from_wide(kGbk, wide, gbk);
}

bool gbk_to_utf8(std::string_view text, std::string& utf8) {
    std::wstring wide;
    return to_wide(kGbk, text.data(), text.size(), wide) && from_wide(CP_UTF8, wide, utf8);
}

}  // namespace vnr::platform
