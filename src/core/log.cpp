// src/core/log.cpp: core. The writers of the diagnostic log.
#include "core/log.h"

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace vnr::log {

namespace {

using platform::LocalTime;

// "D:\VNlog\YYYYMMDD" and "...\logHH.txt", in Windows form.
std::string day_folder(const LocalTime& now) {
    char name[16];
    (void)std::snprintf(name, sizeof name, "%04d%02d%02d", now.year, now.month, now.day);
    return std::string(kRoot) + "\\" + name;
}

std::string hour_file(const std::string& folder, const LocalTime& now) {
    char name[16];
    (void)std::snprintf(name, sizeof name, "log%02d.txt", now.hour);
    return folder + "\\" + name;
}

// Formats `format` (UTF-8, converted to GBK first) with its arguments into at most `room` bytes.
std::string format_gbk(std::size_t room, const char* format, va_list arguments) {
    std::string gbk_format;
    if (!platform::utf8_to_gbk(format, gbk_format)) gbk_format = format;
    std::vector<char> buffer(room + 1);
    const int used = std::vsnprintf(buffer.data(), buffer.size(), gbk_format.c_str(), arguments);
    if (used < 0) return {};
    return std::string(buffer.data(), std::min<std::size_t>(static_cast<std::size_t>(used), room));
}

std::string write_head(const LocalTime& t) {
    char head[48];
    (void)std::snprintf(head, sizeof head, "%04d-%02d-%02d %02d:%02d:%02d:%04d | ", t.year, t.month, t.day, t.hour,
                        t.minute, t.second, t.millisecond);
    return head;
}

// Head, GBK body and line feed, cut to `room` bytes in all, appended to `native_file` in one write.
void append_line(const std::string& native_file, const LocalTime& now, std::string_view body, std::size_t room) {
    std::string line = write_head(now);
    line.append(body.substr(0, room - 1 > line.size() ? room - 1 - line.size() : 0));
    line += '\n';
    platform::append_file(native_file, line.data(), line.size(), platform::WriteMode::text);
}

// The body of log_write: switch, purge, day folder, hour file, line.
void write_line(std::string_view body) {
    purge(std::string(kRoot) + "\\");
    const LocalTime now = platform::local_time();
    const std::string folder = day_folder(now);
    ensure_dir(platform::native_path(folder));
    append_line(platform::native_path(hour_file(folder, now)), now, body, kLineRoom);
}

// The number that a folder name stands for: its leading decimal digits, 0 when it has none.
long long leading_number(const std::string& name) {
    long long value = 0;
    for (const char c : name) {
        if (c < '0' || c > '9') break;
        if (value > 100'000'000'000LL) break;  // far beyond any date; stop before overflow
        value = value * 10 + (c - '0');
    }
    return value;
}

}  // namespace

bool enabled() noexcept { return platform::path_exists(platform::native_path(kRoot)); }

// NOLINTNEXTLINE(cert-dcl50-cpp): printf-style, so that the compiler checks each format (gnu::format)
void line(const char* format, ...) noexcept {
    try {
        if (!enabled()) return;
        va_list arguments;
        va_start(arguments, format);
        const std::string body = format_gbk(kLineRoom, format, arguments);
        va_end(arguments);
        write_line(body);
    } catch (...) {
        // Out of memory: the line is lost, the caller goes on.
    }
}

void text(const char* message) noexcept {
    try {
        if (!enabled()) return;
        std::string body;
        if (!platform::utf8_to_gbk(message, body)) body = message;
        write_line(body);
    } catch (...) {
    }
}

void raw(std::string_view text) noexcept {
    try {
        if (!enabled()) return;
        const LocalTime day = platform::local_time();
        const std::string folder = day_folder(day);
        ensure_dir(platform::native_path(folder));
        const std::string file = platform::native_path(hour_file(folder, day));
        const LocalTime now = platform::local_time();
        std::vector<char> buffer(kRawLineRoom + 1);
        std::string gbk;
        if (!platform::utf8_to_gbk(text, gbk)) gbk.assign(text);
        const int used = std::snprintf(buffer.data(), buffer.size(), "%02d:%02d:%02d:%04d ==> %s\r\n", now.hour,
                                       now.minute, now.second, now.millisecond, gbk.c_str());
        if (used < 0) return;
        const std::size_t size = std::min<std::size_t>(static_cast<std::size_t>(used), kRawLineRoom);
        platform::append_file(file, buffer.data(), size, platform::WriteMode::binary);
    } catch (...) {
    }
}

// NOLINTNEXTLINE(cert-dcl50-cpp): printf-style, as line()
void flat(const char* format, ...) noexcept {
    try {
        // The flat file is written for as long as its drive is there; its folder is never created.
        if (!platform::is_directory(platform::drive_root(kFlatFile))) return;
        va_list arguments;
        va_start(arguments, format);
        const std::string body = format_gbk(kFlatLineRoom, format, arguments);
        va_end(arguments);
        append_line(platform::native_path(kFlatFile), platform::local_time(), body, kFlatLineRoom);
    } catch (...) {
    }
}

void purge(std::string_view root) noexcept {
    try {
        const LocalTime now = platform::local_time();
        const long long today = now.year * 10000LL + now.month * 100LL + now.day;
        std::string root_folder(root);
        if (!root_folder.empty() && root_folder.back() == '\\') root_folder.pop_back();
        const std::string native_root = platform::native_path(root_folder);
        // The log root becomes the current directory and stays so; the removals below use bare names,
        // unless the change failed: then a bare name could name a folder somewhere else.
        const bool inside_root = platform::set_current_directory(native_root);
        std::vector<platform::DirectoryEntry> entries;
        if (!platform::list_directory(native_root, entries)) return;
        for (const platform::DirectoryEntry& entry : entries) {
            if (!entry.is_directory || leading_number(entry.name) >= today - 1) continue;
            const std::string folder = std::string(root) + entry.name;
            if (folder.size() + 1 >= kPurgePathRoom) continue;
            std::vector<platform::DirectoryEntry> files;
            if (!platform::list_directory(platform::native_path(folder), files)) return;
            for (const platform::DirectoryEntry& file : files) {
                const std::string path = folder + "\\" + file.name;
                if (path.size() >= kPurgePathRoom) continue;
                platform::remove_file(platform::native_path(path));  // a subfolder stays, and so does its parent
            }
            platform::remove_directory(inside_root ? entry.name : platform::native_path(folder));
        }
    } catch (...) {
    }
}

void ensure_dir(const std::string& native_path) noexcept {
    if (!platform::path_exists(native_path)) platform::make_directory(native_path);
}

}  // namespace vnr::log
