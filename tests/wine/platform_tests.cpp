// tests/wine/platform_tests.cpp: the Windows platform backends on their own, run under Wine, for what
// serial_road_tests cannot see through the DLL: GBK text beyond the version texts, drive roots, folder
// making and listing, the critical-section lock and sleep_us. Linked with the backend sources directly.
//   platform_tests.exe
#include "cases.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/lock.h"
#include "platform/paths.h"
#include "platform/text.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

using namespace vnr::platform;
using vnr::wine_test::Cases;

namespace {

DWORD WINAPI enter_and_leave(void* argument) {
    auto* state = static_cast<std::pair<ReentrantLock*, std::atomic<bool>*>*>(argument);
    state->first->enter();
    state->second->store(true);
    state->first->leave();
    return 0;
}

}  // namespace

int main() {
    Cases cases;
    cases.group("GBK text and Windows names");
    cases.run("UTF-16LE and UTF-8 become GBK; what GBK lacks becomes '?', never a look-alike", [&] {
        std::string gbk, utf8;
        // "张三A" then U+1F600 (a surrogate pair), "²", a zero, "B" and one stray byte.
        const std::vector<std::uint8_t> text{0x20, 0x5F, 0x09, 0x4E, 0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE,
                                             0xB2, 0x00, 0x00, 0x00, 0x42, 0x00, 0x43};
        cases.check(utf16le_to_gbk(text, gbk), "utf16le_to_gbk failed");
        const std::string head = "\xD5\xC5\xC8\xFD" "A", tail("?\0B", 3);
        cases.check(gbk == head + "?" + tail || gbk == head + "??" + tail, "got '%s'", gbk.c_str());
        cases.check(utf8_to_gbk("x\xC2\xB2 句柄无效", gbk), "utf8_to_gbk failed");
        cases.equal(gbk, "x? \xBE\xE4\xB1\xFA\xCE\xDE\xD0\xA7", "x² 句柄无效");
        cases.check(gbk_to_utf8("\xBE\xE4\xB1\xFA", utf8), "gbk_to_utf8 failed");
        cases.equal(utf8, "句柄", "back to UTF-8");
        gbk = "old";
        cases.check(utf16le_to_gbk({}, gbk) && gbk.empty(), "empty UTF-16 gave '%s'", gbk.c_str());
    });
    cases.run("a drive's root is its letter, colon and backslash", [&] {
        cases.equal(drive_root("D:\\VNlog"), "D:\\", "drive_root(D:\\VNlog)");
        cases.equal(drive_root("e:zp.wlt"), "e:\\", "drive_root(e:zp.wlt)");
        cases.equal(drive_root("VNlog"), "", "drive_root(VNlog)");
        cases.equal(drive_root("1:\\x"), "", "drive_root(1:\\x)");
    });

    cases.group("folders, lock and clock");
    char temp[MAX_PATH];
    ::GetTempPathA(sizeof temp, temp);
    const std::string root = std::string(temp) + "vnr-platform-" + std::to_string(::GetCurrentProcessId());
    cases.run("make_directory_path makes every missing folder; a listing marks folders, without . and ..", [&] {
        cases.check(make_directory_path(root + "\\a\\b"), "make_directory_path(%s\\a\\b) failed", root.c_str());
        cases.check(make_directory_path(root + "\\a\\b"), "make_directory_path of an existing folder failed");
        cases.check(make_directory_path(root + "/s1/s2/"), "make_directory_path with slashes and a last separator failed");
        cases.check(is_directory(root + "\\s1\\s2"), "s1\\s2 is no folder");
        cases.check(!make_directory(root + "\\x\\y"), "make_directory made a folder whose parent is missing");
        append_file(root + "\\file.txt", "x", 1, WriteMode::binary);
        cases.check(!make_directory_path(root + "\\file.txt\\below"), "make_directory_path below a file succeeded");
        std::vector<DirectoryEntry> entries{{"stale", true}};
        cases.check(list_directory(root + "\\", entries), "list_directory failed");
        cases.equal(static_cast<long long>(entries.size()), 3, "entries");
        for (const DirectoryEntry& entry : entries)
            cases.check(entry.is_directory == (entry.name != "file.txt"), "'%s' is marked wrongly", entry.name.c_str());
        cases.check(list_directory(root + "\\s1\\s2", entries) && entries.empty(), "an empty folder does not list as empty");
        cases.check(!list_directory(root + "\\none", entries), "listing a missing folder succeeded");
    });
    cases.run("the lock lets its holder in again and keeps another thread out until the last leave", [&] {
        ReentrantLock lock;
        std::atomic<bool> entered{false};
        std::pair<ReentrantLock*, std::atomic<bool>*> state{&lock, &entered};
        lock.enter();
        lock.enter();
        const HANDLE other = ::CreateThread(nullptr, 0, enter_and_leave, &state, 0, nullptr);
        ::Sleep(30);
        lock.leave();
        ::Sleep(30);
        cases.check(!entered.load(), "the other thread entered while the lock was held");
        lock.leave();
        cases.check(::WaitForSingleObject(other, 5000) == WAIT_OBJECT_0 && entered.load(), "the other thread never entered");
        ::CloseHandle(other);
    });
    cases.run("sleep_us waits at least as long as asked", [&] {
        const std::uint64_t frequency = performance_frequency();
        for (const std::uint64_t wait_us : {300ull, 2'500ull, 20'000ull}) {
            const std::uint64_t start = performance_counter();
            sleep_us(wait_us);
            const std::uint64_t spent_us = (performance_counter() - start) * 1'000'000 / frequency;
            cases.check(spent_us >= wait_us, "sleep_us(%llu) returned after %llu us",
                        static_cast<unsigned long long>(wait_us), static_cast<unsigned long long>(spent_us));
        }
    });
    return cases.summary();
}
