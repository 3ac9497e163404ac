// tools/bank_command.cpp: the command-line tool. vnr bank reads a bank card's number and holder name,
// contact or contactless: through the library's iReadICCardNoAndName, or with --emv through the
// complete EMV read of vnr_emv, which also gives the expiry and the application.
#include "cli.h"
#include "verbs.h"
#include "vnr_32.h"
#include "vnr_emv.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace vnr::tool {

namespace {

// The rooms that include/vnr_32.h asks of iReadICCardNoAndName's buffers.
constexpr std::size_t kCardNoRoom = 40, kHolderNameRoom = 64, kMessageRoom = 52;
constexpr std::size_t kShownDigits = 4;  // at each end of a masked number

struct Options {
    OpenOptions open;
    bool contactless = false, json = false, emv = false, full = false;
};

// The number as it is printed: masked, its first four digits, the middle in groups of four stars and
// the last four ("6217 **** **** *** 2340"); `full`: all digits in groups of four from the front. For
// JSON: the same without the blanks.
std::string shown_number(std::string_view digits, bool full, bool grouped) {
    std::string masked(digits);
    if (!full && masked.size() > 2 * kShownDigits)
        for (std::size_t i = kShownDigits; i < masked.size() - kShownDigits; ++i) masked[i] = '*';
    if (!grouped) return masked;
    std::string out;
    // Masked, the last four stay together; the rest goes in fours from the front.
    const std::size_t head = full ? masked.size() : masked.size() > kShownDigits ? masked.size() - kShownDigits : 0;
    for (std::size_t i = 0; i < head; ++i) {
        if (i > 0 && i % 4 == 0) out += ' ';
        out += masked[i];
    }
    if (head > 0 && head < masked.size()) out += ' ';
    return out + masked.substr(head);
}

// "YYMMDD" or "YYMM" as 20YY-MM-DD or 20YY-MM.
std::string shown_expiry(std::string_view expiry) {
    if (expiry.size() < 4) return std::string(expiry);
    std::string out = "20" + std::string(expiry.substr(0, 2)) + "-" + std::string(expiry.substr(2, 2));
    if (expiry.size() >= 6) out += "-" + std::string(expiry.substr(4, 2));
    return out;
}

std::string tag_name(std::uint16_t tag) {
    char text[8];
    std::snprintf(text, sizeof text, "%X", tag);
    return tag == 0 ? "" : text;
}

int compatible_read(std::int32_t icdev, const Options& o) {
    char card_no[kCardNoRoom] = {}, name[kHolderNameRoom] = {}, message[kMessageRoom] = {};
    const std::int32_t result =
        iReadICCardNoAndName(icdev, o.contactless ? VNR_EMV_CONTACTLESS : VNR_EMV_CONTACT, card_no, name, message);
    // Way 1 writes no terminator: the zeroed rooms keep the texts terminated, as the header asks.
    const std::string number(card_no, ::strnlen(card_no, sizeof card_no));
    const std::string holder = to_utf8(std::string_view(name, ::strnlen(name, sizeof name)));
    const std::string said = to_utf8(std::string_view(message, ::strnlen(message, sizeof message)));
    if (o.json) {
        std::printf("{\"result\": %d, \"card_number\": %s, \"holder_name\": %s, \"message\": %s}\n", static_cast<int>(result),
                    json_text(shown_number(number, o.full, false)).c_str(), json_text(holder).c_str(), json_text(said).c_str());
    } else {
        if (result == 0) {
            std::printf("%-13s %s\n%-13s %s\n", "card number:", shown_number(number, o.full, true).c_str(), "holder name:",
                        holder.c_str());
        }
        std::printf("%-13s %s\n", "message:", said.c_str());
    }
    return result == 0 ? 0 : 1;
}

int emv_read(std::int32_t icdev, const Options& o) {
    vnr_emv_card card{};
    const std::int32_t result = vnr_emv_read(icdev, o.contactless ? VNR_EMV_CONTACTLESS : VNR_EMV_CONTACT, &card);
    const std::string holder = to_utf8(card.holder_name);
    if (o.json) {
        std::printf("{\"result\": %d, \"card_number\": %s, \"expiry\": %s, \"holder_name\": %s, \"aid\": %s, \"label\": %s, "
                    "\"priority\": %u, \"applications\": %u, \"from_directory\": %s, \"number_from\": %s, "
                    "\"expiry_from\": %s, \"name_from\": %s, \"luhn_ok\": %s, \"apdus\": %u, \"reason\": %s}\n",
                    static_cast<int>(result), json_text(shown_number(card.pan, o.full, false)).c_str(),
                    json_text(card.expiry).c_str(), json_text(holder).c_str(), json_text(card.aid).c_str(),
                    json_text(card.label).c_str(), card.priority, card.applications,
                    card.from_directory ? "true" : "false", json_text(tag_name(card.pan_tag)).c_str(),
                    json_text(tag_name(card.expiry_tag)).c_str(), json_text(tag_name(card.name_tag)).c_str(),
                    card.luhn_ok ? "true" : "false", card.apdus, json_text(card.reason).c_str());
        return result == VNR_EMV_OK ? 0 : 1;
    }
    if (result != VNR_EMV_OK) {
        std::fprintf(stderr, "vnr: the card was not read: %s (%s)\n", card.reason, vnr_emv_result_text(result));
        return 1;
    }
    std::printf("%-13s %s (from %s%s)\n", "card number:", shown_number(card.pan, o.full, true).c_str(),
                tag_name(card.pan_tag).c_str(), card.luhn_ok ? "" : ", fails the Luhn check");
    std::printf("%-13s %s\n", "expiry:", card.expiry[0] ? shown_expiry(card.expiry).c_str() : "(none)");
    std::printf("%-13s %s\n", "holder name:", card.name_tag ? holder.c_str() : "(none)");
    std::printf("%-13s %s%s%s (%s, priority %u; the card offers %u)\n", "application:", card.aid,
                card.label[0] ? " " : "", card.label, card.from_directory ? "from the directory" : "a known AID",
                static_cast<unsigned>(card.priority), card.applications);
    return 0;
}

}  // namespace

int bank_command(int argc, char** argv) {
    Options o;
    for (int i = 0; i < argc; ++i) {
        const int taken = take_open_option(argc, argv, i, o.open);
        if (taken < 0) return 2;
        if (taken > 0) continue;
        const std::string_view arg = argv[i];
        if (arg == "--contactless") o.contactless = true;
        else if (arg == "--json") o.json = true;
        else if (arg == "--emv") o.emv = true;
        else if (arg == "--full") o.full = true;
        else {
            std::fprintf(stderr, "vnr: unknown option '%s'\nusage: vnr bank [--contactless] [--json] [--emv] [--full]\n", argv[i]);
            return 2;
        }
    }
    const OpenReader reader(o.open);
    if (!reader) return 1;
    return o.emv ? emv_read(reader.handle(), o) : compatible_read(reader.handle(), o);
}

}  // namespace vnr::tool
