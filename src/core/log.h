// src/core/log.h: core. The diagnostic log: a text trace of calls and frames, switched on by the
// existence of the folder "D:\VNlog" (on Linux $VNR32_PREFIX/drive_d/VNlog) and never created by the
// library. Lines go to "<root>\YYYYMMDD\logHH.txt" by local time; folders older than yesterday are
// purged at every line. No writer takes a lock, reports a failure or disturbs its caller: a line that
// cannot be written is lost. Format texts are UTF-8 in the sources and written as GBK; arguments
// passed for "%s" are taken as GBK already.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vnr::log {

// The log root and the flat log file, in the library's Windows form.
inline constexpr std::string_view kRoot = "D:\\VNlog";
inline constexpr std::string_view kFlatFile = "D:\\Vnlog.txt";
// Room of one line, head included; a longer line is cut to it.
inline constexpr std::size_t kLineRoom = 2100;
inline constexpr std::size_t kRawLineRoom = 5000;
inline constexpr std::size_t kFlatLineRoom = 1024;
// Room for the Windows-form paths that the purge builds; an entry whose path does not fit is skipped.
inline constexpr std::size_t kPurgePathRoom = 100;

// True when the log root exists, i.e. the log is switched on.
bool enabled() noexcept;

// Writes "YYYY-MM-DD hh:mm:ss:mmmm | " and the formatted text as one line, after a purge.
[[gnu::format(printf, 1, 2)]] void line(const char* format, ...) noexcept;

// Writes "hh:mm:ss:mmmm ==> text\r\n" as one line; used for frames and link events.
void raw(std::string_view text) noexcept;

// Writes a line like line() to the flat file "D:\Vnlog.txt" whenever its drive is there, without
// looking at the switch and without any purge.
[[gnu::format(printf, 1, 2)]] void flat(const char* format, ...) noexcept;

// Empties and removes every folder of `root` (given with a trailing backslash) whose name, read as a
// number from its leading digits, is below today's YYYYMMDD minus 1. Makes the log root the process's
// current directory, and leaves it so.
void purge(std::string_view root) noexcept;

// Creates the folder `native_path` when it does not exist.
void ensure_dir(const std::string& native_path) noexcept;

// Writes the UTF-8 `text` as a line, as it stands (no placeholders).
void text(const char* text) noexcept;

// Writes `text` as a line and gives back `status`: the refusal of a bad handle or argument.
inline std::int16_t refuse(std::int16_t status, const char* message) noexcept {
    text(message);
    return status;
}

}  // namespace vnr::log
