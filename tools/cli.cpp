// tools/cli.cpp: the command-line tool. What every verb shares (see cli.h).
#include "cli.h"

#include "platform/text.h"
#include "vnr_32.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace vnr::tool {

OpenReader::OpenReader(const OpenOptions& options) : handle_(open_reader(options)) {}

OpenReader::~OpenReader() {
    if (handle_ > 1) device_close(handle_);
}

int report_failure(const char* what, long status) {
    std::fprintf(stderr, "vnr: %s: %s\n", what, explain_status(status).c_str());
    return 1;
}

std::string to_utf8(std::string_view gbk) {
    std::string utf8;
    if (!platform::gbk_to_utf8(gbk, utf8)) utf8.assign(gbk);
    return utf8;
}

std::string to_hex(std::span<const std::uint8_t> bytes, std::string_view separator) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0) out += separator;
        out += kDigits[bytes[i] >> 4];
        out += kDigits[bytes[i] & 0x0F];
    }
    return out;
}

std::optional<std::vector<std::uint8_t>> parse_hex(std::string_view text) {
    std::vector<std::uint8_t> out;
    int high = -1;
    for (const char c : text) {
        if ((c == ' ' || c == ':') && high < 0) continue;
        int v = -1;
        if (c >= '0' && c <= '9') v = c - '0';
        if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
        if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
        if (v < 0) return std::nullopt;
        if (high < 0) {
            high = v;
        } else {
            out.push_back(static_cast<std::uint8_t>(high * 16 + v));
            high = -1;
        }
    }
    if (high >= 0) return std::nullopt;
    return out;
}

std::optional<long long> parse_number(std::string_view text, long long low, long long high) {
    const std::string copy(text);
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(copy.c_str(), &end, 0);
    if (copy.empty() || end != copy.c_str() + copy.size() || errno != 0 || value < low || value > high)
        return std::nullopt;
    return value;
}

std::string json_text(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                    out += escaped;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

}  // namespace vnr::tool
