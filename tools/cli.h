// tools/cli.h: the command-line tool. What every verb shares: the verb table's row, opening and closing
// the reader, statuses in words, GBK to UTF-8, hexadecimal and JSON text. A verb lives in a file of its
// own (tools/<verb>_command.cpp), is declared in tools/verbs.h and has one row in the table of vnr.cpp.
#pragma once

#include "open_options.h"
#include "status_text.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::tool {

// One verb: its name, its lines of `vnr --help` (the usage line first, then what it does, indented), and
// its run function, which takes the arguments after the verb and returns the exit status (0 done, 1 the
// reader or the card failed, 2 a mistake on the command line).
struct Verb {
    const char* name;
    const char* help;
    int (*run)(int argc, char** argv);
};

// The reader, opened as the options say and closed at the end of the scope.
class OpenReader {
public:
    explicit OpenReader(const OpenOptions& options);
    ~OpenReader();
    OpenReader(const OpenReader&) = delete;
    OpenReader& operator=(const OpenReader&) = delete;
    // False when it did not open (why has been printed).
    explicit operator bool() const noexcept { return handle_ > 1; }
    std::int32_t handle() const noexcept { return handle_; }

private:
    std::int32_t handle_;
};

// Prints "vnr: <what>: <the status in words>" on stderr and returns 1, for a call that failed.
int report_failure(const char* what, long status);

// The library's GBK text as UTF-8 (as it stands when it does not convert).
std::string to_utf8(std::string_view gbk);

// Bytes as upper-case hexadecimal, with `separator` between bytes.
std::string to_hex(std::span<const std::uint8_t> bytes, std::string_view separator = "");
// Hexadecimal digits (either case, spaces allowed between bytes) to bytes; nullopt when they are not.
std::optional<std::vector<std::uint8_t>> parse_hex(std::string_view text);
// A whole number from `low` to `high`, decimal or 0x-hexadecimal; nullopt when it is not.
std::optional<long long> parse_number(std::string_view text, long long low, long long high);

// UTF-8 text as a JSON string, quotes included.
std::string json_text(std::string_view text);

}  // namespace vnr::tool
