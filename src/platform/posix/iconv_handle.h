// src/platform/posix/iconv_handle.h: platform (POSIX). One iconv conversion descriptor, closed by its
// owner on every way out.
#pragma once

#include <iconv.h>

namespace vnr::platform {

class Iconv {
public:
    Iconv(const char* to, const char* from) noexcept : cd_(::iconv_open(to, from)) {}
    ~Iconv() {
        if (*this) ::iconv_close(cd_);
    }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): (iconv_t)-1 is how iconv_open says it failed
    explicit operator bool() const noexcept { return cd_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t get() const noexcept { return cd_; }

private:
    iconv_t cd_;
};

}  // namespace vnr::platform
