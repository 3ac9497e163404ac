// The harness of the Wine programs: a case is a named function of checks; each prints a line, its failed
// checks below, and the program ends with "N passed, N failed".
#pragma once

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::wine_test {

class Cases {
public:
    Cases() {
        // Line feeds go out as they are, so that the lines read the same to a script on Linux.
        _setmode(_fileno(stdout), _O_BINARY);
    }

    void group(const char* name) { std::printf("\n== %s\n", name); }

    void run(const char* name, const std::function<void()>& body) {
        failures_.clear();
        body();
        if (failures_.empty()) {
            ++passed_;
            std::printf("[ ok ] %s\n", name);
        } else {
            ++failed_;
            std::printf("[FAIL] %s\n", name);
            for (const std::string& failure : failures_) std::printf("         %s\n", failure.c_str());
        }
        std::fflush(stdout);
    }

    // Records a failure described by `format` unless `ok`; returns `ok`.
    [[gnu::format(printf, 3, 4)]] bool check(bool ok, const char* format, ...) {
        if (ok) return true;
        char text[512];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        failures_.emplace_back(text);
        return false;
    }

    bool equal(long long actual, long long expected, const char* what) {
        return check(actual == expected, "%s: got %lld, expected %lld", what, actual, expected);
    }

    bool equal(const std::string& actual, const std::string& expected, const char* what) {
        return check(actual == expected, "%s: got '%s', expected '%s'", what, actual.c_str(), expected.c_str());
    }

    // Prints the summary line and gives the program's exit status.
    int summary() const {
        std::printf("\n%d passed, %d failed\n", passed_, failed_);
        std::fflush(stdout);
        return failed_ == 0 ? 0 : 1;
    }

private:
    int passed_ = 0;
    int failed_ = 0;
    std::vector<std::string> failures_;
};

// vnr_32.dll as an application reaches it: LoadLibraryA, then GetProcAddress of each export it calls.
struct Dll {
    HMODULE module = nullptr;
    template <typename Function>
    bool resolve(Function& function, const char* name) {
        function = module != nullptr ? reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)))
                                     : nullptr;
        return function != nullptr;
    }
};

// Declares `struct NAME` with a member for each export that the X-macro LIST names; load() resolves them all.
#define VNR_WINE_MEMBER(name) decltype(&::name) name = nullptr;
#define VNR_WINE_RESOLVE(name) all = resolve(name, #name) && all;
#define VNR_WINE_LIBRARY(NAME, LIST)                                                                          \
    struct NAME : vnr::wine_test::Dll {                                                                         \
        LIST(VNR_WINE_MEMBER)                                                                                   \
        bool load() {                                                                                           \
            module = ::LoadLibraryA("vnr_32.dll");                                                              \
            bool all = module != nullptr;                                                                       \
            LIST(VNR_WINE_RESOLVE)                                                                              \
            return all;                                                                                         \
        }                                                                                                       \
    }

// The whole content of a file, others writing to it meanwhile; empty when it cannot be opened.
inline std::string file_bytes(const std::string& path) {
    std::string content;
    const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return content;
    char chunk[4096];
    DWORD got = 0;
    while (::ReadFile(file, chunk, sizeof chunk, &got, nullptr) && got > 0) content.append(chunk, got);
    ::CloseHandle(file);
    return content;
}

// Hex digits to the bytes they stand for; false on an odd count or a character that is no hex digit.
// The scripts hand texts over as hex of their GBK bytes, so that no code page stands in between.
inline bool from_hex(std::string_view hex, std::string& bytes) {
    auto value = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    bytes.clear();
    if (hex.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int high = value(hex[i]), low = value(hex[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes += static_cast<char>(high * 16 + low);
    }
    return true;
}

}  // namespace vnr::wine_test
