// emv/read.cpp: vnr_emv_read, the complete read of a card's number, expiry and holder name, and the
// other exports of vnr_emv (see include/vnr_emv.h).
#include "card_data.h"
#include "card_session.h"
#include "selection.h"
#include "vnr_emv.h"

#include "bank/tlv.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>

namespace vnr::emv {

namespace {

constexpr std::size_t kMaxRecords = 64;  // READ RECORDs of one application, over all its AFL entries

template <std::size_t N>
void put_text(char (&field)[N], const std::string& text) {
    const std::size_t n = std::min(text.size(), N - 1);
    std::memcpy(field, text.data(), n);
    field[n] = '\0';
}

std::string hex(const Bytes& bytes) {
    std::string out;
    char two[3];
    for (const std::uint8_t b : bytes) std::snprintf(two, sizeof two, "%02X", b), out += two;
    return out;
}

// The date and time now, UTC, as YYMMDDhhmmss.
std::string now_utc() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const auto day = floor<days>(now);
    const year_month_day date{day};
    const hh_mm_ss time{floor<seconds>(now - day)};
    char text[32];
    std::snprintf(text, sizeof text, "%02d%02u%02u%02d%02d%02d", static_cast<int>(date.year()) % 100,
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

Bytes unpredictable_number() {
    std::random_device source;
    const std::uint32_t n = source();
    return {static_cast<std::uint8_t>(n >> 24), static_cast<std::uint8_t>(n >> 16), static_cast<std::uint8_t>(n >> 8),
            static_cast<std::uint8_t>(n)};
}

// What came of one application.
enum class Outcome { read, refused, no_number, link };

struct Reader {
    CardSession& card;
    vnr_emv_card& out;

    Outcome read_application(const Application& application) {
        const auto fci = card.transmit(select_command(application.aid));
        if (!fci) return Outcome::link;
        if (!fci->ok()) return Outcome::refused;
        const auto proprietary = bank::find_tlv(fci->data, std::vector<std::uint8_t>{0xA5}, bank::TagMatch::exact);
        const auto pdol = proprietary ? bank::find_tlv(*proprietary, std::vector<std::uint8_t>{0x9F, 0x38},
                                                       bank::TagMatch::exact)
                                      : std::nullopt;
        std::vector<std::uint8_t> data;
        if (pdol) {
            const auto filled = pdol_data(*pdol, now_utc(), unpredictable_number());
            if (!filled) return Outcome::refused;
            data = *filled;
        }
        Bytes gpo{0x80, 0xA8, 0x00, 0x00, static_cast<std::uint8_t>(data.size() + 2), 0x83,
                  static_cast<std::uint8_t>(data.size())};
        gpo.insert(gpo.end(), data.begin(), data.end());
        gpo.push_back(0x00);
        const auto answer = card.transmit(gpo);
        if (!answer) return Outcome::link;
        if (!answer->ok()) return Outcome::refused;
        const auto options = processing_options(answer->data);
        if (!options) return Outcome::refused;

        // The sources of the card's data: the format 2 template, then every record of the AFL.
        std::vector<Bytes> sources;
        if (!answer->data.empty() && answer->data[0] == 0x77) sources.push_back(answer->data);
        std::size_t records = 0;
        for (std::size_t at = 0; at + 4 <= options->afl.size(); at += 4) {
            const std::uint8_t sfi = options->afl[at] >> 3, first = options->afl[at + 1], last = options->afl[at + 2];
            if (sfi == 0 || sfi > 30 || first == 0) continue;  // not an entry a terminal reads
            for (unsigned record = first; record <= last && records < kMaxRecords; ++record, ++records) {
                const auto content = card.transmit(
                    {0x00, 0xB2, static_cast<std::uint8_t>(record), static_cast<std::uint8_t>(sfi << 3 | 0x04), 0x00});
                if (!content) return Outcome::link;
                if (content->ok()) sources.push_back(content->data);
            }
        }
        const CardData found = card_data(sources);
        if (found.pan.empty()) return Outcome::no_number;
        put_text(out.pan, found.pan);
        put_text(out.expiry, found.expiry);
        put_text(out.holder_name, found.name);
        out.pan_tag = found.pan_tag, out.expiry_tag = found.expiry_tag, out.name_tag = found.name_tag;
        out.luhn_ok = luhn_ok(found.pan) ? 1 : 0;
        return Outcome::read;
    }

    std::int32_t fail(std::int32_t result, const char* reason) {
        put_text(out.reason, reason);
        return result;
    }

    std::int32_t run() {
        if (!card.power_up())
            return fail(VNR_EMV_E_NO_CARD, card.contactless() ? "no contactless CPU card answered the activation"
                                                              : "the contact card did not power up (none, or the wrong way)");
        std::vector<Application> applications = directory_entries(card);
        out.from_directory = applications.empty() ? 0 : 1;
        if (applications.empty() && !card.failed()) applications = candidate_applications(card);
        if (card.failed()) return fail(VNR_EMV_E_LINK, "an APDU could not be exchanged with the card");
        if (applications.empty())
            return fail(VNR_EMV_E_NO_APPLICATION, "no payment application: no directory, and no known AID selected");
        order_by_priority(applications);
        out.applications = static_cast<std::uint8_t>(std::min<std::size_t>(applications.size(), 255));
        bool answered = false;
        for (const Application& application : applications) {
            put_text(out.aid, hex(application.aid));
            put_text(out.label, application.label);
            out.priority = application.priority;
            const Outcome outcome = read_application(application);
            if (outcome == Outcome::read) return VNR_EMV_OK;
            if (outcome == Outcome::link) return fail(VNR_EMV_E_LINK, "an APDU could not be exchanged with the card");
            answered = answered || outcome == Outcome::no_number;
        }
        out.pan_tag = out.name_tag = out.expiry_tag = 0;
        if (answered)
            return fail(VNR_EMV_E_NO_NUMBER, "the application's records hold no card number (5A, 57 or 9F6B)");
        return fail(VNR_EMV_E_GPO, "every application refused SELECT or GET PROCESSING OPTIONS");
    }
};

std::int32_t read_card(std::int32_t icdev, std::int32_t card_type, vnr_emv_card* out) {
    if (out == nullptr) return VNR_EMV_E_ARGUMENT;
    std::memset(out, 0, sizeof *out);
    if (card_type != VNR_EMV_CONTACT && card_type != VNR_EMV_CONTACTLESS) {
        put_text(out->reason, "card_type is 0 (contact) or 255 (contactless)");
        return VNR_EMV_E_ARGUMENT;
    }
    if (icdev < 1) {
        put_text(out->reason, "no reader: icdev below 1");
        return VNR_EMV_E_BAD_HANDLE;
    }
    std::int32_t result = 0;
    {
        CardSession card(icdev, card_type == VNR_EMV_CONTACTLESS);
        result = Reader{card, *out}.run();
        out->apdus = card.apdus();
        out->last_sw = card.last_sw();
        out->reader_status = card.reader_status();
    }
    return result;
}

}  // namespace

}  // namespace vnr::emv

extern "C" VNR_EMV_API int32_t VNR_EMV_CALL vnr_emv_read(int32_t icdev, int32_t card_type, vnr_emv_card* card) {
    try {
        return vnr::emv::read_card(icdev, card_type, card);
    } catch (...) {  // no room for the work: nothing thrown crosses the boundary
        if (card != nullptr) std::snprintf(card->reason, sizeof card->reason, "out of memory");
        return VNR_EMV_E_LINK;
    }
}

extern "C" VNR_EMV_API const char* VNR_EMV_CALL vnr_emv_result_text(int32_t result) {
    switch (result) {
        case VNR_EMV_OK: return "the card was read";
        case VNR_EMV_E_ARGUMENT: return "card_type is neither 0 nor 255, or no result structure was given";
        case VNR_EMV_E_BAD_HANDLE: return "icdev is below 1";
        case VNR_EMV_E_NO_CARD: return "no card answered the power-up or activation";
        case VNR_EMV_E_LINK: return "an APDU could not be exchanged, or the card went past the bounds";
        case VNR_EMV_E_NO_APPLICATION: return "no payment application on the card";
        case VNR_EMV_E_GPO: return "every application refused SELECT or GET PROCESSING OPTIONS";
        case VNR_EMV_E_NO_NUMBER: return "the applications' data hold no card number";
        default: return "not a result of vnr_emv_read";
    }
}

extern "C" VNR_EMV_API uint32_t VNR_EMV_CALL vnr_emv_card_size(void) { return sizeof(vnr_emv_card); }
