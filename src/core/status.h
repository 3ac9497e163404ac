// src/core/status.h: core. The one place that names every status the library gives and says what it
// means in words. The command-line tool prints these words and the Python binding is generated from
// `vnr statuses`, so a code added to include/vnr_32.h gets its words here or the build fails: the switch
// below has no default, and -Werror=switch refuses an enumerator without a case.
#pragma once

#include "vnr_32.h"

#include <cstdint>
#include <string_view>

namespace vnr::core {

// The statuses of the library and its links. Any other 16-bit value is a status of the reader.
enum class Status : std::int16_t {
    ok = VNR_OK,
    general = VNR_E_GENERAL,
    photo_decoder = VNR_E_PHOTO_DECODER,
    photo_decode = VNR_E_PHOTO_DECODE,
    photo_suffix = VNR_E_PHOTO_SUFFIX,
    photo_open = VNR_E_PHOTO_OPEN,
    photo_format = VNR_E_PHOTO_FORMAT,
    photo_device = VNR_E_PHOTO_DEVICE,
    photo_other = VNR_E_PHOTO_OTHER,
    no_reply = VNR_E_NO_REPLY,
    bad_handle = VNR_E_BAD_HANDLE,
    port_index = VNR_E_PORT_INDEX,
    port_denied = VNR_E_PORT_DENIED,
    port_open = VNR_E_PORT_OPEN,
    port_state = VNR_E_PORT_STATE,
    port_config = VNR_E_PORT_CONFIG,
    port_write = VNR_E_PORT_WRITE,
    port_read = VNR_E_PORT_READ,
    handle_exchange = VNR_E_HANDLE_EXCHANGE,
    no_start = VNR_E_NO_START,
    end_byte = VNR_E_END_BYTE,
    check_byte = VNR_E_CHECK_BYTE,
    bad_argument = VNR_E_BAD_ARGUMENT,
    field_index = VNR_E_FIELD_INDEX,
    card_status = VNR_E_CARD_STATUS,
    pin_length_unset = VNR_E_PIN_LENGTH_UNSET,
    pin_timeout_unset = VNR_E_PIN_TIMEOUT_UNSET,
    find_status = VNR_E_FIND_STATUS,
    photo_path = VNR_E_PHOTO_PATH,
};

// What a status of the library means, in English; empty for a value that is not one of them (a
// reader's status). Several families give -2 to -9 meanings of their own; the words name them all.
constexpr std::string_view status_words(Status status) noexcept {
    switch (status) {
        case Status::ok: return "success";
        case Status::general: return "general failure";
        case Status::photo_decoder:
            return "the photo decoder (GetInfo) could not be loaded or called; send_com_bound: no such channel";
        case Status::photo_decode: return "the photo could not be decoded";
        case Status::photo_suffix: return "the photo decoder refused the file name (no .wlt suffix)";
        case Status::photo_open: return "the photo decoder could not open the .wlt file";
        case Status::photo_format: return "the photo data is not in a format the decoder knows";
        case Status::photo_device: return "the photo decoder reported a device error";
        case Status::photo_other: return "the photo could not be saved";
        case Status::no_reply: return "no reply from the reader within the time-out";
        case Status::bad_handle: return "the device handle is not valid";
        case Status::port_index: return "the serial port number is outside COM1 to COM32";
        case Status::port_denied: return "access to the serial port was denied, or another program holds it";
        case Status::port_open: return "the serial port cannot be opened (is it there?)";
        case Status::port_state: return "the serial port's state cannot be read (is it a serial port?)";
        case Status::port_config: return "the serial port cannot be configured";
        case Status::port_write: return "writing to the serial port failed";
        case Status::port_read: return "reading from the serial port failed";
        case Status::handle_exchange: return "the device handle is not valid for a command";
        case Status::no_start: return "no frame start from the reader (noise on the line?)";
        case Status::end_byte: return "the reader's frame is malformed (end byte, or a length that cannot be taken)";
        case Status::check_byte: return "the reader's frame has a wrong check byte";
        case Status::bad_argument: return "an argument is out of its bounds";
        case Status::field_index: return "no such field of the identity record";
        case Status::card_status: return "the identity card module reported a failure (no card on the reader?)";
        case Status::pin_length_unset: return "the PIN length was not set yet (mw_kb_setpasslen)";
        case Status::pin_timeout_unset: return "the PIN entry time-out was not set yet (mw_kb_settimeout)";
        case Status::find_status: return "no identity card found";
        case Status::photo_path: return "the photo file path is not usable (a full path holding .bmp is needed)";
    }
    return {};
}

// The words of any value: a library status's own, or empty for a reader's status.
constexpr std::string_view status_words(std::int32_t value) noexcept {
    if (value < -100 || value > 0) return {};
    return status_words(static_cast<Status>(value));
}

}  // namespace vnr::core
