// fuzz/seeds/fuzz_seeds.cpp: writes the seed inputs of every fuzz target into <out>/<target>/: the
// frames of the protocol's own examples, what the simulated reader answers to real commands (in both
// forms, as serial bytes and as HID reports), the identity card replies and text blocks of the demo
// decks, a portrait packed by the codec, small BMP files of every depth and the decks themselves.
//   fuzz_seeds <decks folder> <out folder>
#include "core/state.h"
#include "fuzzed_link.h"
#include "vnr_32.h"
#include "vnr_emv.h"
#include "vnrsim/deck.h"
#include "vnrsim/deck_json.h"
#include "vnrsim/frame.h"
#include "vnrsim/reader.h"
#include "wlt/codec.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
namespace fs = std::filesystem;

fs::path out_root;
// The data of the simulator's plain replies, by name ("idcard-read"), for the exchange targets' seeds.
std::map<std::string, Bytes> sim_data;

void write(const std::string& target, const std::string& name, const Bytes& bytes) {
    const fs::path folder = out_root / target;
    fs::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                         static_cast<std::streamsize>(bytes.size()));
}

Bytes concat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The frame targets' inputs: serial (config, wire bytes) and HID (config, report length, reports of
// 255 bytes behind the id, each with 254 plain or 253 split frame bytes and zeros).
void frame_seeds(const std::string& name, const Bytes& wire, bool split) {
    write("frame_serial", name, concat({0x0D}, wire));
    write("frame_serial", name + "-chunked", concat({0xFD}, wire));
    const std::size_t slice = split ? 253 : 254;
    Bytes reports{0x0D, 255};
    for (std::size_t at = 0; at < wire.size(); at += slice) {
        Bytes report(255, 0);
        std::copy(wire.begin() + static_cast<std::ptrdiff_t>(at),
                  wire.begin() + static_cast<std::ptrdiff_t>(std::min(wire.size(), at + slice)), report.begin());
        reports = concat(reports, report);
    }
    write("frame_hid", name, reports);
    write("frame_codec", name, concat({static_cast<std::uint8_t>(split ? 1 : 0)}, wire));
}

// The data of a plain reply frame: behind S1 S2, before the check and end bytes.
Bytes reply_data(const Bytes& frame) {
    if (frame.size() < 7) return {};
    return Bytes(frame.begin() + 5, frame.end() - 2);
}

// Sends `command` to `reader` in the plain form and gives the reply frame in `form`.
Bytes ask(vnrsim::Reader& reader, const Bytes& command, vnrsim::Form form) {
    reader.set_form(form);
    return reader.receive(vnrsim::encode_frame(command, vnrsim::Form::plain));
}

void reader_seeds(const fs::path& decks) {
    using vnrsim::Form;
    struct Asked {
        const char* deck;
        const char* name;
        std::vector<Bytes> commands;  // the last one's reply is kept
        const char* patch = nullptr;  // JSON merged into the deck: which cards lie where
    };
    const std::vector<Asked> asked = {
        {"reader.json", "version", {{0x31, 0x11, 0x00}}},
        {"reader.json", "eeprom", {{0xC0, 0x0B, 0x00, 0x00, 0x10}}},
        {"reader.json", "idcard-read", {{0xD0, 0x01}, {0xD0, 0x02}, {0x32, 0x50}}},
        {"reader.json", "idcard-read-d003", {{0xD0, 0x01}, {0xD0, 0x02}, {0xD0, 0x03}}},
        {"reader.json", "idcard-read-fingerprint", {{0xD0, 0x01}, {0xD0, 0x02}, {0xD0, 0x04}}},
        {"reader.json", "idcard-find", {{0xD0, 0x01}}},
        {"reader.json", "idcard-module-id", {{0x32, 0x51}}},
        {"foreign_card.json", "idcard-foreign", {{0xD0, 0x01}, {0xD0, 0x02}, {0xD0, 0x07}}},
        {"cards.json", "open-card", {{0x32, 0x24, 0x00, 0x00}}, R"({"contactless": {"in_field": ["pay"]}})"},
        {"cards.json", "rf-card", {{0x32, 0x41, 0x00, 0x00}}, R"({"contactless": {"in_field": ["wallet"]}})"},
        {"cards.json", "rf-card-tag", {{0x32, 0x41, 0x00, 0x00}}, R"({"contactless": {"in_field": ["tag"]}})"},
        {"cards.json", "contact-identify", {{0x32, 0x32, 0x00}}, R"({"contact": {"slots": {"0": "mem"}}})"},
        {"cards.json", "contact-identify-eeprom", {{0x32, 0x32, 0x00}}, R"({"contact": {"slots": {"0": "eeprom"}}})"},
    };
    auto deck_of = [&](const Asked& a) {
        std::ifstream in(decks / a.deck, std::ios::binary);
        nlohmann::json deck = nlohmann::json::parse(in);
        if (a.patch) deck.merge_patch(nlohmann::json::parse(a.patch));
        return vnrsim::Deck::parse(deck.dump(), a.deck, decks);
    };
    for (const Asked& a : asked) {
        for (const Form form : {Form::split, Form::plain}) {
            vnrsim::Reader reader(deck_of(a));
            Bytes reply;
            for (const Bytes& command : a.commands) reply = ask(reader, command, form);
            if (reply.empty()) continue;
            const bool split = form == Form::split;
            frame_seeds(std::string("sim-") + a.name + (split ? "-split" : "-plain"), reply, split);
            if (split) continue;
            const Bytes data = reply_data(reply);
            sim_data[a.name] = data;
            const std::string name = std::string("sim-") + a.name;
            if (std::string(a.name).rfind("idcard", 0) == 0) {
                write("idcard_reply", name, data);
                // The text block behind the length field, the triple and the part lengths.
                const std::size_t head = std::string(a.name).find("fingerprint") != std::string::npos ||
                                                 std::string(a.name).find("foreign") != std::string::npos
                                             ? 11 : 9;
                if (data.size() >= head + 256) write("idcard_text", name, Bytes(data.begin() + head, data.end()));
            } else if (std::string(a.name).rfind("contact-", 0) == 0) {
                write("contact_reply", name, data);
            } else if (std::string(a.name).rfind("rf-", 0) == 0 || std::string(a.name).rfind("open-", 0) == 0) {
                write("contactless_reply", name, data);
            }
        }
    }
}

void golden_frames() {
    frame_seeds("golden-version-command-plain", {0x02, 0x00, 0x03, 0x31, 0x11, 0x01, 0x21, 0x03}, false);
    frame_seeds("golden-version-command-split",
                {0x02, 0x30, 0x30, 0x30, 0x33, 0x33, 0x31, 0x31, 0x31, 0x30, 0x31, 0x32, 0x31, 0x03}, true);
    frame_seeds("golden-ok-plain", {0x02, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03}, false);
    frame_seeds("golden-ok-split", {0x02, 0x30, 0x30, 0x30, 0x32, 0x30, 0x30, 0x30, 0x30, 0x30, 0x30, 0x03}, true);
    frame_seeds("golden-status-1001-plain", {0x02, 0x00, 0x02, 0x10, 0x01, 0x11, 0x03}, false);
    frame_seeds("golden-noise-then-ok", {0x55, 0xAA, 0x00, 0xFF, 0x10, 0x20, 0x30, 0x40, 0x50, 0x02, 0x00, 0x02, 0x00,
                                         0x00, 0x00, 0x03}, false);
}

// A small BMP: `bits` per pixel, 5 x 3 pixels (top-down when `top_down`), an info header of
// `info_size` bytes, `palette_used` palette entries (0: all) for the paletted depths.
Bytes bmp(int bits, bool top_down, std::uint32_t info_size = 40, std::uint32_t palette_used = 0) {
    const int width = 5, height = 3;
    const std::uint32_t palette = bits <= 8 ? (palette_used ? palette_used : 1u << bits) : 0;
    const std::uint32_t stride = (width * bits + 31) / 32 * 4;
    const std::uint32_t pixels_at = 14 + info_size + 4 * palette;
    Bytes file(pixels_at + stride * height, 0);
    auto le = [&](std::size_t at, std::uint32_t v, int n) {
        for (int i = 0; i < n; ++i) file[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
    };
    file[0] = 'B', file[1] = 'M';
    le(2, static_cast<std::uint32_t>(file.size()), 4);
    le(10, pixels_at, 4);
    le(14, info_size, 4);
    le(18, width, 4);
    le(22, static_cast<std::uint32_t>(top_down ? -height : height), 4);
    le(26, 1, 2);
    le(28, static_cast<std::uint32_t>(bits), 2);
    le(46, palette_used, 4);
    for (std::uint32_t i = 0; i < palette; ++i) le(14 + info_size + 4 * i, 0x00102030u * (i + 1), 4);
    for (std::size_t i = pixels_at; i < file.size(); ++i) file[i] = static_cast<std::uint8_t>(i * 37);
    return file;
}

void bmp_seeds() {
    for (const int bits : {1, 4, 8, 24, 32}) {
        write("bmp", "bmp-" + std::to_string(bits) + "-bottom-up", bmp(bits, false));
        write("bmp", "bmp-" + std::to_string(bits) + "-top-down", bmp(bits, true));
    }
    write("bmp", "bmp-8-v5-header", bmp(8, false, 124));
    write("bmp", "bmp-4-short-palette", bmp(4, false, 40, 3));
    write("bmp", "bmp-24-v4-header", bmp(24, true, 108));
}

// The card picture target's input: nine texts as FuzzedDataProvider's strings (a backslash doubled,
// a backslash and another byte ending one), the photo file, and the face last.
void card_picture_seeds() {
    const std::vector<std::string> texts = {
        vnrsim::to_gbk("林示例"), vnrsim::to_gbk("男"), vnrsim::to_gbk("汉"), "19880614",
        vnrsim::to_gbk("示例省模拟市虚构区测试路88号演示小区3栋2单元501室"), "990101198806140019",
        vnrsim::to_gbk("模拟市公安局虚构分局"), "20150320", vnrsim::to_gbk("长期")};
    Bytes head;
    for (const std::string& text : texts) {
        for (const char c : text) {
            head.push_back(static_cast<std::uint8_t>(c));
            if (c == '\\') head.push_back('\\');
        }
        head.push_back('\\');
        head.push_back('|');
    }
    for (int face = 0; face < 3; ++face) {
        const int bits = face == 0 ? 24 : 8;
        Bytes input = concat(head, bmp(bits, face == 1));
        input.push_back(static_cast<std::uint8_t>(face));
        write("card_picture", "face-" + std::to_string(face), input);
    }
}

void portrait_seeds(const fs::path& decks) {
    for (const char* name : {"resident", "foreign"}) {
        const auto image = wlt::read_bmp(decks / "portraits" / (std::string(name) + ".bmp"));
        if (!image) continue;
        const Bytes packed = wlt::encode(*image);
        write("wlt_decode", std::string("portrait-") + name, concat({0x00}, packed));
        write("wlt_decode", std::string("portrait-") + name + "-small", concat({0x01}, wlt::encode(*image, 300)));
    }
}

void other_seeds(const fs::path& decks) {
    // The decks, each portrait file replaced by bytes of its own: the deck target finds no files.
    std::function<void(nlohmann::json&)> without_files = [&](nlohmann::json& value) {
        if (value.is_object() && value.contains("bmp")) value = {{"fill", {{"length", 600}, {"pattern", "5750 01"}}}};
        if (value.is_structured())
            for (auto& item : value) without_files(item);
    };
    for (const auto& entry : fs::directory_iterator(decks)) {
        if (entry.path().extension() != ".json") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        nlohmann::json deck = nlohmann::json::parse(in);
        without_files(deck);
        const std::string text = deck.dump(1);
        write("deck", entry.path().stem().string(), Bytes(text.begin(), text.end()));
    }
    // A vendor page with report id 6 and 255 bytes of feature; one without report ids; Push and Pop
    // around a second id; a long item.
    write("hid_descriptor", "reader", {0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x85, 0x06, 0x75, 0x08, 0x26, 0xFF,
                                       0x00, 0x96, 0xFF, 0x00, 0x09, 0x01, 0xB1, 0x02, 0xC0});
    write("hid_descriptor", "no-ids", {0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x75, 0x08, 0x95, 0x40, 0x09, 0x01,
                                       0xB1, 0x02, 0x81, 0x02, 0xC0});
    write("hid_descriptor", "push-pop-long", {0x85, 0x01, 0x75, 0x08, 0x95, 0x10, 0xA4, 0x85, 0x06, 0x95, 0x20, 0xB1,
                                              0x02, 0xB4, 0xB1, 0x02, 0xFE, 0x02, 0x10, 0xAA, 0xBB, 0xC0});
    write("encoders", "hex-digits", {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'c', 'd', 'E', 'f'});
    write("encoders", "base64", {'S', 'G', 'V', 's', 'b', 'G', '8', '=', 'V', 'k', '5', 'S', 'L', 'T', 'M', 'y'});
    write("encoders", "bytes", {0x00, 0xFF, 0x10, 0x80, 0x7F, 0x3D, 0x2B, 0x2F, 0x41});
    // Stripe replies: three tracks with their sentinels; a missing track (F5); a track 2 with ";:".
    const std::string t1 = "%B9900001234567890^SAMPLE/ALEX J^2912201000?", t2 = ";9900001234567890=2912201?";
    Bytes stripe{static_cast<std::uint8_t>(t1.size()), static_cast<std::uint8_t>(t2.size()), 0xF5};
    stripe.insert(stripe.end(), t1.begin(), t1.end());
    stripe.insert(stripe.end(), t2.begin(), t2.end());
    write("magstripe_reply", "tracks-with-sentinels", stripe);
    write("magstripe_reply", "track2-double-start", {0xF5, 0x06, 0x00, ';', ':', '1', '2', '3', '?'});
    write("magstripe_reply", "plain-tracks", {0x02, 0x01, 0x00, 'A', 'B', 'C'});
    auto text = [](std::string_view t) { return Bytes(t.begin(), t.end()); };
    write("paths", "drive", text("C:\\photos\\zp.bmp"));
    write("paths", "native", text("/tmp/photos/zp.bmp"));
    write("paths", "rooted-dots", text("\\photos\\..\\..\\.\\x\\"));
    write("paths", "log-root", text("D:\\VNlog"));
    write("paths", "gbk", text("c:\\\xD5\xD5\xC6\xAC\\\x81\\zp.bmp"));
    write("contact_reply", "short-type-size", {0x01, 0x05});
    write("contact_reply", "atr-4442", {0xA2, 0x13, 0x10, 0x91});
}

// An input of the exchange targets, which read it through FuzzedDataProvider: numbers from the end
// (the first taken is the last byte, a number's high byte first), reply data from the front.
class ExchangeInput {
public:
    // A number the target takes with `bytes` bytes.
    ExchangeInput& number(std::uint64_t value, int bytes) {
        for (int i = bytes - 1; i >= 0; --i) back_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        return *this;
    }
    // The reader's next reply: a success with `data`.
    ExchangeInput& reply(const Bytes& data) {
        number(1, 1).number(data.size(), 2);
        front_.insert(front_.end(), data.begin(), data.end());
        return *this;
    }
    // The reader's next reply as a whole payload (S1, S2 and the data).
    ExchangeInput& payload(const Bytes& payload) {
        if (payload.size() >= 2 && payload[0] == 0 && payload[1] == 0) return reply(Bytes(payload.begin() + 2, payload.end()));
        number(0, 1).number(payload.size(), 2);
        front_.insert(front_.end(), payload.begin(), payload.end());
        return *this;
    }
    Bytes bytes() const {
        Bytes all = front_;
        all.insert(all.end(), back_.rbegin(), back_.rend());
        return all;
    }

private:
    Bytes front_, back_;
};

// The payloads (S1, S2 and data) that the simulated reader of `deck` answers to the commands of
// `session`, which calls exported functions on the handle it is given, in order.
std::vector<Bytes> record(vnrsim::Deck deck, const std::function<void(std::int32_t)>& session) {
    vnrsim::Reader reader(std::move(deck));
    reader.set_form(vnrsim::Form::plain);
    std::vector<Bytes> payloads;
    vnr::fuzz::Incoming& in = vnr::fuzz::incoming();
    in.rest = {};
    in.chunk = 4096;
    in.sent.clear();
    in.answer = [&] {
        const Bytes frame = reader.receive(in.sent);
        in.sent.clear();
        // Plain form: 02, two length bytes, the payload, the check byte, 03.
        if (frame.size() >= 5) payloads.emplace_back(frame.begin() + 3, frame.end() - 2);
        return frame;
    };
    vnr::core::link_state().com_mode = vnr::core::kLinkSerial;
    vnr::core::link_state().trans_mode = vnr::core::kSplitForm;
    vnr::core::set_comm_timeout(2000, 0);
    session(vnr::fuzz::fuzzed_port_handle());
    in.answer = nullptr;
    return payloads;
}

// Bank card reads in both ways and the EMV read, contact and contactless, against the bank decks; the
// card answers they met feed the TLV and card data targets.
void bank_seeds(const fs::path& decks) {
    Bytes joined;
    int answers = 0;
    for (const char* deck_name : {"emv.json", "pboc.json"}) {
        for (const int choice : {1, 0, 0x81, 0x80}) {
            const std::vector<Bytes> payloads = record(vnrsim::Deck::load(decks / "bank" / deck_name), [&](std::int32_t icdev) {
                const std::int32_t card_type = choice % 2 ? 0 : 255;
                if (choice & 0x80) {
                    vnr_emv_card card;
                    vnr_emv_read(icdev, card_type, &card);
                } else {
                    char card_no[40] = {}, name[64] = {}, message[52] = {};
                    iReadICCardNoAndName(icdev, card_type, card_no, name, message);
                }
            });
            ExchangeInput input;
            input.number(static_cast<std::uint64_t>(choice), 1);
            for (const Bytes& payload : payloads) input.payload(payload);
            const std::string name = std::string(deck_name).substr(0, 4) + (choice & 0x80 ? "-emv" : "-read") +
                                     (choice % 2 ? "-contact" : "-contactless");
            write("bank_exchange", name, input.bytes());
            for (const Bytes& payload : payloads) {
                if (payload.size() < 4 || payload[0] != 0 || payload[1] != 0) continue;
                const Bytes answer(payload.begin() + 2, payload.end());
                if (answers++ % 3 == 0) write("bank_tlv", name + "-" + std::to_string(answers), concat({2, 0x5F, 0x20}, answer));
                joined = concat(concat(joined, answer), {0xFF, 0xFE});
            }
        }
    }
    write("emv_card_data", "answers", joined);
    write("bank_tlv", "nested", {1, 0x4F, 0x6F, 0x10, 0x84, 0x02, 0xA0, 0x00, 0xA5, 0x0A, 0xBF, 0x0C, 0x07, 0x61, 0x05,
                                 0x4F, 0x03, 0xA0, 0x00, 0x03, 0x90, 0x00});
    // The PDOL target: the random and type texts and the AFL text from the front, the PDOL text the rest;
    // the amount and the commands' room from the end.
    auto text = [](std::string_view t) { return Bytes(t.begin(), t.end()); };
    Bytes gpo = concat(concat(text("12345678\\|00\\|08010100100102001801FF00\\|"),
                              text("9F66049F02069F03069F1A0295055F2A029A039C019F37049F3501DF6001")),
                       {0x20, 0x00, 0x00, 0x00, 0x00, 0x64});
    write("bank_gpo", "pdol-and-afl", gpo);
}

void exchange_seeds() {
    // The identity card target: a choice byte, then the function.
    const struct {
        const char* name;
        int function, choice;
        const char* reply;
    } idcard[] = {
        {"find", 0, 0, "idcard-find"},           {"read", 1, 0, "idcard-read"},
        {"module-id", 2, 0, "idcard-module-id"}, {"read-p-w", 4, 1, "idcard-read-d003"},
        {"read-p-w-f", 4, 0, "idcard-read-fingerprint"}, {"read-card", 5, 0, "idcard-read"},
        {"read-card-extra", 6, 1, "idcard-read"}, {"read-card-ex", 7, 2, "idcard-read"},
        {"read-card-extwo", 8, 2, "idcard-read"}, {"read-card-finger", 9, 0, "idcard-foreign"},
        {"foreign", 10, 1, "idcard-foreign"},     {"resident-line", 10, 0, "idcard-read"},
    };
    for (const auto& seed : idcard)
        write("idcard_exchange", seed.name,
              ExchangeInput().number(seed.choice, 1).number(seed.function, 1).reply(sim_data[seed.reply]).bytes());
    // The contact target: slot, a number, a count, then the function.
    write("contact_exchange", "identify",
          ExchangeInput().number(0, 1).number(0, 2).number(0, 2).number(6, 1).reply(sim_data["contact-identify"]).bytes());
    write("contact_exchange", "identify-then-read",
          ExchangeInput().number(0, 1).number(0, 2).number(0, 2).number(6, 1).reply(sim_data["contact-identify-eeprom"])
              .number(0, 1).number(16, 2).number(1500, 2).number(9, 1).reply(Bytes(1024, 0x11)).reply(Bytes(476, 0x22))
              .bytes());
    write("contact_exchange", "reset",
          ExchangeInput().number(0, 1).number(1, 2).number(0, 2).number(1, 1)
              .reply({0x00, 0x3B, 0x68, 0x00, 0x00, 0x56, 0x4E, 0x52, 0x53, 0x49, 0x4D, 0x30, 0x31}).bytes());
    // The contactless target: an address, a 32-bit number, then the function.
    write("contactless_exchange", "open-card",
          ExchangeInput().number(0, 1).number(1, 4).number(1, 1).reply(sim_data["open-card"]).bytes());
    write("contactless_exchange", "rf-card-then-read",
          ExchangeInput().number(0, 1).number(1, 4).number(2, 1).reply(sim_data["rf-card"])
              .number(4, 1).number(0, 4).number(6, 1).reply(Bytes(16, 0x5A)).bytes());
    write("contactless_exchange", "tag", ExchangeInput().number(0, 1).number(1, 4).number(12, 1).reply(sim_data["rf-card-tag"]).bytes());
    // The reader target: a small number, a 16-bit number, then the function.
    write("reader_exchange", "version", ExchangeInput().number(0, 1).number(0, 2).number(0, 1).reply(sim_data["version"]).bytes());
    const std::string t1 = "%B9900001234567890^SAMPLE/ALEX J^2912201000?", t2 = ";9900001234567890=2912201?";
    Bytes tracks{static_cast<std::uint8_t>(t1.size()), static_cast<std::uint8_t>(t2.size()), 0xF5};
    tracks.insert(tracks.end(), t1.begin(), t1.end());
    tracks.insert(tracks.end(), t2.begin(), t2.end());
    write("reader_exchange", "swipe", ExchangeInput().number(0, 1).number(1, 2).number(9, 1).reply(tracks).bytes());
    write("reader_exchange", "eeprom-write",
          ExchangeInput().number(3, 1).number(4, 2).number(4, 1).reply(Bytes(2, 0x44)).reply(Bytes(2, 0x55)).reply({}).bytes());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: fuzz_seeds <decks folder> <out folder>\n";
        return 2;
    }
    const fs::path decks = argv[1];
    out_root = argv[2];
    try {
        golden_frames();
        reader_seeds(decks);
        exchange_seeds();
        bank_seeds(decks);
        bmp_seeds();
        card_picture_seeds();
        portrait_seeds(decks);
        other_seeds(decks);
    } catch (const std::exception& e) {
        std::cerr << "fuzz_seeds: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
