// tools/status_text.cpp: the command-line tool. Words for each status code of the library.
#include "status_text.h"

#include "vnr_32.h"

#include <cstdio>

namespace vnr::tool {

namespace {
const char* words(long status) {
    switch (status) {
        case VNR_OK: return "success";
        case VNR_E_GENERAL: return "general failure";
        case VNR_E_NO_REPLY: return "no reply from the reader within the time-out";
        case VNR_E_BAD_HANDLE: return "the device handle is not valid";
        case VNR_E_PORT_INDEX: return "the serial port number is outside COM1 to COM32";
        case VNR_E_PORT_DENIED: return "access to the serial port was denied, or another program holds it";
        case VNR_E_PORT_OPEN: return "the serial port cannot be opened (is it there?)";
        case VNR_E_PORT_STATE: return "the serial port's state cannot be read (is it a serial port?)";
        case VNR_E_PORT_CONFIG: return "the serial port cannot be configured";
        case VNR_E_PORT_WRITE: return "writing to the serial port failed";
        case VNR_E_PORT_READ: return "reading from the serial port failed";
        case VNR_E_HANDLE_EXCHANGE: return "the device handle is not valid for a command";
        case VNR_E_NO_START: return "no frame start from the reader (noise on the line?)";
        case VNR_E_END_BYTE: return "the reader's frame is malformed (end byte or length)";
        case VNR_E_CHECK_BYTE: return "the reader's frame has a wrong check byte";
        case VNR_E_BAD_ARGUMENT: return "an argument is out of its bounds";
        case VNR_E_FIELD_INDEX: return "no such field of the identity record";
        case VNR_E_CARD_STATUS: return "the identity card module reported a failure (no card on the reader?)";
        case VNR_E_FIND_STATUS: return "no identity card found";
        case VNR_E_PHOTO_PATH: return "the photo file path is not usable (a full path holding .bmp is needed)";
        case VNR_E_PHOTO_DECODER: return "the photo decoder (GetInfo) could not be loaded or called";
        case VNR_E_PHOTO_DECODE: return "the photo could not be decoded";
        case VNR_E_PHOTO_SUFFIX: return "the photo decoder refused the file name";
        case VNR_E_PHOTO_OPEN: return "the photo decoder could not open the .wlt file";
        case VNR_E_PHOTO_FORMAT: return "the photo data is not in a format the decoder knows";
        case VNR_E_PHOTO_DEVICE: return "the photo decoder reported a device error";
        case VNR_E_PHOTO_OTHER: return "the photo could not be saved";
        default: return nullptr;
    }
}
}  // namespace

std::string explain_status(long status) {
    char text[160];
    if (const char* known = words(status)) {
        std::snprintf(text, sizeof text, "%s (%ld)", known, status);
    } else if (status >= -100 && status < 0) {
        std::snprintf(text, sizeof text, "library failure (%ld)", status);
    } else {
        const unsigned reader = static_cast<unsigned>(-status) & 0xFFFF;
        std::snprintf(text, sizeof text, "the reader answered status 0x%04X (%ld)", reader, status);
    }
    return text;
}

}  // namespace vnr::tool
