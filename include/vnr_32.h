/*
 * vnr_32.h: the C interface of the vnr_32 reader library.
 *
 * An application opens a reader with device_open() or device_open_name(), passes the handle it gets
 * (icdev, 2 or above) to every reader function, and closes it with device_close(). Each call blocks
 * until the reader has answered or its wait has run out. Calls may come from several threads: one
 * library-wide lock keeps commands from interleaving on the wire.
 *
 * Results: 0 is success. The codes from -1 to -100 below are the library's and the link's own; any
 * other value is a status reported by the reader, the 16-bit two's complement of its two status
 * bytes S1*256+S2 (status 0x1001 reads -4097, 0x9000 reads 28672).
 *
 * Text at this interface is GBK (code page 936). The library never allocates for the caller: every
 * buffer passed in is the caller's and must be as large as the function says.
 */
#ifndef VNR_32_H
#define VNR_32_H

#include <stdint.h>

/* VNR_API marks an exported function; VNR_CALL is its calling convention. 32-bit Windows uses
 * __stdcall with undecorated names (the .def file strips the decoration); every other target uses
 * the platform's one C convention. */
#if defined(_WIN32)
#  define VNR_API
#  if defined(_M_IX86) || defined(__i386__)
#    define VNR_CALL __stdcall
#  else
#    define VNR_CALL
#  endif
#else
#  define VNR_API __attribute__((visibility("default")))
#  define VNR_CALL
#endif

/* ---- Status codes ------------------------------------------------------------------------------ */
#define VNR_OK                   0    /* success */
#define VNR_E_GENERAL          (-1)   /* general failure; also device_close refused by the system */
#define VNR_E_NO_REPLY        (-17)   /* no reply within the read time-out, on either link */
#define VNR_E_BAD_HANDLE      (-18)   /* icdev below 1 */
#define VNR_E_PORT_INDEX      (-19)   /* serial port index outside 0 to 31 */
#define VNR_E_PORT_DENIED     (-20)   /* serial port refused: access denied or in use */
#define VNR_E_PORT_OPEN       (-21)   /* serial port cannot be opened for any other reason */
#define VNR_E_PORT_STATE      (-22)   /* the serial port's state cannot be read */
#define VNR_E_PORT_CONFIG     (-23)   /* the serial port's state or event mask cannot be set */
#define VNR_E_PORT_WRITE      (-24)   /* writing to the serial port failed */
#define VNR_E_PORT_READ       (-25)   /* reading from the serial port failed */
#define VNR_E_HANDLE_EXCHANGE (-33)   /* icdev of 0 or below reached the command exchange */
#define VNR_E_NO_START        (-34)   /* no start byte in ten reads */
#define VNR_E_END_BYTE        (-35)   /* the received frame does not end with the end byte, or its
                                         declared length cannot be taken */
#define VNR_E_CHECK_BYTE      (-36)   /* the received frame's check byte is wrong */
#define VNR_E_BAD_ARGUMENT    (-37)   /* an argument is out of its bounds */

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Session ----------------------------------------------------------------------------------- */

/* Finds a reader: first on USB HID, then on serial port `port` (0 is COM1, up to 31) at `baud`
 * (9600, 19200, 38400, 57600 or 115200; any other rate opens at 9600). `port` and `baud` are
 * looked at only when no USB reader answers. A handle is returned only after the reader has answered
 * a version query. Result: the handle (2 or above); 0 when a link opened but no reader answered, or
 * no USB reader was found; or VNR_E_PORT_INDEX to VNR_E_PORT_CONFIG. */
VNR_API int32_t VNR_CALL device_open(int16_t port, int32_t baud);

/* As device_open, with the road chosen by `portname` (case ignored): a name beginning with "USB"
 * searches USB HID only, one beginning with "COM" opens serial port `port` (the digits of the name
 * are not used). Any other name gives VNR_E_BAD_ARGUMENT. */
VNR_API int32_t VNR_CALL device_open_name(const char* portname, int16_t port, int32_t baud);

/* Closes the handle. Result: 0, or VNR_E_GENERAL for -1 or a handle the system does not know. */
VNR_API int16_t VNR_CALL device_close(int32_t icdev);

/* Stores the kind of the last open in *kind: 1 USB HID, 0 serial (also after a failed open), 0xFF
 * before any open. Always returns 0. */
VNR_API int16_t VNR_CALL device_gettype(uint8_t* kind);

/* Asks the reader (`module` 0) or its contactless module (`module` 1) for its version text. On
 * success `text` gets the whole reply (at most 100 bytes, no terminating zero) and *length its
 * length; *length is set to 0 first. */
VNR_API int16_t VNR_CALL device_version(int32_t icdev, uint8_t module, uint8_t* length, uint8_t* text);

/* Serial link only: resizes the port's queues to 1024 bytes and sets longer port time-outs (100 ms
 * between bytes, 5000 ms for a read or a write). Returns 0 when the port took them, else 1. */
VNR_API int16_t VNR_CALL ReSetupComm(int32_t icdev);

#ifdef __cplusplus
}
#endif

#endif /* VNR_32_H */
