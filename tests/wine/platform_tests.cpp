// tests/wine/platform_tests.cpp: the Windows platform backends on their own, run under Wine: GBK
// text, Windows names, folders and appends, the critical-section lock, the clocks, run-time loading,
// and the serial port's failures and time-outs. Linked with the backend sources directly.
//
// The ports, as scripts/wine-tests.sh maps them: COM1 the simulated reader (silent unless asked),
// COM4 /dev/null (opens, but is no serial port), COM32 unmapped.
//   platform_tests.exe
#include "cases.h"
#include "platform/clock.h"
#include "platform/dynamic_library.h"
#include "platform/files.h"
#include "platform/lock.h"
#include "platform/paths.h"
#include "platform/serial_port.h"
#include "platform/text.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

using namespace vnr::platform;
using vnr::wine_test::Cases;

namespace {

std::string read_file(const std::string& path) {
    std::string content;
    const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return "<missing>";
    char chunk[256];
    DWORD got = 0;
    while (::ReadFile(file, chunk, sizeof chunk, &got, nullptr) && got > 0) content.append(chunk, got);
    ::CloseHandle(file);
    return content;
}

// A fresh folder below the temporary folder, e.g. "C:\users\x\Temp\vnr-platform-1234".
std::string make_scratch_folder() {
    char temp[MAX_PATH];
    const DWORD length = ::GetTempPathA(sizeof temp, temp);
    if (length == 0 || length >= sizeof temp) return {};
    const std::string folder = std::string(temp) + "vnr-platform-" + std::to_string(::GetCurrentProcessId()) + "-" +
                               std::to_string(::GetTickCount64());
    return ::CreateDirectoryA(folder.c_str(), nullptr) ? folder : std::string();
}

void text_cases(Cases& cases) {
    cases.group("GBK text");
    cases.run("UTF-16LE becomes GBK; a character GBK lacks becomes '?'; an odd last byte is dropped", [&] {
        std::string gbk;
        // "张三A": 张 is D5 C5 and 三 is C8 FD in GBK.
        const std::vector<std::uint8_t> name{0x20, 0x5F, 0x09, 0x4E, 0x41, 0x00};
        cases.check(utf16le_to_gbk(name, gbk), "utf16le_to_gbk failed");
        cases.equal(gbk, "\xD5\xC5\xC8\xFD" "A", "张三A");
        // U+1F600 (a surrogate pair), then "B", then one stray byte.
        const std::vector<std::uint8_t> emoji{0x3D, 0xD8, 0x00, 0xDE, 0x42, 0x00, 0x43};
        cases.check(utf16le_to_gbk(emoji, gbk), "utf16le_to_gbk failed on an emoji");
        cases.check(!gbk.empty() && gbk.back() == 'B' && gbk.find('?') != std::string::npos &&
                        gbk.find_first_not_of("?B") == std::string::npos,
                    "emoji and B gave '%s'", gbk.c_str());
    });
    cases.run("no look-alike stands in for a missing character: ² is '?', not '2'", [&] {
        std::string gbk;
        const std::vector<std::uint8_t> squared{0xB2, 0x00, 0xAA, 0x00};  // "²ª"
        cases.check(utf16le_to_gbk(squared, gbk), "utf16le_to_gbk failed");
        cases.equal(gbk, "??", "U+00B2 U+00AA");
        cases.check(utf8_to_gbk("x\xC2\xB2", gbk), "utf8_to_gbk failed");
        cases.equal(gbk, "x?", "x²");
    });
    cases.run("a zero inside the text is kept, and an empty text converts to an empty text", [&] {
        std::string gbk = "old";
        const std::vector<std::uint8_t> with_zero{0x41, 0x00, 0x00, 0x00, 0x42, 0x00};
        cases.check(utf16le_to_gbk(with_zero, gbk), "utf16le_to_gbk failed");
        cases.equal(gbk, std::string("A\0B", 3), "A NUL B");
        gbk = "old";
        cases.check(utf16le_to_gbk({}, gbk) && gbk.empty(), "empty UTF-16 gave '%s'", gbk.c_str());
        gbk = "old";
        cases.check(utf8_to_gbk("", gbk) && gbk.empty(), "empty UTF-8 gave '%s'", gbk.c_str());
    });
    cases.run("UTF-8 to GBK and back", [&] {
        std::string gbk, utf8;
        cases.check(utf8_to_gbk("==>device_reset(), 句柄无效 ", gbk), "utf8_to_gbk failed");
        cases.equal(gbk, "==>device_reset(), \xBE\xE4\xB1\xFA\xCE\xDE\xD0\xA7 ", "句柄无效");
        cases.check(gbk_to_utf8(gbk, utf8), "gbk_to_utf8 failed");
        cases.equal(utf8, "==>device_reset(), 句柄无效 ", "back to UTF-8");
    });
}

void path_cases(Cases& cases) {
    cases.group("Windows names");
    cases.run("paths stay as they are; a drive's root is its letter, colon and backslash", [&] {
        cases.equal(native_path("D:\\VNlog"), "D:\\VNlog", "native_path");
        cases.equal(native_path("sub/zp.bmp"), "sub/zp.bmp", "native_path of a relative path");
        cases.equal(drive_root("D:\\VNlog"), "D:\\", "drive_root(D:\\VNlog)");
        cases.equal(drive_root("e:zp.wlt"), "e:\\", "drive_root(e:zp.wlt)");
        cases.equal(drive_root("VNlog"), "", "drive_root(VNlog)");
        cases.equal(drive_root("1:\\x"), "", "drive_root(1:\\x)");
        cases.equal(drive_root(""), "", "drive_root of nothing");
    });
    cases.run("ports 0 to 8 are COM1 to COM9, from 9 on they carry the device prefix", [&] {
        cases.equal(serial_port_name(0), "COM1", "index 0");
        cases.equal(serial_port_name(8), "COM9", "index 8");
        cases.equal(serial_port_name(9), "\\\\.\\COM10", "index 9");
        cases.equal(serial_port_name(31), "\\\\.\\COM32", "index 31");
    });
}

void file_cases(Cases& cases) {
    cases.group("folders and files");
    const std::string root = make_scratch_folder();
    if (root.empty()) {
        cases.run("a scratch folder can be made", [&] { cases.check(false, "no scratch folder (error %lu)", ::GetLastError()); });
        return;
    }
    cases.run("make_directory_path makes every missing folder, with either separator", [&] {
        const std::string deep = root + "\\a\\b\\c";
        cases.check(make_directory_path(deep), "make_directory_path(%s) failed", deep.c_str());
        cases.check(make_directory_path(deep), "make_directory_path of an existing folder failed");
        cases.check(is_directory(deep), "%s is no folder", deep.c_str());
        cases.check(make_directory_path(root + "/s1/s2/"), "make_directory_path with slashes and a last separator failed");
        cases.check(is_directory(root + "\\s1\\s2"), "s1\\s2 is no folder");
        cases.check(!make_directory(root + "\\x\\y"), "make_directory made a folder whose parent is missing");
        const std::string file = root + "\\a\\plain.txt";
        append_file(file, "x", 1, WriteMode::binary);
        cases.check(!make_directory_path(file + "\\below"), "make_directory_path below a file succeeded");
        cases.check(path_exists(file) && !is_directory(file), "a file counts as a folder");
    });
    cases.run("text appends write CR LF for each line feed, binary appends write the bytes as they are", [&] {
        const std::string file = root + "\\append.txt";
        cases.check(append_file(file, "one\ntwo\n", 8, WriteMode::text), "text append failed");
        cases.check(append_file(file, "3\r\n", 3, WriteMode::binary), "binary append failed");
        cases.check(append_file(file, "\n", 1, WriteMode::text), "text append of a lone line feed failed");
        cases.equal(read_file(file), "one\r\ntwo\r\n3\r\n\r\n", "the file");
        cases.check(!append_file(root + "\\none\\f.txt", "x", 1, WriteMode::text), "an append into a missing folder succeeded");
    });
    cases.run("a listing marks plain folders only, and leaves out . and ..", [&] {
        const std::string folder = root + "\\list";
        make_directory(folder);
        make_directory(folder + "\\plain");
        make_directory(folder + "\\hidden");
        ::SetFileAttributesA((folder + "\\hidden").c_str(), FILE_ATTRIBUTE_HIDDEN);
        const bool hidden_took = ::GetFileAttributesA((folder + "\\hidden").c_str()) != FILE_ATTRIBUTE_DIRECTORY;
        append_file(folder + "\\file.txt", "x", 1, WriteMode::binary);
        std::vector<DirectoryEntry> entries{{"stale", true}};
        cases.check(list_directory(folder, entries), "list_directory failed");
        cases.equal(static_cast<long long>(entries.size()), 3, "entries");
        for (const DirectoryEntry& entry : entries) {
            if (entry.name == "plain") cases.check(entry.is_directory, "plain is not marked a folder");
            else if (entry.name == "file.txt") cases.check(!entry.is_directory, "file.txt is marked a folder");
            else if (entry.name == "hidden") cases.check(!hidden_took || !entry.is_directory, "a hidden folder is marked plain");
            else cases.check(false, "unexpected entry '%s'", entry.name.c_str());
        }
        cases.check(list_directory(folder + "\\", entries) && entries.size() == 3, "a trailing separator changes the listing");
        cases.check(list_directory(root + "\\s1\\s2", entries) && entries.empty(), "an empty folder does not list as empty");
        cases.check(!list_directory(root + "\\none", entries), "listing a missing folder succeeded");
    });
    cases.run("removals, and relative paths counting from the current directory", [&] {
        const std::string file = root + "\\a\\plain.txt";
        cases.check(!remove_directory(root + "\\a"), "a folder that is not empty was removed");
        cases.check(remove_file(file), "remove_file failed");
        cases.check(!path_exists(file), "the file is still there");
        cases.check(!remove_file(file), "removing a missing file succeeded");
        char previous[MAX_PATH];
        ::GetCurrentDirectoryA(sizeof previous, previous);
        cases.check(set_current_directory(root + "\\a\\b"), "set_current_directory failed");
        cases.check(remove_directory("c"), "removing the relative folder c failed");
        cases.check(!path_exists(root + "\\a\\b\\c"), "c is still there");
        cases.check(!set_current_directory(root + "\\none"), "set_current_directory to a missing folder succeeded");
        ::SetCurrentDirectoryA(previous);
    });
}

DWORD WINAPI enter_and_leave(void* argument) {
    auto* state = static_cast<std::pair<ReentrantLock*, std::atomic<bool>*>*>(argument);
    state->first->enter();
    state->second->store(true);
    state->first->leave();
    return 0;
}

void lock_and_clock_cases(Cases& cases) {
    cases.group("lock and clocks");
    cases.run("the lock lets its holder in again and keeps another thread out until the last leave", [&] {
        ReentrantLock lock;
        std::atomic<bool> entered{false};
        std::pair<ReentrantLock*, std::atomic<bool>*> state{&lock, &entered};
        lock.enter();
        lock.enter();
        const HANDLE other = ::CreateThread(nullptr, 0, enter_and_leave, &state, 0, nullptr);
        if (!cases.check(other != nullptr, "CreateThread failed")) {
            lock.leave();
            lock.leave();
            return;
        }
        ::Sleep(30);
        cases.check(!entered.load(), "the other thread entered a held lock");
        lock.leave();
        ::Sleep(30);
        cases.check(!entered.load(), "the other thread entered while the lock was held once more");
        lock.leave();
        cases.check(::WaitForSingleObject(other, 5000) == WAIT_OBJECT_0, "the other thread never got the lock");
        cases.check(entered.load(), "the other thread did not enter");
        ::CloseHandle(other);
    });
    cases.run("sleep_us waits at least as long as asked; the counters and the local time agree with the system", [&] {
        const std::uint64_t frequency = performance_frequency();
        if (!cases.check(frequency > 0, "no performance frequency")) return;
        for (const std::uint64_t wait_us : {300ull, 2'500ull, 20'000ull}) {
            const std::uint64_t start = performance_counter();
            sleep_us(wait_us);
            const std::uint64_t spent_us = (performance_counter() - start) * 1'000'000 / frequency;
            cases.check(spent_us >= wait_us, "sleep_us(%llu) returned after %llu us", static_cast<unsigned long long>(wait_us),
                        static_cast<unsigned long long>(spent_us));
        }
        const std::uint64_t tick = tick_ms();
        sleep_us(20'000);
        cases.check(tick_ms() - tick >= 15, "tick_ms moved %llu ms over a 20 ms sleep",
                    static_cast<unsigned long long>(tick_ms() - tick));
        SYSTEMTIME system{};
        ::GetLocalTime(&system);
        const LocalTime now = local_time();
        cases.check(now.year == system.wYear && now.month == system.wMonth && now.day == system.wDay &&
                        now.hour == system.wHour && now.minute - system.wMinute <= 1 && now.millisecond < 1000,
                    "local_time %04d-%02d-%02d %02d:%02d against the system's %04u-%02u-%02u %02u:%02u", now.year,
                    now.month, now.day, now.hour, now.minute, system.wYear, system.wMonth, system.wDay, system.wHour,
                    system.wMinute);
    });
}

void loading_cases(Cases& cases) {
    cases.group("run-time loading");
    cases.run("a library loads by bare name, finds its symbols, moves, and a missing one stays empty", [&] {
        DynamicLibrary kernel = DynamicLibrary::open("kernel32.dll");
        if (!cases.check(static_cast<bool>(kernel), "kernel32.dll did not load")) return;
        void* expected = reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA("kernel32.dll"), "GetTickCount64"));
        cases.check(kernel.symbol("GetTickCount64") == expected, "GetTickCount64 was not found at its address");
        cases.check(kernel.symbol("NoSuchFunctionAnywhere") == nullptr, "a missing symbol was found");
        DynamicLibrary moved = std::move(kernel);
        cases.check(!kernel && moved, "the move did not hand the library over");
        cases.check(!DynamicLibrary::open("no_such_library_anywhere.dll"), "a missing library loaded");
    });
    cases.run("this_module_folder is the folder of the program that holds the code, with a backslash", [&] {
        char path[MAX_PATH];
        const DWORD length = ::GetModuleFileNameA(nullptr, path, sizeof path);
        const std::string program(path, length);
        cases.equal(this_module_folder(), program.substr(0, program.find_last_of('\\') + 1), "this_module_folder");
    });
}

void serial_cases(Cases& cases) {
    cases.group("serial port");
    const SerialTimeouts short_wait{0, 0, 200, 0, 500};
    cases.run("a port that does not exist fails to open; a device that is no serial port fails at its state", [&] {
        SerialError error = SerialError::none;
        cases.check(open_serial_port("\\\\.\\COM32", 9600, 1024, short_wait, error) == nullptr, "COM32 opened");
        cases.equal(static_cast<long long>(error), static_cast<long long>(SerialError::open_failed), "error for COM32");
        error = SerialError::none;
        cases.check(open_serial_port("COM4", 9600, 1024, short_wait, error) == nullptr, "COM4 (/dev/null) opened");
        cases.equal(static_cast<long long>(error), static_cast<long long>(SerialError::state_read), "error for COM4");
    });
    cases.run("the reader's port opens, a read with nothing coming returns 0 after the total time-out, and closes once", [&] {
        SerialError error = SerialError::open_failed;
        const std::unique_ptr<SerialPort> port = open_serial_port("COM1", 115200, 1024, short_wait, error);
        if (!cases.check(port != nullptr, "COM1 did not open (error %d)", static_cast<int>(error))) return;
        cases.equal(static_cast<long long>(error), static_cast<long long>(SerialError::none), "error");
        cases.check(port->purge(), "purge failed");
        std::uint8_t byte = 0;
        const ULONGLONG start = ::GetTickCount64();
        cases.equal(port->read(&byte, 1), 0, "read with nothing coming");
        const ULONGLONG spent = ::GetTickCount64() - start;
        cases.check(spent >= 150 && spent < 2000, "the 200 ms read took %llu ms", static_cast<unsigned long long>(spent));
        cases.check(port->setup(1024, 1024, SerialTimeouts{0, 0, 50, 0, 500}), "setup failed");
        const ULONGLONG again = ::GetTickCount64();
        cases.equal(port->read(&byte, 1), 0, "read after setup");
        cases.check(::GetTickCount64() - again < 150, "setup did not shorten the read time-out");
        cases.check(port->close(), "close failed");
        cases.check(!port->close(), "a second close succeeded");
        cases.equal(port->read(&byte, 1), -1, "read after close");
        cases.check(!port->write(&byte, 1), "write after close succeeded");
    });
}

}  // namespace

int main() {
    Cases cases;
    text_cases(cases);
    path_cases(cases);
    file_cases(cases);
    lock_and_clock_cases(cases);
    loading_cases(cases);
    serial_cases(cases);
    return cases.summary();
}
