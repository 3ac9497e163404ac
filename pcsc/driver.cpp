// pcsc/driver.cpp: the PC/SC driver's pure pieces (see driver.h).
#include "driver.h"

#include "vnr_32.h"

#include <ifdhandler.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>

namespace vnr::pcsc {
namespace {

// The library's own statuses and what they mean to the resource manager; every other value from -100 to
// -1 is a failure of the library that says nothing about the card, and any value outside is the reader's.
struct Meaning {
    int status;
    long ifd;
};
constexpr Meaning kLibraryStatuses[] = {
    {VNR_OK, IFD_SUCCESS},
    {VNR_E_NO_REPLY, IFD_RESPONSE_TIMEOUT},             // the reader did not answer in time
    {VNR_E_BAD_HANDLE, IFD_NO_SUCH_DEVICE},             // the channel is not open
    {VNR_E_HANDLE_EXCHANGE, IFD_NO_SUCH_DEVICE},
    {VNR_E_PORT_INDEX, IFD_NO_SUCH_DEVICE},             // the port cannot exist
    {VNR_E_PORT_DENIED, IFD_COMMUNICATION_ERROR},       // busy or forbidden: may come right later
    {VNR_E_PORT_OPEN, IFD_NO_SUCH_DEVICE},
};
constexpr int kLowestLibraryStatus = -100;

constexpr std::size_t kMaxHistoricalBytes = 15;  // the low nibble of T0
constexpr std::uint8_t kTypeBLastByte = 0x00;    // MBLI and CID of the ATTRIB answer: not passed on by the reader
constexpr std::size_t kTypeBInfoBytes = 7;       // application data (4) and protocol info (3) of the ATQB

// Instructions whose data are secrets: PIN verification (20, 21), change (24) and unblocking (2C),
// external and general authentication (82, 86, 87), key loading (D4 for PBOC family cards, D8).
constexpr std::uint8_t kSecretInstructions[] = {0x20, 0x21, 0x24, 0x2C, 0x82, 0x86, 0x87, 0xD4, 0xD8};

std::string hex(std::span<const std::uint8_t> bytes, const char* separator) {
    std::string out;
    char two[3];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(two, sizeof two, "%02X", bytes[i]);
        if (i > 0) out += separator;
        out += two;
    }
    return out;
}

std::string lower(std::string_view text) {
    std::string out(text);
    std::ranges::transform(out, out.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

// The number at the front of `text` and what follows it; nullopt without digits.
std::optional<std::pair<long, std::string_view>> leading_number(std::string_view text) {
    std::size_t digits = 0;
    while (digits < text.size() && digits < 9 && std::isdigit(static_cast<unsigned char>(text[digits]))) ++digits;
    if (digits == 0) return std::nullopt;
    return std::pair{std::strtol(std::string(text.substr(0, digits)).c_str(), nullptr, 10), text.substr(digits)};
}

// The COM index whose link below $VNR32_PREFIX/dosdevices (the library's own mapping) is `path`.
std::optional<std::int16_t> mapped_com(const std::filesystem::path& path) {
    const char* prefix = std::getenv("VNR32_PREFIX");
    const char* home = std::getenv("HOME");
    const std::filesystem::path root =
        prefix != nullptr ? std::filesystem::path(prefix) : std::filesystem::path(home ? home : "") / ".vnr32";
    struct stat wanted{}, link{};
    if (::stat(path.c_str(), &wanted) != 0) return std::nullopt;
    // By device and inode, not std::filesystem::equivalent, which refuses two character devices.
    for (std::int16_t index = 0; index < 32; ++index) {
        const auto com = root / "dosdevices" / ("com" + std::to_string(index + 1));
        if (::stat(com.c_str(), &link) == 0 && link.st_dev == wanted.st_dev && link.st_ino == wanted.st_ino) return index;
    }
    return std::nullopt;
}

}  // namespace

long ifd_code(int status, long refused) {
    for (const Meaning& meaning : kLibraryStatuses)
        if (meaning.status == status) return meaning.ifd;
    if (status < 0 && status >= kLowestLibraryStatus) return IFD_COMMUNICATION_ERROR;
    return refused;
}

Bytes contactless_atr(bool type_b, std::span<const std::uint8_t> ats) {
    Bytes historical;
    if (type_b) {
        const auto info = ats.first(std::min(ats.size(), kTypeBInfoBytes));
        historical.assign(info.begin(), info.end());
        historical.push_back(kTypeBLastByte);
    } else if (ats.size() >= 2) {
        const std::size_t end = std::min<std::size_t>(ats[0], ats.size());  // TL counts itself
        std::size_t at = 2;                                                  // behind TL and T0
        for (const std::uint8_t present : {0x10, 0x20, 0x40}) at += (ats[1] & present) ? 1 : 0;
        if (at < end) historical.assign(ats.begin() + static_cast<std::ptrdiff_t>(at), ats.begin() + static_cast<std::ptrdiff_t>(end));
    }
    if (historical.size() > kMaxHistoricalBytes) historical.resize(kMaxHistoricalBytes);
    Bytes atr;
    atr.reserve(historical.size() + 5);
    for (const std::uint8_t head : {std::uint8_t{0x3B}, static_cast<std::uint8_t>(0x80 | historical.size()),
                                    std::uint8_t{0x80}, std::uint8_t{0x01}})
        atr.push_back(head);
    for (const std::uint8_t byte : historical) atr.push_back(byte);
    std::uint8_t tck = 0;
    for (std::size_t i = 1; i < atr.size(); ++i) tck ^= atr[i];  // from T0 to the last historical byte
    atr.push_back(tck);
    return atr;
}

unsigned offered_protocols(std::span<const std::uint8_t> atr) {
    if (atr.size() < 2 || (atr[0] != 0x3B && atr[0] != 0x3F)) return 0;
    unsigned protocols = 0;
    bool named = false;
    std::size_t at = 1;
    std::uint8_t indicator = atr[at++];  // T0, then each TDi: its high nibble says which bytes follow
    for (;;) {
        const bool td_follows = (indicator & 0x80) != 0;
        at += ((indicator & 0x10) ? 1 : 0) + ((indicator & 0x20) ? 1 : 0) + ((indicator & 0x40) ? 1 : 0);
        if (!td_follows) break;
        if (at >= atr.size()) return 0;
        indicator = atr[at++];
        const unsigned t = indicator & 0x0F;
        if (t == 0) protocols |= SCARD_PROTOCOL_T0;
        if (t == 1) protocols |= SCARD_PROTOCOL_T1;
        named = true;
    }
    if (at > atr.size()) return 0;
    return named ? protocols : SCARD_PROTOCOL_T0;
}

bool carries_secret(std::span<const std::uint8_t> apdu) {
    return apdu.size() >= 2 && std::ranges::find(kSecretInstructions, apdu[1]) != std::end(kSecretInstructions);
}

std::string describe_command(std::span<const std::uint8_t> apdu) {
    if (apdu.size() < 4) return "short command of " + std::to_string(apdu.size()) + " bytes";
    std::string out = hex(apdu.first(4), " ") + ", " + std::to_string(apdu.size()) + " bytes";
    if (apdu.size() <= 5) return out;  // no data: a header and perhaps Le
    const auto data = apdu.subspan(5, std::min<std::size_t>(apdu[4], apdu.size() - 5));
    if (carries_secret(apdu)) return out + ", " + std::to_string(data.size()) + " bytes of data not shown";
    return out + ", data " + hex(data, "");
}

std::optional<Road> road_of(std::string_view device_name) {
    const std::string name = lower(device_name);
    if (name.starts_with("usb") || name.starts_with("/dev/hidraw")) return Road{true, 0, 0};
    std::string_view path = device_name;
    Road road{false, 0, 115200};
    if (const std::size_t colon = path.rfind(':'); colon != std::string_view::npos) {
        const auto baud = leading_number(path.substr(colon + 1));
        if (!baud || !baud->second.empty()) return std::nullopt;
        road.baud = static_cast<std::int32_t>(baud->first);
        path = path.substr(0, colon);
    }
    const std::string lowered = lower(path);
    if (lowered.starts_with("com")) {
        const auto number = leading_number(path.substr(3));
        if (!number || !number->second.empty() || number->first < 1 || number->first > 32) return std::nullopt;
        road.port = static_cast<std::int16_t>(number->first - 1);
        return road;
    }
    if (lowered.starts_with("/dev/ttys")) {
        const auto number = leading_number(path.substr(9));
        if (number && number->second.empty() && number->first < 32) {
            road.port = static_cast<std::int16_t>(number->first);
            return road;
        }
    }
    const auto index = mapped_com(std::filesystem::path(path));
    if (!index) return std::nullopt;
    road.port = *index;
    return road;
}

}  // namespace vnr::pcsc
