// The DLL on the serial road under Wine, reached only through LoadLibraryA and GetProcAddress. Ports:
// COM1 the reader, COM2 its control channel, COM10 the reader as "\\.\COM10", COM4 /dev/null, COM32
// unmapped; D: a temporary folder holding the log root D:\VNlog.
//   serial_road_tests.exe --reader-version-gbk HEX --module-version-gbk HEX  (the deck's version texts)
#include "cases.h"
#include "control_port.h"
#include "vnr_32.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using vnr::wine_test::Cases;
using vnr::wine_test::file_bytes;
using vnr::wine_test::ControlPort;
using vnr::wine_test::from_hex;

// ---- The DLL, reached as an application reaches it. -------------------------------------------

#define VNR_FUNCTIONS(X) \
    X(device_open) X(device_open_name) X(device_close) X(device_gettype) X(device_version) X(ReSetupComm)
VNR_WINE_LIBRARY(Library, VNR_FUNCTIONS);

constexpr std::int32_t kBaud = 115200;
constexpr DWORD kSettleMs = 200;  // far longer than the rest of a version reply takes at 115200 baud
constexpr std::size_t kVersionRoom = 100;

struct Version {
    std::int16_t status = 0;
    std::string text;
};

Version version_of(const Library& vnr, std::int32_t icdev, std::uint8_t module) {
    std::uint8_t length = 0;
    std::uint8_t text[kVersionRoom] = {};
    Version result;
    result.status = vnr.device_version(icdev, module, &length, text);
    if (result.status == 0) result.text.assign(reinterpret_cast<const char*>(text), length);
    return result;
}

// ---- The log on drive D:. -----------------------------------------------------------------------

constexpr const char* kLogRoot = "D:\\VNlog";

std::string hour_file(const SYSTEMTIME& t) {
    char path[MAX_PATH];
    std::snprintf(path, sizeof path, "%s\\%04u%02u%02u\\log%02u.txt", kLogRoot, t.wYear, t.wMonth, t.wDay, t.wHour);
    return path;
}

// The log written between `from` and `to`: the hour files of both ends (the same file unless an hour
// turned in between).
std::string log_between(const SYSTEMTIME& from, const SYSTEMTIME& to) {
    std::string content = file_bytes(hour_file(from));
    if (hour_file(to) != hour_file(from)) content += file_bytes(hour_file(to));
    return content;
}

// ---- The cases. ----------------------------------------------------------------------------------

struct Expected {
    std::string reader_version;
    std::string module_version;
};

bool parse(int argc, char** argv, Expected& expected) {
    if (argc != 5) return false;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string_view option = argv[i];
        std::string* target = option == "--reader-version-gbk"   ? &expected.reader_version
                              : option == "--module-version-gbk" ? &expected.module_version
                                                                 : nullptr;
        if (target == nullptr || !from_hex(argv[i + 1], *target)) return false;
    }
    return !expected.reader_version.empty() && !expected.module_version.empty();
}

}  // namespace

int main(int argc, char** argv) {
    Expected expected;
    if (!parse(argc, argv, expected)) {
        std::fprintf(stderr, "usage: serial_road_tests.exe --reader-version-gbk HEX --module-version-gbk HEX\n");
        return 2;
    }
    Cases cases;
    Library vnr;
    ControlPort control("COM2");

    // The log is switched on by its root folder, which must stand before the DLL is attached.
    const bool log_root_made = ::CreateDirectoryA(kLogRoot, nullptr) || ::GetLastError() == ERROR_ALREADY_EXISTS;
    SYSTEMTIME before_load{}, after_load{};
    ::GetLocalTime(&before_load);
    const bool loaded = vnr.load();
    ::GetLocalTime(&after_load);

    cases.group("loading");
    cases.run("vnr_32.dll loads and every session function resolves by its plain name", [&] {
        cases.check(loaded, "LoadLibraryA or GetProcAddress failed (error %lu)", ::GetLastError());
    });
    if (!loaded) return cases.summary();
    cases.group("a session on COM1");
    std::int32_t icdev = vnr.device_open(0, kBaud);
    cases.run("device_open(0, 115200) finds the simulated reader and reports a serial open", [&] {
        cases.check(icdev >= 2, "device_open: got %ld, expected a handle of 2 or above", static_cast<long>(icdev));
        std::uint8_t kind = 0x5A;
        cases.equal(vnr.device_gettype(&kind), 0, "device_gettype");
        cases.equal(kind, 0, "kind");
    });
    cases.run("device_version gives the texts of the reader (module 0) and its contactless module (1)", [&] {
        const Version reader = version_of(vnr, icdev, 0);
        const Version module = version_of(vnr, icdev, 1);
        cases.equal(reader.status, 0, "device_version module 0");
        cases.check(reader.text == expected.reader_version, "module 0: '%s', expected '%s'", reader.text.c_str(),
                    expected.reader_version.c_str());
        cases.equal(module.status, 0, "device_version module 1");
        cases.check(module.text == expected.module_version, "module 1: '%s', expected '%s'", module.text.c_str(),
                    expected.module_version.c_str());
    });
    cases.run("device_version refuses module 2, which writes its refusal to the log", [&] {
        std::uint8_t length = 0xEE, text[kVersionRoom] = {};
        cases.equal(vnr.device_version(icdev, 2, &length, text), VNR_E_BAD_ARGUMENT, "module 2");
    });
    cases.run("ReSetupComm takes the open port, the reader still answers, an unknown handle gives 1", [&] {
        cases.equal(vnr.ReSetupComm(icdev), 0, "ReSetupComm on the open handle");
        cases.equal(version_of(vnr, icdev, 1).status, 0, "device_version after ReSetupComm");
        cases.equal(vnr.ReSetupComm(icdev + 0x4000), 1, "ReSetupComm on a handle never opened");
    });
    cases.run("device_close gives 0 for the handle, then -1 for it again; the closed port is dead", [&] {
        cases.equal(vnr.device_close(icdev), 0, "device_close of the open handle");
        cases.equal(vnr.device_close(icdev), VNR_E_GENERAL, "device_close of the closed handle");
        cases.check(version_of(vnr, icdev, 1).status != 0, "a command on the closed handle succeeded");
    });

    cases.group("choosing the port");
    cases.run("index 9 opens \"\\\\.\\COM10\", the name with the device prefix", [&] {
        const std::int32_t handle = vnr.device_open(9, kBaud);
        cases.check(handle >= 2, "device_open(9): got %ld", static_cast<long>(handle));
        if (handle >= 2) cases.equal(vnr.device_close(handle), 0, "device_close");
    });
    cases.run("a port with nothing mapped gives -21, a device that is no serial port -22", [&] {
        cases.equal(vnr.device_open(31, 9600), VNR_E_PORT_OPEN, "device_open(31) on the unmapped \\\\.\\COM32");
        cases.equal(vnr.device_open(3, 9600), VNR_E_PORT_STATE, "device_open(3) on COM4, not a serial port");
        cases.equal(vnr.device_open(3, 9600), VNR_E_PORT_STATE, "device_open(3) again");
    });
    cases.run("a port whose reader keeps silent opens to 0, and the port is free again after it", [&] {
        if (!cases.check(control.send("fault silence always"), "the control channel refused \"fault silence always\"")) return;
        const ULONGLONG start = ::GetTickCount64();
        cases.equal(vnr.device_open(0, kBaud), 0, "device_open(0) with a silent reader");
        const ULONGLONG spent = ::GetTickCount64() - start;
        // The version query of the open waits 100 ms for a reply, not the standing 2000 ms.
        cases.check(spent < 1500, "the silent open took %llu ms", static_cast<unsigned long long>(spent));
        cases.check(control.send("clear"), "the control channel refused \"clear\"");
        const std::int32_t handle = vnr.device_open(0, kBaud);
        cases.check(handle >= 2, "device_open(0) once the reader answers: got %ld", static_cast<long>(handle));
        if (handle >= 2) cases.equal(vnr.device_close(handle), 0, "device_close");
    });

    cases.group("faults on the wire");
    icdev = vnr.device_open(0, kBaud);
    const bool session = icdev >= 2 && control.is_open();
    // Injects `fault` for the next reply and checks the status of one version query under it, and
    // that the query after it succeeds again.
    auto fault_case = [&](const char* name, const std::string& fault, std::int16_t status) {
        cases.run(name, [&] {
            if (!cases.check(session, "no session (icdev %ld) or no control channel", static_cast<long>(icdev))) return;
            std::string answer;
            if (!cases.check(control.send(fault, &answer), "\"%s\" was answered '%s'", fault.c_str(), answer.c_str()))
                return;
            const Version faulty = version_of(vnr, icdev, 1);
            cases.equal(faulty.status, status, ("device_version under \"" + fault + "\"").c_str());
            // The library gives up on noise as soon as it has read ten bytes, while the rest of the
            // reply is still on the wire. The next command's purge throws away only what has come by
            // then, so the line is left to fall quiet first, as an application would after an error.
            ::Sleep(kSettleMs);
            control.send("clear");
            cases.equal(version_of(vnr, icdev, 1).status, 0, "device_version after the fault");
        });
    };
    fault_case("ten bytes of noise give -34", "fault noise 10 once", VNR_E_NO_START);
    fault_case("silence gives -17", "fault silence once", VNR_E_NO_REPLY);
    fault_case("a reply cut mid-frame gives -17", "fault cut once", VNR_E_NO_REPLY);
    if (icdev >= 2) vnr.device_close(icdev);

    cases.group("the log on D:");
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    const std::string log = log_between(before_load, now);
    cases.run("the load lines are in the hour file of the load", [&] {
        if (!cases.check(log_root_made, "D:\\VNlog could not be made (error %lu)", ::GetLastError())) return;
        const std::string loaded_line = file_bytes(hour_file(before_load)) +
                                        (hour_file(after_load) != hour_file(before_load) ? file_bytes(hour_file(after_load)) : "");
        const std::size_t load = loaded_line.find("-----------Dll Loaded-------------");
        cases.check(load != std::string::npos, "no load line in %s", hour_file(after_load).c_str());
        cases.check(loaded_line.find("---InitializeCriticalSection Succed", load) != std::string::npos,
                    "no lock line after the load line");
    });
    cases.run("every line ends in CR LF, none in a lone LF or CR CR LF", [&] {
        if (!cases.check(!log.empty(), "the log is empty")) return;
        cases.check(log.size() >= 2 && log.compare(log.size() - 2, 2, "\r\n") == 0, "the log does not end in CR LF");
        std::size_t lines = 0;
        for (std::size_t at = log.find('\n'); at != std::string::npos; at = log.find('\n', at + 1)) {
            ++lines;
            if (!cases.check(at > 0 && log[at - 1] == '\r', "a line feed without CR after byte %lu", static_cast<unsigned long>(at))) break;
            if (!cases.check(at < 2 || log[at - 2] != '\r', "CR CR LF after byte %lu", static_cast<unsigned long>(at))) break;
        }
        cases.check(lines >= 10, "only %lu lines", static_cast<unsigned long>(lines));
    });
    cases.run("the library's messages are written in GBK", [&] {
        // "==>device_version(), module参数不合法 " in code page 936.
        const std::string refusal = "==>device_version(), module\xB2\xCE\xCA\xFD\xB2\xBB\xBA\xCF\xB7\xA8 ";
        cases.check(log.find(refusal) != std::string::npos, "the module refusal is not in the log in GBK");
    });
    cases.run("freeing the library writes the unload line", [&] {
        SYSTEMTIME before_free{}, after_free{};
        ::GetLocalTime(&before_free);
        cases.check(::FreeLibrary(vnr.module) != FALSE, "FreeLibrary failed");
        ::GetLocalTime(&after_free);
        cases.check(log_between(before_free, after_free).find("--Dll Releaseed---") != std::string::npos,
                    "no unload line");
    });
    return cases.summary();
}
