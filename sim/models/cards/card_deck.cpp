// sim/models/cards/card_deck.cpp: card names, TLV bytes and the CPU card's keys in a deck section
// (see card_deck.h).
#include "models/cards/card_deck.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "models/cards/tlv.h"
#include "vnrsim/deck_json.h"

namespace vnrsim {
namespace {

using namespace deck_json;

CardBytes fid_of(const Json& value, const std::string& where) {
    CardBytes fid = hex_of(value, where);
    if (fid.size() != 2) fail(where, "a file id is two bytes, got " + std::to_string(fid.size()));
    if (fid == CardBytes{0x3F, 0x00}) fail(where, "3F00 is the master file's");
    return fid;
}

// {"format": 1|2, "aip": HEX, "afl": HEX, "more": TLV}: the two layouts of the answer; or TLV bytes.
CardBytes gpo_of(const Json& value, const std::string& where) {
    if (value.is_string()) return card_bytes_of(value, where);
    expect_object(value, where);
    check_keys(value, where, {"format", "aip", "afl", "more", "comment"});
    for (const char* key : {"format", "aip", "afl"})
        if (!value.contains(key)) fail(where, std::string("\"") + key + "\" is missing");
    const auto format = count_of(value["format"], where + ".format", 1, 2);
    const CardBytes aip = hex_of(value["aip"], where + ".aip");
    if (aip.size() != 2) fail(where + ".aip", "the application interchange profile is two bytes");
    const CardBytes afl = hex_of(value["afl"], where + ".afl");
    if (afl.empty() || afl.size() % 4 != 0) fail(where + ".afl", "an AFL is one or more entries of four bytes");
    CardBytes more;
    if (value.contains("more")) {
        if (format == 1) fail(where + ".more", "the first format holds only the AIP and the AFL");
        more = card_bytes_of(value["more"], where + ".more");
    }
    CardBytes inner;
    if (format == 1) {
        inner = aip;
        inner.insert(inner.end(), afl.begin(), afl.end());
    } else {
        inner = {0x82, 0x02, aip[0], aip[1], 0x94};
        put_ber_length(inner, afl.size());
        inner.insert(inner.end(), afl.begin(), afl.end());
        inner.insert(inner.end(), more.begin(), more.end());
    }
    CardBytes out{static_cast<std::uint8_t>(format == 1 ? 0x80 : 0x77)};
    put_ber_length(out, inner.size());
    out.insert(out.end(), inner.begin(), inner.end());
    return out;
}

CpuFile file_of(const Json& value, const std::string& where) {
    expect_object(value, where);
    check_keys(value, where, {"fid", "sfi", "fci", "binary", "records", "comment"});
    CpuFile file;
    if (value.contains("fid")) file.fid = fid_of(value["fid"], where + ".fid");
    if (value.contains("sfi")) file.sfi = static_cast<std::uint8_t>(count_of(value["sfi"], where + ".sfi", 1, 30));
    if (file.fid.empty() && file.sfi == 0) fail(where, "a file needs a \"fid\", an \"sfi\" or both");
    if (value.contains("fci")) file.fci = card_bytes_of(value["fci"], where + ".fci");
    if (value.contains("binary") && value.contains("records")) fail(where, "give \"binary\" or \"records\", not both");
    if (value.contains("binary")) file.binary = card_bytes_of(value["binary"], where + ".binary");
    if (value.contains("records")) {
        const Json& records = value["records"];
        if (!records.is_array()) fail(where + ".records", "expected a list, got " + kind_of(records));
        if (records.size() > 254) fail(where + ".records", "a file holds at most 254 records");
        file.record_file = true;
        for (std::size_t i = 0; i < records.size(); ++i) {
            const std::string at = where + ".records[" + std::to_string(i) + "]";
            file.records.push_back(card_bytes_of(records[i], at));
            if (file.records.back().size() > kMaxShortAnswer) fail(at, "a record holds at most 256 bytes");
        }
    }
    return file;
}

CpuDf df_of(const Json& value, const std::string& where, bool master) {
    expect_object(value, where);
    if (master) {
        check_keys(value, where, {"name", "fci", "files", "comment"});
    } else {
        check_keys(value, where, {"name", "fid", "fci", "gpo", "files", "comment"});
    }
    CpuDf df;
    if (value.contains("name")) {
        df.name = card_bytes_of(value["name"], where + ".name");
        if (df.name.empty() || df.name.size() > 16) fail(where + ".name", "a DF name is 1 to 16 bytes");
    }
    if (value.contains("fid")) df.fid = fid_of(value["fid"], where + ".fid");
    if (!master && df.name.empty() && df.fid.empty()) fail(where, "an application needs a \"name\", a \"fid\" or both");
    if (value.contains("fci")) df.fci = card_bytes_of(value["fci"], where + ".fci");
    if (value.contains("gpo")) df.gpo = gpo_of(value["gpo"], where + ".gpo");
    if (value.contains("files")) {
        const Json& files = value["files"];
        if (!files.is_array()) fail(where + ".files", "expected a list, got " + kind_of(files));
        for (std::size_t i = 0; i < files.size(); ++i) {
            const std::string at = where + ".files[" + std::to_string(i) + "]";
            df.files.push_back(file_of(files[i], at));
            for (std::size_t j = 0; j < i; ++j) {
                const CpuFile &a = df.files[j], &b = df.files.back();
                if ((!a.fid.empty() && a.fid == b.fid) || (a.sfi != 0 && a.sfi == b.sfi))
                    fail(at, "files[" + std::to_string(j) + "] has the same file id or SFI");
            }
        }
    }
    return df;
}

}  // namespace

const std::string_view kCpuCardHelp =
    "A CPU card (kind \"cpu\"): \"master\": the master file (file id 3F00): {\"name\", \"fci\", \"files\"}. "
    "\"applications\": the DFs below it, in the order in which SELECT by name tries them: {\"name\": its "
    "DF name (an AID, or '1PAY.SYS.DDF01' for a directory), \"fid\": two bytes, \"fci\": what its SELECT "
    "answers (default 6F(84(name))), \"gpo\": its answer to GET PROCESSING OPTIONS, \"files\"}; an "
    "application without \"gpo\" answers 6D00 to it. \"gpo\" is the answer's bytes, or {\"format\": 1, "
    "\"aip\": \"7C00\", \"afl\": \"08010200\"} for 80(AIP AFL), or {\"format\": 2, \"aip\", \"afl\", "
    "\"more\": TLV} for 77(82(AIP) 94(AFL) more); the GPO data must be 83 L with L the total of the PDOL "
    "(tag 9F38 of the FCI; 0 without one), else 6700. A file: {\"fid\": two bytes, \"sfi\": 1 to 30 "
    "(one of them at least), \"fci\", and \"binary\": its bytes, or \"records\": a list, record 1 first}. "
    "\"answers\": canned answers tried before the file system, in order: {\"apdu\": the bytes an APDU "
    "begins with, \"answer\": data and SW1 SW2, \"times\": how many times (default: for ever)}. Switches "
    "(default false): \"wrong_le_6c\": an Le (00 being 256) that is not the answer's length gets 6Cxx; "
    "\"answers_by_61\": an answer with data goes as 61xx, and GET RESPONSE delivers it in parts of at most "
    "\"response_chunk\" bytes (1 to 256, default 256); \"endless_61\": GET RESPONSE hands out the held "
    "data again and again, always with 61xx. \"answer_ms\": the card's time over each APDU, 0 to 60000 ms "
    "(default 0), by which the reader's reply to it comes later. Bytes of an FCI, a record, a file, a GPO "
    "answer or a canned answer are hex in which TAG(...) is a TLV element whose length is worked out and "
    "'text' stands for its ASCII bytes: \"70(57(6299...) 5F20('SAMPLE/ALEX'))\". Status words: 6A82 no such file or "
    "application, 6A83 no such record, 6A86 wrong P1 P2, 6B00 offset beyond the file, 6981 wrong file "
    "structure, 6985 GPO outside an application or GET RESPONSE with nothing held, 6986 no current EF, "
    "6700 wrong length, 6D00 unknown instruction, 6E00 unknown class.";

const std::string_view kCpuCardExample = R"deck("bank": {"kind": "cpu", "atr": "3B 68 00 00 56 4E 52 53 49 4D 30 31",
  "applications": [
    {"name": "'1PAY.SYS.DDF01'", "fci": "6F(84('1PAY.SYS.DDF01') A5(88(01)))",
     "files": [{"sfi": 1, "records": ["70(61(4F(A000000333010101) 50('DEBIT') 87(01)))"]}]},
    {"name": "A000000333010101",
     "fci": "6F(84(A000000333010101) A5(50('DEBIT') 9F38(9F6604 9F0206 9F3704)))",
     "gpo": {"format": 1, "aip": "7C00", "afl": "08010200"},
     "files": [{"sfi": 1, "records": ["70(57(6299990000000000019D3012101000000000) 5F20('SAMPLE/ALEX'))",
                                      "70(5F24(301231))"]}]}],
  "answers": [{"apdu": "00 84 00 00 04", "answer": "01 02 03 04 90 00", "times": 1}],
  "answers_by_61": true, "response_chunk": 64})deck";

std::string indent_lines(std::string_view text, std::size_t count) {
    std::string out(count, ' ');
    for (const char c : text) {
        out += c;
        if (c == '\n') out.append(count, ' ');
    }
    return out;
}

CardBytes card_bytes_of(const Json& value, const std::string& where) {
    try {
        return tlv_hex(text_of(value, where));
    } catch (const std::invalid_argument& e) {
        fail(where, e.what());
    }
}

bool flag_of(const Json& value, const std::string& where) {
    if (!value.is_boolean()) fail(where, "expected true or false, got " + kind_of(value));
    return value.get<bool>();
}

CpuCardSetup cpu_card_of(const Json& card, const std::string& where) {
    CpuCardSetup setup;
    if (card.contains("master")) setup.master = df_of(card["master"], where + ".master", true);
    if (card.contains("applications")) {
        const Json& list = card["applications"];
        if (!list.is_array()) fail(where + ".applications", "expected a list, got " + kind_of(list));
        for (std::size_t i = 0; i < list.size(); ++i)
            setup.applications.push_back(df_of(list[i], where + ".applications[" + std::to_string(i) + "]", false));
    }
    if (card.contains("answers")) {
        const Json& list = card["answers"];
        if (!list.is_array()) fail(where + ".answers", "expected a list, got " + kind_of(list));
        for (std::size_t i = 0; i < list.size(); ++i) {
            const std::string at = where + ".answers[" + std::to_string(i) + "]";
            const Json& item = list[i];
            expect_object(item, at);
            check_keys(item, at, {"apdu", "answer", "times", "comment"});
            if (!item.contains("apdu") || !item.contains("answer")) fail(at, "give \"apdu\" and \"answer\"");
            CpuCannedAnswer canned{
                hex_of(item["apdu"], at + ".apdu"), card_bytes_of(item["answer"], at + ".answer"), {}};
            if (canned.prefix.empty()) fail(at + ".apdu", "give at least one byte");
            if (canned.answer.size() < 2) fail(at + ".answer", "an answer ends with SW1 SW2");
            if (item.contains("times"))
                canned.times = static_cast<std::uint32_t>(count_of(item["times"], at + ".times", 1, 0xFFFFFFFF));
            setup.answers.push_back(std::move(canned));
        }
    }
    if (card.contains("answers_by_61")) setup.answers_by_61 = flag_of(card["answers_by_61"], where + ".answers_by_61");
    if (card.contains("response_chunk"))
        setup.response_chunk = count_of(card["response_chunk"], where + ".response_chunk", 1, kMaxShortAnswer);
    if (card.contains("wrong_le_6c")) setup.wrong_le_6c = flag_of(card["wrong_le_6c"], where + ".wrong_le_6c");
    if (card.contains("endless_61")) setup.endless_61 = flag_of(card["endless_61"], where + ".endless_61");
    if (card.contains("answer_ms"))
        setup.answer_ms = static_cast<std::uint32_t>(count_of(card["answer_ms"], where + ".answer_ms", 0, 60000));
    return setup;
}

std::vector<Addressed> addressed_of(const Json& object, const std::string& where, std::size_t limit) {
    expect_object(object, where);
    std::vector<Addressed> out;
    for (const auto& item : object.items()) {
        const std::string& key = item.key();
        if (key == "comment") continue;
        const bool hex = key.size() > 2 && key[0] == '0' && (key[1] == 'x' || key[1] == 'X');
        const std::string digits = hex ? key.substr(2) : key;
        std::size_t address = 0;
        bool good = !digits.empty() && digits.size() <= 8;
        for (const char c : digits) {
            const int v = c >= '0' && c <= '9'          ? c - '0'
                          : hex && c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : hex && c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                        : -1;
            good = good && v >= 0;
            address = address * (hex ? 16 : 10) + static_cast<std::size_t>(std::max(v, 0));
        }
        if (!good) fail(where, "\"" + key + "\" is not an address (decimal digits, or hex digits after 0x)");
        if (address >= limit) fail(where + "." + key, "the card ends at " + std::to_string(limit - 1));
        out.push_back({address, where + "." + key, &item.value()});
    }
    std::sort(out.begin(), out.end(), [](const Addressed& a, const Addressed& b) { return a.address < b.address; });
    return out;
}

void place_bytes(const Json& object, const std::string& where, CardBytes& memory, std::size_t unit) {
    for (const auto& [address, at, value] : addressed_of(object, where, memory.size() / unit)) {
        const CardBytes bytes = card_bytes_of(*value, at);
        if (bytes.size() % unit != 0) fail(at, "give whole units of " + std::to_string(unit) + " bytes");
        if (address * unit + bytes.size() > memory.size()) fail(at, "the bytes run past the card's end");
        std::copy(bytes.begin(), bytes.end(), memory.begin() + static_cast<std::ptrdiff_t>(address * unit));
    }
}

void check_card_name(const std::string& name, const std::string& where) {
    const bool good = !name.empty() && name.size() <= 32 && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == '.';
    });
    if (!good) fail(where, "a card's name is 1 to 32 letters, digits, \"-\", \"_\" or \".\"");
}

std::vector<std::string_view> keys_with(std::span<const std::string_view> base,
                                        std::initializer_list<std::string_view> more) {
    std::vector<std::string_view> out(base.begin(), base.end());
    out.insert(out.end(), more.begin(), more.end());
    return out;
}

}  // namespace vnrsim
