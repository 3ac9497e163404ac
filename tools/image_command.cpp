// tools/image_command.cpp: the command-line tool. `vnr image` draws a card picture from fields given
// on the command line or in a JSON file (such as `vnr idcard --json` prints), through the library.
#include "verbs.h"

#include "platform/text.h"
#include "vnr_32.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vnr::tool {

namespace {

namespace fs = std::filesystem;

// The fields a picture shows, by their JSON key and option name.
constexpr std::array<std::string_view, 9> kKeys{"name",   "sex",       "nation",   "birthday", "address",
                                                "id_number", "issuer", "valid_from", "valid_to"};

std::string option_key(std::string_view option) {
    std::string key(option.substr(2));
    for (char& c : key)
        if (c == '-') c = '_';
    return key == "department" ? "issuer" : key;
}

// Reads a flat JSON object whose values are texts (other values are passed over). std::nullopt with
// a message on anything else.
class FlatJson {
public:
    explicit FlatJson(std::string_view text) : text_(text) {}

    std::optional<std::map<std::string, std::string>> parse(std::string& error) {
        std::map<std::string, std::string> values;
        if (!take('{')) return fail(error, "expected '{'");
        if (take('}')) return values;
        do {
            std::string key, value;
            if (!string(key)) return fail(error, "expected a key in double quotes");
            if (!take(':')) return fail(error, "expected ':' after \"" + key + "\"");
            skip_space();
            if (at_ < text_.size() && text_[at_] == '"') {
                if (!string(value)) return fail(error, "the text of \"" + key + "\" is broken");
                values[key] = value;
            } else {
                while (at_ < text_.size() && text_[at_] != ',' && text_[at_] != '}') ++at_;  // null, a number
            }
        } while (take(','));
        if (!take('}')) return fail(error, "expected ',' or '}'");
        return values;
    }

private:
    std::optional<std::map<std::string, std::string>> fail(std::string& error, std::string what) {
        error = what + " at byte " + std::to_string(at_);
        return std::nullopt;
    }
    void skip_space() {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\n' || text_[at_] == '\r' || text_[at_] == '\t'))
            ++at_;
    }
    bool take(char c) {
        skip_space();
        if (at_ >= text_.size() || text_[at_] != c) return false;
        ++at_;
        return true;
    }
    static void put_utf8(std::string& out, unsigned code) {
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0 | (code >> 6));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            out += static_cast<char>(0xE0 | (code >> 12));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (code >> 18));
            out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    bool hex4(unsigned& code) {
        if (at_ + 4 > text_.size()) return false;
        code = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = text_[at_++];
            const int v = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
            if (v < 0) return false;
            code = code * 16 + static_cast<unsigned>(v);
        }
        return true;
    }
    bool string(std::string& out) {
        if (!take('"')) return false;
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == '"') return true;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (at_ >= text_.size()) return false;
            const char e = text_[at_++];
            switch (e) {
                case 'n': out += '\n'; break;
                case 'r': out += '\r'; break;
                case 't': out += '\t'; break;
                case 'b': out += '\b'; break;
                case 'f': out += '\f'; break;
                case 'u': {
                    unsigned code = 0;
                    if (!hex4(code)) return false;
                    if (code >= 0xD800 && code < 0xDC00) {  // a surrogate pair
                        unsigned low = 0;
                        if (!take('\\') || at_ >= text_.size() || text_[at_++] != 'u' || !hex4(low)) return false;
                        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                    }
                    put_utf8(out, code);
                    break;
                }
                default: out += e;  // \" \\ \/
            }
        }
        return false;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

std::string gbk_of(const std::string& utf8) {
#if defined(_WIN32)
    return utf8;  // the system's code page already
#else
    std::string gbk;
    if (!platform::utf8_to_gbk(utf8, gbk)) gbk = utf8;
    return gbk;
#endif
}

}  // namespace

int image_command(int argc, char** argv) {
    if (argc < 1 || std::string_view(argv[0]).rfind("--", 0) == 0) {
        std::fprintf(stderr, "usage: vnr image OUT.bmp [--face both|front|back] [--photo FILE.bmp] [--fields FILE.json]\n"
                             "       [--name T] [--sex T] [--nation T] [--birthday YYYYMMDD] [--address T] [--id-number T]\n"
                             "       [--department T] [--valid-from YYYYMMDD] [--valid-to YYYYMMDD]\n");
        return 2;
    }
    std::error_code ignored;
    const fs::path out = fs::absolute(argv[0], ignored);  // a log line changes the current directory
    std::string face = "both";
    std::string photo;
    std::map<std::string, std::string> fields;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (i + 1 >= argc) {
            std::fprintf(stderr, "vnr: %s needs a value\n", argv[i]);
            return 2;
        }
        const std::string value = argv[++i];
        if (option == "--face") {
            face = value;
        } else if (option == "--photo") {
            photo = value;
        } else if (option == "--fields") {
            std::ifstream in(value, std::ios::binary);
            const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            std::string error;
            const auto parsed = FlatJson(text).parse(error);
            if (!in.good() && text.empty()) error = "cannot be read";
            if (!parsed) {
                std::fprintf(stderr, "vnr: %s: %s\n", value.c_str(), error.c_str());
                return 1;
            }
            for (const auto& [key, text_value] : *parsed) fields[key] = text_value;
            if (photo.empty() && parsed->count("photo") != 0) photo = parsed->at("photo");
        } else {
            const std::string key = option.rfind("--", 0) == 0 ? option_key(option) : "";
            bool known = false;
            for (const std::string_view k : kKeys) known = known || k == key;
            if (!known) {
                std::fprintf(stderr, "vnr: unknown option '%s'\n", argv[i - 1]);
                return 2;
            }
            fields[key] = value;
        }
    }
    if (face != "both" && face != "front" && face != "back") {
        std::fprintf(stderr, "vnr: --face takes both, front or back, not '%s'\n", face.c_str());
        return 2;
    }
    std::array<std::string, kKeys.size()> gbk;
    for (std::size_t i = 0; i < kKeys.size(); ++i) gbk[i] = gbk_of(fields[std::string(kKeys[i])]);
    // Paths go as the system spells them (on Linux a native path stands as it is); texts go as GBK.
    const std::string out_text = out.string();
    const std::string photo_text = photo.empty() ? std::string() : fs::absolute(photo, ignored).string();
    fs::remove(out, ignored);
    if (face == "both") {
        MakePicture(out_text.c_str(), photo_text.c_str(), gbk[0].c_str(), gbk[1].c_str(), gbk[2].c_str(), gbk[3].c_str(),
                    gbk[4].c_str(), gbk[5].c_str(), gbk[6].c_str(), gbk[7].c_str(), gbk[8].c_str());
    } else if (face == "front") {
        MakePictureFront(out_text.c_str(), photo_text.c_str(), gbk[0].c_str(), gbk[1].c_str(), gbk[2].c_str(),
                         gbk[3].c_str(), gbk[4].c_str(), gbk[5].c_str());
    } else {
        MakePictureBack(out_text.c_str(), gbk[6].c_str(), gbk[7].c_str(), gbk[8].c_str());
    }
    if (!fs::exists(out)) {
        std::fprintf(stderr, "vnr: the picture could not be written to %s\n", out.string().c_str());
        return 1;
    }
    std::printf("%s\n", out.string().c_str());
    return 0;
}

}  // namespace vnr::tool
