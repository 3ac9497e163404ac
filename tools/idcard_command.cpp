// tools/idcard_command.cpp: the command-line tool. `vnr idcard` waits for an identity card and reads
// it through the library's exports; `vnr wlt` packs or decodes a card photo.
#include "verbs.h"
#include "cli.h"

#include "open_options.h"
#include "platform/text.h"
#include "status_text.h"
#include "vnr_32.h"
#include "wlt/codec.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vnr::tool {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLineRoom = 3096;  // the longest line of IDCard_ReadCard_Foreign
constexpr auto kPollInterval = std::chrono::milliseconds(300);

volatile std::sig_atomic_t interrupted = 0;

extern "C" void on_interrupt(int) { interrupted = 1; }

// A file's path as the library takes it: absolute, so that the library's change of the current
// directory (a log line makes one) cannot move it, and in the system's own form: on Linux a native path
// as it stands, on Windows the system code page's text.
std::string library_path(const fs::path& file) {
    std::error_code ignored;
    return fs::absolute(file, ignored).string();
}


// Splits the library's line at each '|' behind a field, stepping over double-byte characters, whose
// second byte may be the same byte as '|'. The fields stay GBK.
std::vector<std::string> split_line(std::string_view line) {
    std::vector<std::string> fields;
    std::string field;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto c = static_cast<unsigned char>(line[i]);
        if (c >= 0x81 && c <= 0xFE && i + 1 < line.size()) {
            field += line[i];
            field += line[++i];
        } else if (c == '|') {
            fields.push_back(field);
            field.clear();
        } else {
            field += line[i];
        }
    }
    return fields;
}

struct Field {
    const char* key;    // JSON key
    const char* label;  // printed label
};

constexpr Field kResidentFields[] = {
    {"name", "name"},           {"sex", "sex"},         {"nation", "nation"},       {"birthday", "birthday"},
    {"address", "address"},     {"id_number", "id number"}, {"issuer", "issued by"}, {"valid_from", "valid from"},
    {"valid_to", "valid until"}, {"reserve", "reserve"}, {"fingerprint", "fingerprint"},
};
constexpr Field kForeignFields[] = {
    {"english_name", "english name"}, {"sex", "sex"},          {"card_number", "card number"},
    {"country", "country"},          {"chinese_name", "chinese name"}, {"valid_from", "valid from"},
    {"valid_to", "valid until"},     {"birthday", "birthday"},  {"card_version", "card version"},
    {"authority", "authority"},      {"card_mark", "card mark"}, {"reserve", "reserve"},
    {"fingerprint", "fingerprint"},
};

struct IdcardOptions {
    OpenOptions open;
    std::string photo;
    std::string image;  // draw the card here (both sides on one sheet)
    bool json = false;
    bool fingerprint = false;
    double wait_seconds = -1;  // below 0: until a card comes
};

bool parse(int argc, char** argv, IdcardOptions& options) {
    for (int i = 0; i < argc; ++i) {
        const int taken = take_open_option(argc, argv, i, options.open);
        if (taken < 0) return false;
        if (taken > 0) continue;
        const std::string_view arg = argv[i];
        if ((arg == "--photo" || arg == "--wait" || arg == "--image") && i + 1 >= argc) {
            std::fprintf(stderr, "vnr: %s needs a value\n", argv[i]);
            return false;
        }
        if (arg == "--photo") {
            options.photo = argv[++i];
        } else if (arg == "--image") {
            options.image = argv[++i];
        } else if (arg == "--wait") {
            char* end = nullptr;
            options.wait_seconds = std::strtod(argv[++i], &end);
            if (end == argv[i] || *end != '\0' || options.wait_seconds < 0) {
                std::fprintf(stderr, "vnr: --wait takes a number of seconds, not '%s'\n", argv[i]);
                return false;
            }
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--fingerprint") {
            options.fingerprint = true;
        } else {
            std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i]);
            return false;
        }
    }
    return true;
}

// Where the photo goes: the given file as an absolute path, or a file in a folder of our own that is
// removed afterwards. The library needs a full path that holds ".bmp".
struct PhotoTarget {
    fs::path file;
    fs::path scratch_folder;  // empty when the photo is the user's
    ~PhotoTarget() {
        std::error_code ignored;
        if (!scratch_folder.empty()) fs::remove_all(scratch_folder, ignored);
    }
};

bool choose_photo(const std::string& given, PhotoTarget& target) {
    std::error_code error;
    if (!given.empty()) {
        if (fs::path(given).extension() != ".bmp") {
            std::fprintf(stderr, "vnr: --photo needs a file name ending in .bmp, not '%s'\n", given.c_str());
            return false;
        }
        target.file = fs::absolute(given, error);
        return !error;
    }
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    target.scratch_folder = fs::temp_directory_path(error) / ("vnr-idcard-" + std::to_string(stamp));
    if (error || !fs::create_directories(target.scratch_folder, error)) return false;
    target.file = target.scratch_folder / "photo.bmp";
    return true;
}

// Polls for a card until one is there. 0 when found; 1 on a failure, a time-out or Ctrl-C.
int wait_for_card(std::int32_t handle, const IdcardOptions& options) {
    const auto start = std::chrono::steady_clock::now();
    bool told = false;
    for (;;) {
        std::uint32_t length = 0;
        std::vector<std::uint8_t> data(300);
        const std::int16_t status = IDCard_Find(handle, &length, data.data());
        if (status == VNR_OK) break;
        if (status != VNR_E_FIND_STATUS) {
            std::fprintf(stderr, "vnr: looking for a card: %s\n", explain_status(status).c_str());
            return 1;
        }
        if (!told) {
            std::fprintf(stderr, "waiting for an identity card on the reader (Ctrl-C to stop)...\n");
            told = true;
        }
        const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
        if (options.wait_seconds >= 0 && waited.count() >= options.wait_seconds) {
            std::fprintf(stderr, "vnr: no card came within %g s\n", options.wait_seconds);
            return 1;
        }
        std::this_thread::sleep_for(kPollInterval);
        if (interrupted) {
            std::fprintf(stderr, "vnr: stopped\n");
            return 1;
        }
    }
    return 0;
}

void print_card(bool foreign, const std::vector<std::string>& values, const std::string& photo, bool json) {
    const Field* fields = foreign ? kForeignFields : kResidentFields;
    const std::size_t count = foreign ? std::size(kForeignFields) : std::size(kResidentFields);
    const char* kind = foreign ? "foreign permanent resident card" : "resident identity card";
    if (json) {
        std::printf("{\"kind\": \"%s\"", foreign ? "foreign" : "resident");
        for (std::size_t i = 0; i < count; ++i)
            std::printf(", %s: %s", json_text(fields[i].key).c_str(),
                        json_text(i < values.size() ? to_utf8(values[i]) : "").c_str());
        std::printf(", \"photo\": %s}\n", photo.empty() ? "null" : json_text(photo).c_str());
        return;
    }
    std::printf("%-14s %s\n", "card:", kind);
    for (std::size_t i = 0; i < count; ++i) {
        std::string value = i < values.size() ? to_utf8(values[i]) : "";
        if (i + 1 == count) value = value.empty() ? "none" : std::to_string(value.size() / 2) + " bytes";
        std::printf("%-14s %s\n", (std::string(fields[i].label) + ":").c_str(), value.c_str());
    }
    if (!photo.empty()) std::printf("%-14s %s\n", "photo:", photo.c_str());
}

// Draws the card just read, both sides on one sheet, from its fields (GBK) and its photo.
int draw_card(bool foreign, const std::vector<std::string>& fields, const std::string& photo, const std::string& image) {
    if (foreign || fields.size() < 10) {
        std::fprintf(stderr, "vnr: --image draws resident identity cards only\n");
        return 1;
    }
    std::error_code ignored;
    const fs::path file = library_path(image);
    const std::string out = file.string();
    fs::remove(file, ignored);
    MakePicture(out.c_str(), photo.c_str(), fields[0].c_str(), fields[1].c_str(), fields[2].c_str(), fields[3].c_str(),
                fields[4].c_str(), fields[5].c_str(), fields[6].c_str(), fields[7].c_str(), fields[8].c_str());
    if (!fs::exists(file)) {
        std::fprintf(stderr, "vnr: the picture could not be written to %s\n", file.string().c_str());
        return 1;
    }
    std::fprintf(stderr, "picture of the card: %s\n", file.string().c_str());
    return 0;
}

}  // namespace

int idcard_command(int argc, char** argv) {
    IdcardOptions options;
    if (!parse(argc, argv, options)) return 2;
    PhotoTarget photo;
    if (!choose_photo(options.photo, photo)) {
        std::fprintf(stderr, "vnr: no place for the photo file\n");
        return 1;
    }
    const std::string photo_text = library_path(photo.file);
    const std::int32_t handle = open_reader(options.open);
    if (handle <= 1) return 1;
    std::signal(SIGINT, on_interrupt);

    int result = wait_for_card(handle, options);
    if (result == 0) {
        std::uint32_t foreign = 0;
        std::vector<char> line(kLineRoom, '\0');
        const std::int16_t status =
            IDCard_ReadCard_Foreign(handle, photo_text.c_str(), &foreign, line.data(), options.fingerprint ? 1 : 0);
        if (status != VNR_OK) {
            std::fprintf(stderr, "vnr: reading the card: %s\n", explain_status(status).c_str());
            result = 1;
        } else {
            const std::vector<std::string> fields = split_line(line.data());
            print_card(foreign == 1, fields, options.photo.empty() ? "" : photo.file.string(), options.json);
            std::fflush(stdout);  // the card first, then what drawing it says
            if (!options.image.empty()) result = draw_card(foreign == 1, fields, photo_text, options.image);
        }
    }
    std::signal(SIGINT, SIG_DFL);
    device_close(handle);
    return result;
}

int wlt_command(int argc, char** argv) {
    const std::string_view what = argc > 0 ? argv[0] : "";
    if (what == "encode" && argc == 3) {
        const std::optional<wlt::Image> source = wlt::read_bmp(argv[1]);
        if (!source) {
            std::fprintf(stderr, "vnr: %s is no 24- or 32-bit uncompressed BMP\n", argv[1]);
            return 1;
        }
        const wlt::Image portrait = wlt::resize(*source, wlt::kPortraitWidth, wlt::kPortraitHeight);
        const std::vector<std::uint8_t> packed = wlt::encode(portrait);
        std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(packed.data()), static_cast<std::streamsize>(packed.size()));
        if (!out.flush()) {
            std::fprintf(stderr, "vnr: cannot write %s\n", argv[2]);
            return 1;
        }
        const std::optional<wlt::Image> back = wlt::decode(packed);
        std::printf("%s: %zu bytes, %.1f dB against the %dx%d portrait\n", argv[2], packed.size(),
                    back ? wlt::psnr(portrait, *back) : 0.0, wlt::kPortraitWidth, wlt::kPortraitHeight);
        return 0;
    }
    if (what == "decode" && argc == 2) {
        const std::string file = library_path(argv[1]);
        char message[64] = {};
        const std::int16_t status = iWlttoBmp(file.c_str(), message);
        std::printf("%s (%d)\n", to_utf8(message).c_str(), status);
        return status == VNR_OK ? 0 : 1;
    }
    std::fprintf(stderr, "usage: vnr wlt encode PORTRAIT.bmp OUT.wlt\n       vnr wlt decode IN.wlt\n");
    return 2;
}

}  // namespace vnr::tool
