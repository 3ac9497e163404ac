// pcsc/ifd_handler.cpp: the PC/SC driver's entry points (the IFD handler interface, version 3) on the
// exported functions of vnr_32.h only. One reader is one channel (one library handle) with six slots:
//   slot 0       the contact card slot (cardno 0)
//   slots 1 to 4 the SAM slots (cardno 1 to 4)
//   slot 5       the contactless field: a contactless CPU card (card_APDU's cardno 0xFF)
// The library serialises its own calls; the driver keeps each slot's power and answer to reset under the
// reader's mutex, which it holds over each operation so that a slot's state always matches the reader.
#include "driver.h"

#include "vnr_32.h"

extern "C" {
#pragma GCC visibility push(default)
#include <ifdhandler.h>
#pragma GCC visibility pop
#include <debuglog.h>
}
#include <reader.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

// pcscd offers its log to the drivers it loads; a program that loads the driver without it (a test, a
// tool) gets the lines on stderr instead.
#pragma weak log_msg

namespace vnr::pcsc {
namespace {

constexpr DWORD kSamSlots = 4;                    // the family's readers have up to four SAM slots
constexpr DWORD kFieldSlot = kSamSlots + 1;
constexpr DWORD kSlots = kFieldSlot + 1;
constexpr std::size_t kMaxReaders = 8;            // channels one pcscd may open with this driver
constexpr std::uint8_t kFieldCardno = 0xFF;       // card_APDU's name for the activated contactless card
constexpr std::uint16_t kContactResetWait = 0;    // the reader's own wait in sam_slt_reset: none needed
constexpr std::uint16_t kActivateWait = 100;      // ms the reader gives a contactless card to answer
constexpr std::uint16_t kCardUnpowered = 0x1003;  // slot states: a card lies there, powered down ...
constexpr std::uint16_t kCardPowered = 0x1004;    // ... or powered up
constexpr std::uint8_t kTypeBCard = 0x0B;         // open_card's card type byte of an ISO 14443 type B card
constexpr std::size_t kApduLimit = 3070;          // card_APDU's longest command
constexpr std::size_t kAnswerRoom = 3073;         // and the room its answer needs
constexpr std::size_t kResetRoom = 255;           // sam_slt_reset's ATR room
constexpr std::size_t kUidRoom = 10, kAtsRoom = 64;

[[gnu::format(printf, 2, 3)]] void log_line(int priority, const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (log_msg != nullptr) {
        log_msg(priority, "vnr_pcsc: %s", text);
    } else {
        std::fprintf(stderr, "vnr_pcsc: %s\n", text);
    }
}

struct Slot {
    bool powered = false;
    bool lost = false;  // a powered contactless card stopped answering: report it gone at the next poll
    Bytes atr;
};

// One open reader: it owns its library handle, which its last owner closes (the table's entry goes when the
// last slot's channel closes, a call still running keeps the reader until it returns).
struct Reader {
    std::mutex mutex;      // guards icdev's use and the slots, and is held over each call into the library
    std::int32_t icdev = 0;
    unsigned open_slots = 0;  // pcscd opens and closes a channel for each slot: one bit each (table_mutex)
    std::array<Slot, kSlots> slots;

    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() {
        if (icdev >= 2) device_close(icdev);
    }
};

// Taken alone or after a reader's mutex, never before one.
std::mutex table_mutex;
std::array<std::shared_ptr<Reader>, kMaxReaders> readers;

DWORD reader_index(DWORD lun) { return lun >> 16; }
DWORD slot_index(DWORD lun) { return lun & 0xFFFF; }

// The reader of `lun`, or nullptr when its channel is not open or its slot does not exist.
std::shared_ptr<Reader> reader_of(DWORD lun) {
    if (reader_index(lun) >= kMaxReaders || slot_index(lun) >= kSlots) return nullptr;
    const std::lock_guard lock(table_mutex);
    return readers[reader_index(lun)];
}

std::uint8_t cardno_of(DWORD slot) { return slot == kFieldSlot ? kFieldCardno : static_cast<std::uint8_t>(slot); }

// Whether a card lies in `slot`, from the reader's status of the slot: nothing is sent to the card, so a
// session in progress goes on. The result is an IFD code.
RESPONSECODE card_in_slot(const Reader& reader, DWORD slot, bool& present, bool& powered_by_reader) {
    if (slot == kFieldSlot) {
        std::uint8_t state = 0;
        const int status = PICCA_GetStatus(reader.icdev, &state);
        present = status == VNR_OK && state != 0;
        powered_by_reader = present;  // the field cannot tell; a card that stayed in it keeps its session
        return ifd_code(status, IFD_COMMUNICATION_ERROR);
    }
    std::uint16_t state = 0;
    const int status = sam_slt_getstate(reader.icdev, static_cast<std::uint8_t>(slot), &state);
    present = status == VNR_OK && (state == kCardUnpowered || state == kCardPowered);
    powered_by_reader = status == VNR_OK && state == kCardPowered;
    return ifd_code(status, IFD_COMMUNICATION_ERROR);
}

void forget(Slot& slot) {
    slot.powered = false;
    slot.lost = false;
    slot.atr.clear();
}

RESPONSECODE power_up(Reader& reader, DWORD slot_number) {
    Slot& slot = reader.slots[slot_number];
    forget(slot);
    if (slot_number == kFieldSlot) {
        std::uint8_t type = 0, uid_length = 0, ats_length = 0;
        std::array<std::uint8_t, kUidRoom> uid{};
        std::array<std::uint8_t, kAtsRoom> ats{};
        const int status = open_card(reader.icdev, kActivateWait, &type, &uid_length, uid.data(), &ats_length, ats.data());
        if (status != VNR_OK) {
            log_line(PCSC_LOG_INFO, "field: no contactless CPU card activates (status %d)", status);
            return ifd_code(status, IFD_ERROR_POWER_ACTION);
        }
        slot.atr = contactless_atr(type == kTypeBCard, std::span(ats).first(std::min<std::size_t>(ats_length, kAtsRoom)));
    } else {
        std::uint8_t length = 0;
        std::array<std::uint8_t, kResetRoom> atr{};
        const int status = sam_slt_reset(reader.icdev, kContactResetWait, static_cast<std::uint8_t>(slot_number), &length, atr.data());
        if (status != VNR_OK || length == 0 || length > MAX_ATR_SIZE) {
            log_line(PCSC_LOG_INFO, "slot %lu: power-up failed (status %d, %u bytes of ATR)", slot_number, status, length);
            return status != VNR_OK ? ifd_code(status, IFD_ERROR_POWER_ACTION) : IFD_ERROR_POWER_ACTION;
        }
        slot.atr.assign(atr.begin(), atr.begin() + length);
    }
    slot.powered = true;
    log_line(PCSC_LOG_INFO, "slot %lu: powered up, ATR of %zu bytes", slot_number, slot.atr.size());
    return IFD_SUCCESS;
}

// A contactless card's power is the field: off and on again ends its session and leaves it ready for the
// next activation (a halted card would not answer one).
RESPONSECODE power_down(Reader& reader, DWORD slot_number) {
    forget(reader.slots[slot_number]);
    int status = VNR_OK;
    if (slot_number == kFieldSlot) {
        status = close_rf(reader.icdev);
        if (status == VNR_OK) status = open_rf(reader.icdev);
    } else {
        status = sam_slt_powerdown(reader.icdev, static_cast<std::uint8_t>(slot_number));
    }
    log_line(PCSC_LOG_INFO, "slot %lu: powered down (status %d)", slot_number, status);
    return ifd_code(status, IFD_ERROR_POWER_ACTION);
}

RESPONSECODE copy_out(std::span<const std::uint8_t> value, PDWORD length, PUCHAR out) {
    if (*length < value.size()) {
        *length = static_cast<DWORD>(value.size());
        return IFD_ERROR_INSUFFICIENT_BUFFER;
    }
    std::ranges::copy(value, out);
    *length = static_cast<DWORD>(value.size());
    return IFD_SUCCESS;
}

RESPONSECODE open_channel(DWORD lun, const Road& road, const char* name) {
    if (reader_index(lun) >= kMaxReaders || slot_index(lun) >= kSlots) return IFD_COMMUNICATION_ERROR;
    // The table stays locked from the look-up to the entry, so that slots opened at once share one handle.
    const std::lock_guard table_lock(table_mutex);
    std::shared_ptr<Reader>& entry = readers[reader_index(lun)];
    if (entry) {  // a further slot of a reader already open shares its handle
        entry->open_slots |= 1u << slot_index(lun);
        return IFD_SUCCESS;
    }
    auto reader = std::make_shared<Reader>();
    reader->icdev = road.usb ? device_open_name("USB", 0, 0) : device_open_name("COM", road.port, road.baud);
    if (reader->icdev < 2) {
        log_line(PCSC_LOG_ERROR, "%s: no reader answers (%d)", name, reader->icdev);
        return reader->icdev < 0 ? ifd_code(reader->icdev, IFD_COMMUNICATION_ERROR) : IFD_NO_SUCH_DEVICE;
    }
    reader->open_slots = 1u << slot_index(lun);
    entry = reader;
    log_line(PCSC_LOG_INFO, "%s: reader open on %s (handle %d, %lu slots)", name,
             road.usb ? "USB" : ("COM" + std::to_string(road.port + 1)).c_str(), reader->icdev, kSlots);
    return IFD_SUCCESS;
}

}  // namespace
}  // namespace vnr::pcsc

using namespace vnr::pcsc;

RESPONSECODE IFDHCreateChannelByName(DWORD Lun, LPSTR DeviceName) {
    const auto road = road_of(DeviceName != nullptr ? DeviceName : "");
    if (!road) {
        log_line(PCSC_LOG_ERROR, "%s: not a device name of this driver (usb..., /dev/hidrawN, COMn[:baud], "
                 "/dev/ttySn[:baud], or a tty that a COM link below $VNR32_PREFIX/dosdevices names)", DeviceName);
        return IFD_NO_SUCH_DEVICE;
    }
    return open_channel(Lun, *road, DeviceName);
}

// An old-style channel number n is serial port COMn.
RESPONSECODE IFDHCreateChannel(DWORD Lun, DWORD Channel) {
    if (Channel < 1 || Channel > 32) return IFD_NO_SUCH_DEVICE;
    return open_channel(Lun, Road{false, static_cast<std::int16_t>(Channel - 1), 115200}, "channel");
}

RESPONSECODE IFDHCloseChannel(DWORD Lun) {
    const auto reader = reader_of(Lun);
    if (!reader) return IFD_SUCCESS;
    const DWORD slot = slot_index(Lun);
    const std::lock_guard lock(reader->mutex);
    if (reader->slots[slot].powered) power_down(*reader, slot);
    const std::lock_guard table_lock(table_mutex);
    reader->open_slots &= ~(1u << slot);
    // The reader's last slot takes it out of the table; its handle closes with its last owner.
    if (reader->open_slots == 0 && readers[reader_index(Lun)] == reader) {
        readers[reader_index(Lun)] = nullptr;
        log_line(PCSC_LOG_INFO, "reader %lu closed", reader_index(Lun));
    }
    return IFD_SUCCESS;
}

RESPONSECODE IFDHGetCapabilities(DWORD Lun, DWORD Tag, PDWORD Length, PUCHAR Value) {
    const auto reader = reader_of(Lun);
    if (!reader) return IFD_NO_SUCH_DEVICE;
    if (Length == nullptr || Value == nullptr) return IFD_COMMUNICATION_ERROR;
    const auto one = [&](std::uint8_t value) { return copy_out(std::span(&value, 1), Length, Value); };
    switch (Tag) {
        case TAG_IFD_ATR:
        case SCARD_ATTR_ATR_STRING: {
            const std::lock_guard lock(reader->mutex);
            return copy_out(reader->slots[slot_index(Lun)].atr, Length, Value);
        }
        case TAG_IFD_SLOTS_NUMBER:
            return one(kSlots);
        case TAG_IFD_SIMULTANEOUS_ACCESS:
            return one(kMaxReaders);
        case TAG_IFD_THREAD_SAFE:       // readers share nothing but the library, which serialises itself
        case TAG_IFD_SLOT_THREAD_SAFE:  // slots share the reader's mutex
            return one(1);
        default:
            return IFD_ERROR_TAG;
    }
}

RESPONSECODE IFDHSetCapabilities(DWORD Lun, DWORD Tag, DWORD Length, PUCHAR Value) { return IFD_ERROR_TAG; }

// The reader runs the card's protocol itself and exposes neither a protocol choice nor transmission
// parameters: a protocol the card offers is taken as it stands; a speed change is not supported.
RESPONSECODE IFDHSetProtocolParameters(DWORD Lun, DWORD Protocol, UCHAR Flags, UCHAR PTS1, UCHAR PTS2, UCHAR PTS3) {
    const auto reader = reader_of(Lun);
    if (!reader) return IFD_NO_SUCH_DEVICE;
    const std::lock_guard lock(reader->mutex);
    const Slot& slot = reader->slots[slot_index(Lun)];
    if (!slot.powered) return IFD_ICC_NOT_PRESENT;
    if ((offered_protocols(slot.atr) & Protocol) == 0) return IFD_PROTOCOL_NOT_SUPPORTED;
    if (Flags & (IFD_NEGOTIATE_PTS1 | IFD_NEGOTIATE_PTS2 | IFD_NEGOTIATE_PTS3)) return IFD_NOT_SUPPORTED;
    return IFD_SUCCESS;
}

RESPONSECODE IFDHPowerICC(DWORD Lun, DWORD Action, PUCHAR Atr, PDWORD AtrLength) {
    const auto reader = reader_of(Lun);
    if (AtrLength != nullptr && Action != IFD_POWER_UP && Action != IFD_RESET) *AtrLength = 0;
    if (!reader) return IFD_NO_SUCH_DEVICE;
    const DWORD slot = slot_index(Lun);
    const std::lock_guard lock(reader->mutex);
    RESPONSECODE result = IFD_NOT_SUPPORTED;
    switch (Action) {
        case IFD_POWER_DOWN:
            return power_down(*reader, slot);
        case IFD_RESET:  // the reader has no warm reset: a reset is a fresh power-up (a field cycle first)
            if (slot == kFieldSlot && reader->slots[slot].powered) power_down(*reader, slot);
            [[fallthrough]];
        case IFD_POWER_UP:
            result = power_up(*reader, slot);
            break;
        default:
            return IFD_NOT_SUPPORTED;
    }
    if (Atr == nullptr || AtrLength == nullptr) return result;
    const Bytes& atr = reader->slots[slot].atr;
    std::ranges::copy(atr, Atr);
    *AtrLength = static_cast<DWORD>(atr.size());
    return result;
}

RESPONSECODE IFDHTransmitToICC(DWORD Lun, SCARD_IO_HEADER SendPci, PUCHAR TxBuffer, DWORD TxLength, PUCHAR RxBuffer,
                               PDWORD RxLength, PSCARD_IO_HEADER RecvPci) {
    const DWORD room = RxLength != nullptr ? *RxLength : 0;
    if (RxLength != nullptr) *RxLength = 0;
    const auto reader = reader_of(Lun);
    if (!reader) return IFD_NO_SUCH_DEVICE;
    if (TxBuffer == nullptr || RxBuffer == nullptr || TxLength == 0 || TxLength > kApduLimit) return IFD_COMMUNICATION_ERROR;
    const DWORD slot_number = slot_index(Lun);
    const std::lock_guard lock(reader->mutex);
    Slot& slot = reader->slots[slot_number];
    if (!slot.powered) return IFD_ICC_NOT_PRESENT;
    const auto command = std::span<const std::uint8_t>(TxBuffer, TxLength);
    log_line(PCSC_LOG_DEBUG, "slot %lu: APDU %s", slot_number, describe_command(command).c_str());
    std::vector<std::uint8_t> answer(kAnswerRoom);
    std::uint32_t length = 0;
    const int status = card_APDU(reader->icdev, cardno_of(slot_number), static_cast<std::int32_t>(TxLength), TxBuffer,
                                 &length, answer.data());
    if (status != VNR_OK) {
        // A refusal of the reader: the card has gone, or it is there and did not answer.
        bool present = false, powered = false;
        card_in_slot(*reader, slot_number, present, powered);
        log_line(PCSC_LOG_ERROR, "slot %lu: APDU failed (status %d), card %s", slot_number, status,
                 present ? "present" : "gone");
        forget(slot);
        slot.lost = present && slot_number == kFieldSlot;
        return present ? ifd_code(status, IFD_COMMUNICATION_ERROR) : IFD_ICC_NOT_PRESENT;
    }
    if (length > room) return IFD_ERROR_INSUFFICIENT_BUFFER;
    std::copy_n(answer.begin(), length, RxBuffer);
    *RxLength = length;
    if (RecvPci != nullptr) RecvPci->Protocol = SendPci.Protocol;
    if (length >= 2)
        log_line(PCSC_LOG_DEBUG, "slot %lu: answer of %u bytes, SW %02X %02X", slot_number, length, answer[length - 2],
                 answer[length - 1]);
    std::fill_n(answer.begin(), length, 0);  // an answer may hold a secret: it does not outlive the call here
    return IFD_SUCCESS;
}

// The reader is asked for the slot's status only; a powered card is never re-activated to be seen. A card
// that the driver powered but the reader now reports unpowered was taken out and put back (or lost its
// power): it is reported absent once, so that its session ends for the clients, then present again.
RESPONSECODE IFDHICCPresence(DWORD Lun) {
    const auto reader = reader_of(Lun);
    if (!reader) return IFD_NO_SUCH_DEVICE;
    const DWORD slot_number = slot_index(Lun);
    const std::lock_guard lock(reader->mutex);
    bool present = false, powered = false;
    const RESPONSECODE result = card_in_slot(*reader, slot_number, present, powered);
    if (result != IFD_SUCCESS) return result;
    Slot& slot = reader->slots[slot_number];
    if (slot.lost || (slot.powered && !(present && powered))) {
        log_line(PCSC_LOG_INFO, "slot %lu: the powered card %s", slot_number, present ? "lost its session" : "was removed");
        forget(slot);
        slot.lost = false;
        return IFD_ICC_NOT_PRESENT;
    }
    return present ? IFD_ICC_PRESENT : IFD_ICC_NOT_PRESENT;
}

RESPONSECODE IFDHControl(DWORD Lun, DWORD dwControlCode, PUCHAR TxBuffer, DWORD TxLength, PUCHAR RxBuffer,
                         DWORD RxLength, LPDWORD pdwBytesReturned) {
    if (pdwBytesReturned != nullptr) *pdwBytesReturned = 0;
    log_line(PCSC_LOG_DEBUG, "control code 0x%lX is not supported", dwControlCode);
    return IFD_ERROR_NOT_SUPPORTED;
}
