// tools/doctor_command.cpp: the command-line tool. vnr doctor [--baud N]: why the reader does not work and
// what to do about it, one line a finding, exit status 0 when all is well and 1 when something is in the
// way. The system's side (USB nodes, udev, serial ports) is looked at by doctor_<system>.cpp; the
// library's side here: whether a reader answers, the photo decoder as the library finds it, the GBK
// conversion, the fonts of the card pictures and the log folder.
#include "cli.h"
#include "doctor.h"
#include "platform/drawing.h"
#include "platform/dynamic_library.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "verbs.h"
#include "vnr_32.h"
#include "wlt/codec.h"
#include "wlt/portrait.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace vnr::tool {

namespace {

using doctor::Finding;
using doctor::Level;

constexpr std::size_t kVersionSize = 100;  // the room device_version fills
constexpr const char* kLogRoot = "D:\\VNlog";

std::string version_of(std::int32_t handle) {
    std::uint8_t length = 0;
    std::uint8_t text[kVersionSize] = {};
    if (device_version(handle, 0, &length, text) != VNR_OK) return "?";
    return to_utf8(std::string(reinterpret_cast<const char*>(text), length));
}

// Asks for a reader on one road, as an application would: "USB" or COM port `com`.
bool ask_reader(const char* road, int com, int baud, std::vector<Finding>& findings) {
    const std::string subject = com > 0 ? "COM" + std::to_string(com) : std::string("USB");
    const std::int32_t handle = device_open_name(road, static_cast<std::int16_t>(com > 0 ? com - 1 : 0), baud);
    if (handle > 1) {
        findings.push_back({Level::ok, subject, "a reader answers: " + version_of(handle), ""});
        device_close(handle);
        return true;
    }
    if (handle == 0) {
        if (com > 0)
            findings.push_back({Level::problem, subject, "the port opens but no reader answers at " +
                                std::to_string(baud) + " baud",
                                "check the cable and the reader's power; try --baud 9600 (the rate the reader was "
                                "set to), or map the reader's port as COM" + std::to_string(com)});
        else
            findings.push_back({Level::note, subject, "no USB reader answers", ""});
        return false;
    }
    findings.push_back({Level::problem, subject, "cannot be opened: " + explain_status(handle),
                        handle == VNR_E_PORT_DENIED ? "close the program that holds it, or see the port's line above"
                                                    : "see the port's line above"});
    return false;
}

// The decoder, as the library finds it: a photo made here is decoded through iWlttoBmp, which loads
// the decoder the way every photo save does.
Finding photo_decoder() {
    std::error_code error;
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error) / ("vnr-doctor-" + std::to_string(stamp));
    if (error || !std::filesystem::create_directories(folder, error))
        return {Level::problem, "photo decoder", "no scratch folder to try it in", "check TMPDIR"};
    const std::vector<std::uint8_t> photo = wlt::encode(wlt::synthetic_portrait(1));
    const std::filesystem::path wlt_file = folder / "probe.wlt";
    std::ofstream(wlt_file, std::ios::binary).write(reinterpret_cast<const char*>(photo.data()),
                                                    static_cast<std::streamsize>(photo.size()));
    char message[64] = {};
    const std::int16_t status = iWlttoBmp(wlt_file.string().c_str(), message);
    std::filesystem::remove_all(folder, error);
    const std::string name = platform::shared_library_name("GetInfo");
    const std::string beside = doctor::library_folder() + name;
    if (status == VNR_OK) {
        const bool is_beside = !doctor::library_folder().empty() && platform::path_exists(beside);
        return {Level::ok, "photo decoder",
                name + (is_beside ? " found beside the library: " + beside : " found through the loader's search") +
                    "; it decodes",
                ""};
    }
    if (status == VNR_E_PHOTO_DECODER)
        return {Level::problem, "photo decoder", name + " is not found (photos cannot be saved: status -2)",
                "put " + name + " beside the library" +
                    (doctor::library_folder().empty() ? std::string() : " (" + doctor::library_folder() + ")") +
                    " or in a folder of the loader's search"};
    return {Level::problem, "photo decoder", name + " is found but does not decode a photo: " + explain_status(status),
            "replace it by the " + name + " that came with the library"};
}

Finding text_conversion() {
    std::string gbk;
    // "测试" in GBK: B2 E2 CA D4.
    if (platform::utf8_to_gbk("\xE6\xB5\x8B\xE8\xAF\x95", gbk) && gbk == "\xB2\xE2\xCA\xD4")
        return {Level::ok, "GBK text", "the conversion to and from GBK (code page 936) works", ""};
    return {Level::problem, "GBK text", "no conversion to GBK: card texts, names and messages come out wrong",
            "install the system's character set conversions (on Debian: the package libc6's gconv modules, "
            "GBK among them)"};
}

Finding card_fonts() {
    const std::vector<std::string> fonts = platform::card_font_files();
    if (fonts.empty())
        return {Level::problem, "card picture fonts", "no Chinese font found: pictures of the card carry no text",
                "install a Song face, e.g. sudo apt-get install xfonts-wqy fonts-arphic-uming"};
    std::string list = fonts.front();
    if (fonts.size() > 1) list += " (Latin: " + fonts[1] + ")";
    return {Level::ok, "card picture fonts", list, ""};
}

Finding log_folder() {
    const std::string folder = platform::native_path(kLogRoot);
    if (!platform::is_directory(folder))
        return {Level::note, "log", std::string("logging is off: ") + folder + " (" + kLogRoot +
                ") does not exist; create it to turn the log on", ""};
    const std::filesystem::path probe = std::filesystem::path(folder) / ".vnr-doctor-probe";
    const bool writable = platform::write_file(probe.string(), "", 0);
    platform::remove_file(probe.string());
    if (writable) return {Level::ok, "log", "logging is on, into " + folder, ""};
    return {Level::problem, "log", "logging is on but " + folder + " is not writable: lines are lost",
            "give this user write access to it, or remove it to turn logging off"};
}

const char* level_word(Level level) {
    switch (level) {
        case Level::ok: return "ok     ";
        case Level::note: return "note   ";
        case Level::problem: return "PROBLEM";
    }
    return "";
}

}  // namespace

int doctor_command(int argc, char** argv) {
    doctor::Options options;
    for (int i = 0; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if ((arg == "--root" || arg == "--baud") && i + 1 < argc) {
            if (arg == "--root") {
                options.root = argv[++i];
            } else if (const auto baud = parse_number(argv[++i], 1, 0x7FFFFFFF)) {
                options.baud = static_cast<int>(*baud);
            } else {
                std::fprintf(stderr, "vnr: --baud takes a number, not '%s'\n", argv[i]);
                return 2;
            }
        } else {
            std::fprintf(stderr, "vnr: doctor takes --baud N (and --root DIR for tests), not '%s'\n", argv[i]);
            return 2;
        }
    }
    std::vector<Finding> findings;
    std::vector<int> ports;
    doctor::look_at_system(options, findings, ports);
    bool answered = false;
    if (options.root.empty()) answered = ask_reader("USB", 0, options.baud, findings);
    for (const int com : ports) answered = ask_reader("COM", com, options.baud, findings) || answered;
    if (!answered)
        findings.push_back({Level::problem, "reader", "no reader answered on USB or on a mapped serial port",
                            "plug the reader in and follow the lines above; a serial reader's port is mapped with "
                            "ln -s /dev/ttyUSB0 $VNR32_PREFIX/dosdevices/com1"});
    findings.push_back(photo_decoder());
    findings.push_back(text_conversion());
    findings.push_back(card_fonts());
    findings.push_back(log_folder());

    int problems = 0;
    for (const Finding& finding : findings) {
        std::printf("%s  %s: %s%s%s\n", level_word(finding.level), finding.subject.c_str(), finding.text.c_str(),
                    finding.fix.empty() ? "" : "; fix: ", finding.fix.c_str());
        problems += finding.level == Level::problem ? 1 : 0;
    }
    std::printf("%s\n", problems == 0 ? "all well" : (std::to_string(problems) + " problem(s)").c_str());
    return problems == 0 ? 0 : 1;
}

}  // namespace vnr::tool
