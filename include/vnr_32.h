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
#define VNR_E_BAD_ARGUMENT    (-37)   /* an argument is out of its bounds; also a photo folder and file
                                         name that together would not fit a 260-byte path */
#define VNR_E_FIELD_INDEX     (-49)   /* IDCard_GetCardInfo: field index outside 0 to 20 */
#define VNR_E_CARD_STATUS     (-50)   /* the identity card module's status triple is not success */
#define VNR_E_PIN_LENGTH_UNSET (-65)  /* PIN read: no PIN length was set yet (mw_kb_setpasslen) */
#define VNR_E_PIN_TIMEOUT_UNSET (-66) /* PIN read: no entry time-out was set yet (mw_kb_settimeout) */
#define VNR_E_FIND_STATUS     (-80)   /* IDCard_Find: the module did not answer 00 00 9F */
#define VNR_E_PHOTO_PATH     (-100)   /* a photo file path cannot be prepared */

/* Results of a photo save (the decoder's status mapped when no bitmap was written):
 *   -2 the decoder could not be loaded or called, -3 decoding failed, -4 the file name has no .wlt
 *   suffix, -5 the .wlt file cannot be opened, -6 the .wlt file's format is wrong, -8 the decoder
 *   reported a device error, -9 any other failure. */
#define VNR_E_PHOTO_DECODER    (-2)
#define VNR_E_PHOTO_DECODE     (-3)
#define VNR_E_PHOTO_SUFFIX     (-4)
#define VNR_E_PHOTO_OPEN       (-5)
#define VNR_E_PHOTO_FORMAT     (-6)
#define VNR_E_PHOTO_DEVICE     (-8)
#define VNR_E_PHOTO_OTHER      (-9)

/* send_com_bound: the channel is not 0, 1 or 2 (the same value as VNR_E_PHOTO_DECODER). */
#define VNR_E_CHANNEL          (-2)

/* A card read whose reply states lengths (its length field, text, photo and fingerprint lengths, the
 * 256-byte text block) that reach past the bytes received is refused with VNR_E_END_BYTE: its declared
 * length cannot be taken. IDCard_Read hands any reply over as it came, and IDCard_ReadCard, which takes
 * only the text, needs only the text block. */

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

/* ---- Reader control: identity and indicators ---------------------------------------------------
 * Each sends one command and returns its status; VNR_E_BAD_HANDLE for an icdev below 1 (with the
 * exceptions named), VNR_E_BAD_ARGUMENT for an argument out of its bounds or a buffer that is NULL.
 * The values of the beeper and the lights mean what the reader makes of them. */

/* Soft reset of the reader (`module` 0) or its contactless module (1). Command 31 12 module. The
 * handle is checked before `module`. */
VNR_API int16_t VNR_CALL device_reset(int32_t icdev, uint8_t module);

/* Sets the reader's serial rate (`module` 0 or 1): 19200, 38400, 57600 and 115200 are sent as codes 1
 * to 4, any other rate (9600 included) as 0. Command 30 01 module code. The host's own port is not
 * touched: reopen at the new rate afterwards. The handle is checked before `module`. */
VNR_API int16_t VNR_CALL device_setbaud(int32_t icdev, uint8_t module, int32_t baud);

/* Sounds the beeper. Command 31 13, `first` high byte first, `second`. */
VNR_API int16_t VNR_CALL device_beep(int32_t icdev, uint16_t first, uint8_t second);

/* Sets the lights: 31 14 value. */
VNR_API int16_t VNR_CALL device_ledctrl(int32_t icdev, uint8_t value);

/* Sets the coloured lights: 31 15 first second third. */
VNR_API int16_t VNR_CALL color_ledcontrol(int32_t icdev, uint8_t first, uint8_t second, uint8_t third);

/* Sets four lights from `ledparam` (4 bytes, each 0, 1 or 2; another value, or NULL, gives
 * VNR_E_BAD_ARGUMENT after the handle check). Command 32 66 and the 4 bytes. */
VNR_API int16_t VNR_CALL dev_ledcontrol(int32_t icdev, const uint8_t* ledparam);

/* Reads the product serial number: C0 09 length. On success `snr` (which must hold `length` bytes) gets
 * the first `length` bytes of the reply, zeros where the reader sent fewer. */
VNR_API int16_t VNR_CALL device_readsnr(int32_t icdev, uint8_t length, uint8_t* snr);

/* Writes the serial number: C0 08 length and the `length` bytes of `snr`. */
VNR_API int16_t VNR_CALL device_writesnr(int32_t icdev, uint8_t length, const uint8_t* snr);

/* Writes the serial number in the fixed form: C0 08 00 14 and 20 bytes, `length` (1 to 20) of `snr` and
 * zeros behind them. `length` is checked before the handle. */
VNR_API int16_t VNR_CALL dev_writesnr(int32_t icdev, uint8_t length, const uint8_t* snr);

/* ---- Reader control: status ---------------------------------------------------------------------
 * Each stores the first byte of the reply in *state on success (0 when the reply had no data) and
 * leaves it alone otherwise; the values are the reader's. The first three check no handle of their
 * own: an icdev of 0 or below gives VNR_E_HANDLE_EXCHANGE. */
VNR_API int16_t VNR_CALL get_device_status(int32_t icdev, uint8_t* state);    /* 30 07 */
VNR_API int16_t VNR_CALL get_device_statusEx(int32_t icdev, uint8_t* state);  /* 30 08 */
VNR_API int16_t VNR_CALL dev_cardstate(int32_t icdev, uint8_t* state);        /* 30 09 */
VNR_API int16_t VNR_CALL ICC_GetStatus(int32_t icdev, uint8_t* state);        /* 40 00, the contact slot */
VNR_API int16_t VNR_CALL PICCA_GetStatus(int32_t icdev, uint8_t* state);      /* 40 01, type A field */
VNR_API int16_t VNR_CALL PICCB_GetStatus(int32_t icdev, uint8_t* state);      /* 40 02, type B field */

/* Asks the reader for its charge (C0 0C). Only the status is meaningful: the reply's layout is the
 * reader's, and `value` is not written (it may be NULL). */
VNR_API int16_t VNR_CALL get_quant_ele(int32_t icdev, uint8_t* value);

/* ---- Reader control: EEPROM ---------------------------------------------------------------------
 * 200 bytes, addressed from 0 to 199. The reader works in two-byte words, the functions in bytes: a
 * read from an odd address or of an odd count reads whole words and hands over the bytes asked for; a
 * write that does not cover whole words first reads the neighbouring byte(s) of its first and last word
 * with dev_readeeprom and writes them back unchanged. Between that read and the write the library lock
 * is given up, so a write by another thread to the same word at that moment can be lost. Both check
 * their bounds before the handle. */

/* Reads `length` bytes (1 to 200) from `nAddr` (`nAddr` + `length` at most 200) into `data`, which must
 * hold `length` bytes. A reply shorter than the words asked for gives VNR_E_END_BYTE and writes
 * nothing. */
VNR_API int16_t VNR_CALL dev_readeeprom(int32_t icdev, uint16_t nAddr, uint16_t length, uint8_t* data);

/* Writes the `length` bytes (1 to 200) of `data` at `nAddr` (0 to 200). Beyond byte 199 the reader
 * decides, but a write that needs a neighbouring byte there gets VNR_E_BAD_ARGUMENT from the first
 * read. When the first read fails, its status is returned and nothing is written. */
VNR_API int16_t VNR_CALL dev_writeeeprom(int32_t icdev, uint16_t nAddr, uint16_t length, const uint8_t* data);

/* ---- Reader control: side channels --------------------------------------------------------------- */

/* Hand `length` bytes (at most 597, else VNR_E_BAD_ARGUMENT) to the reader's auxiliary port 1 (60 C3 00)
 * or port 2 (60 C4 00). Only the status comes back. */
VNR_API int16_t VNR_CALL send_com1(int32_t icdev, uint32_t length, const uint8_t* data);
VNR_API int16_t VNR_CALL send_com2(int32_t icdev, uint32_t length, const uint8_t* data);

/* Sets auxiliary port `channel` (0 to 2) to `baud` (9600, 38400 or 115200): 60 C5 00 and one byte per
 * channel, the chosen one holding the rate's code 0, 1 or 2 and the others 0. After the handle check,
 * a bad rate gives VNR_E_GENERAL and then a bad channel VNR_E_CHANNEL (-2), without a log line. */
VNR_API int16_t VNR_CALL send_com_bound(int32_t icdev, uint8_t channel, int32_t baud);

/* The fingerprint side device's fixed query: 60 C2 87 and the text "1;31415926535897", waiting up to
 * 9000 ms. On success `first` (200 bytes) gets the reply's bytes 30 to 229 and `second` (100 bytes) its
 * bytes 230 to 329, zeros where the reply is shorter. */
VNR_API int16_t VNR_CALL get_finger(int32_t icdev, uint8_t* first, uint8_t* second);

/* The reader's bend value (50 00): the reply's first four bytes R0 to R3 read as
 * ((R0*65535 + R1)*256 + R2)*256 + R3 modulo 2^32 (the factor of R0 is 65535), stored in *value. A reply
 * of fewer than four bytes gives VNR_E_END_BYTE and leaves *value alone. */
VNR_API int16_t VNR_CALL tf_bend(int32_t icdev, double* value);

/* Read a 512-byte block of the reader's store into `data` (512 bytes; zeros where the reply is
 * shorter), or write `length` bytes (at most 594, else VNR_E_BAD_ARGUMENT) of `data` at `address`. The
 * address goes as four bytes of base 265, not 256: address/265^3, address/265^2, address/265,
 * address%265, each cut to 8 bits (265 is 00 00 01 00, 70225 is 00 01 09 00). Commands 50 01 and
 * 50 02. */
VNR_API int16_t VNR_CALL tf_read(int32_t icdev, int32_t address, uint8_t* data);
VNR_API int16_t VNR_CALL tf_write(int32_t icdev, int32_t address, uint32_t length, const uint8_t* data);

/* The EMID number (32 53), waiting up to 5000 ms: `id` (100 bytes) gets the reply as it came and
 * *length its count. No handle check of its own: an icdev of 0 or below gives VNR_E_HANDLE_EXCHANGE. */
VNR_API int16_t VNR_CALL Dev_GetEMID(int32_t icdev, uint8_t* length, uint8_t* id);

/* Looks for a card of any kind, in this order, through the exported functions (each takes the lock for
 * itself, so another thread's command may fall between the steps):
 *   1. a contact card in slot 0 (sam_slt_getstate gives state 0x1003 or 0x1004) that powers up
 *      (sam_slt_reset with no wait): *contact_cpu = 1, its ATR to `atr` and its length to *atr_length;
 *   2. CLCard_Open with no wait: a contactless CPU card sets *contactless_cpu = 1 and gives its ATS in
 *      `atr` and *atr_length; an identity card sets *identity_card = 1 (nothing else is written);
 *   3. otherwise a stripe read with no wait (magnetic_read_ms): on success *magnetic = 1 and `tracks` (the
 *      771-byte track record) holds the tracks.
 * A contactless memory card is no hit: the search goes on to the stripe. The flags are only ever set to 1:
 * clear them first. `atr` must hold 255 bytes. Returns 0 when a card was found, else the status of the
 * stripe read (the steps before report nothing); VNR_E_BAD_ARGUMENT for a null buffer. */
VNR_API int16_t VNR_CALL Get_CardType(int32_t icdev, uint32_t* contactless_cpu, uint32_t* contact_cpu,
                                      uint8_t* atr_length, uint8_t* atr, uint32_t* identity_card, uint32_t* magnetic,
                                      uint8_t* tracks);

/* ---- Magnetic stripe -----------------------------------------------------------------------------
 * The track record (771 bytes): the lengths of tracks 1, 2 and 3 (one byte each), then 256 bytes for
 * each track, at offsets 3, 259 and 515. Tracks are the card's text, without terminator; the bytes
 * behind a track's length are left as they were. When the reader sends the tracks with their sentinels
 * (the first track byte is '%' or ';'), each track loses its first and last byte, and a track 2 that
 * begins with ";:" its first two and its last; a track of 1 or 2 bytes then has length 0. A track that
 * the reader marks as absent (0xF5) has length 0. A reply whose lengths reach past its data gives
 * VNR_E_END_BYTE and leaves the record alone. The library lock is held through the whole wait. */

/* Waits up to `wait` seconds for a swipe (32 60 wait) and fills `tracks`. The library waits 1000 ms for
 * a wait of 0, 5000 ms for 1 to 3, and (wait+1)*1000 ms from 4. An icdev below 1 gives
 * VNR_E_BAD_HANDLE; no swipe gives the reader's status or VNR_E_NO_REPLY. */
VNR_API int16_t VNR_CALL magnetic_read(int32_t icdev, uint8_t wait, uint8_t* tracks);

/* As magnetic_read, with `wait` in milliseconds: the reader gets wait/1000 seconds (low 8 bits), the
 * library waits wait+1000 ms, or 1000 ms for a wait of 0. A negative wait counts as 0. */
VNR_API int16_t VNR_CALL magnetic_read_ms(int32_t icdev, int32_t wait, uint8_t* tracks);

/* Sends the stripe head a mode: 0 as 32 61, 1 as 32 62, and 0x40, 0x41, 0x80, 0x81, 0xC0, 0xC1 as
 * 32 63 mode. Another mode gives VNR_E_BAD_ARGUMENT. No handle check of its own: an icdev of 0 or below
 * gives VNR_E_HANDLE_EXCHANGE. */
VNR_API int16_t VNR_CALL set_magnetic_mode(int32_t icdev, uint8_t mode);

/* ---- PIN pad ----------------------------------------------------------------------------------------
 * The pad does the key handling and the PIN block; the library carries the commands and keeps the
 * pad's state, once for the process (not per handle; device_close does not touch it). A PIN read needs
 * an entry time-out (mw_kb_settimeout) and a PIN length (mw_kb_setpasslen) to have been set once, in
 * either order: without the time-out it gives VNR_E_PIN_TIMEOUT_UNSET, then without the length
 * VNR_E_PIN_LENGTH_UNSET, then VNR_E_BAD_HANDLE. A read waits for the person up to the time-out and a
 * second more, holding the library lock all the while; the standing 2000 ms come back on every path.
 * A refused setting leaves an earlier one in force.
 * Secrets: key bytes and PINs are wiped from the library's own buffers after use, and the log shows the
 * key bytes of a key load and the PIN of a plain read as '*'. A key text (and `blockdata`) that is not
 * the required number of hexadecimal digits is refused with VNR_E_BAD_ARGUMENT and nothing is sent.
 * The user key table: a user key loaded with a number from 0 to 15 is also kept by the library (its kind
 * and 16 bytes, a DES key followed by zeros), for deciphering in the library; numbers from 16 on have no
 * entry there. */

/* Load a main key (C5 03 00 destype mainkeyno key) or a user key under a main key (C5 04 00 destype
 * mainkeyno userkeyno key). `destype` 0: `key` is 16 hexadecimal digits (8 bytes); 1: 32 digits (16
 * bytes). Key numbers 0 to 255. */
VNR_API int16_t VNR_CALL mw_kb_downloadmainkey(int32_t icdev, int32_t destype, int32_t mainkeyno, const char* key);
VNR_API int16_t VNR_CALL mw_kb_downloaduserkey(int32_t icdev, int32_t destype, int32_t mainkeyno, int32_t userkeyno,
                                               const char* key);

/* Sets the PIN length: the low byte of `passlen`, 1 to 16 (C5 02 00 length). */
VNR_API int16_t VNR_CALL mw_kb_setpasslen(int32_t icdev, int32_t passlen);

/* Sets the pad's entry time-out, 6 to 255 seconds (C5 01 00 seconds); a PIN read then waits
 * (seconds+1)*1000 ms. */
VNR_API int16_t VNR_CALL mw_kb_settimeout(int32_t icdev, int32_t seconds);

/* Reads a PIN in the clear: `times` 1 the first entry (C5 05 00 1B 49), 2 the entry again (1B 45); any
 * other value gives VNR_E_BAD_ARGUMENT before anything else. `pin` (50 bytes) gets the pad's bytes as
 * they are, with no terminator and no count; zero-fill it first. */
VNR_API int16_t VNR_CALL mw_kb_getpin(int32_t icdev, int32_t times, uint8_t* pin);

/* Reads an enciphered PIN block under the active user key: C5 06 00 1B 49 (or 1B 45 for `times` 2),
 * the key number, 00 00 and the six bytes of `blockdata` (12 hexadecimal digits). `pin` (35 bytes) gets
 * the pad's cipher text (at most 17 bytes) as upper-case hexadecimal with a terminating zero. */
VNR_API int16_t VNR_CALL mw_kb_getenpin(int32_t icdev, int32_t times, const char* blockdata, char* pin);

/* Makes `userkeyno` (0 to 255; `mainkeyno` 0 to 255 is only checked) the key number of the enciphered
 * read, and marks whether its table entry holds a 16-byte key (none from 16 on: DES). Sends nothing and
 * does not look at `icdev`; it takes the library lock for that moment, so it waits while a PIN read
 * holds it. */
VNR_API int16_t VNR_CALL mw_kb_activekey(int32_t icdev, int32_t mainkeyno, int32_t userkeyno);

/* Deciphers `msgLen` bytes of `src` (1 to 16) into `dst` as des_decrypt does, under the user key of the
 * active key number as the library keeps it (all zeros when none was loaded under that number), with
 * triple DES when mw_kb_activekey found a 16-byte key there. Needs no reader. Returns des_decrypt's or
 * des3_decrypt's status, or VNR_E_BAD_ARGUMENT when the active key number is 16 or above (the library
 * keeps no key for it) without touching `dst`. */
VNR_API int32_t VNR_CALL pwd_decrypt(const uint8_t* src, uint8_t msgLen, uint8_t* dst);

/* ---- Encoders: no reader, no argument checks; the caller's buffers must be large enough --------- */

/* Each of `count` bytes as two upper-case hexadecimal digits, then a terminating zero: `dst` takes
 * 2*count+1 bytes. Returns 0. */
VNR_API int16_t VNR_CALL hex_asc(const uint8_t* src, char* dst, uint32_t count);

/* `count` bytes from 2*count hexadecimal digits (either case), then a terminating zero. Returns 0, or
 * VNR_E_GENERAL at the first character that is not a digit, with the bytes done so far in `dst` and
 * no terminator. */
VNR_API int16_t VNR_CALL asc_hex(const char* src, uint8_t* dst, uint32_t count);

/* As asc_hex, each pair read as 10*first+second, the digits A to F counting 10 to 15 ("12" gives 12,
 * "1F" gives 25). */
VNR_API int16_t VNR_CALL asc_dec(const char* src, uint8_t* dst, uint32_t count);

/* Base64 (RFC 4648, with padding) of `count` bytes; no terminator is written. Returns the number of
 * characters plus one. */
VNR_API int32_t VNR_CALL hex_base64(const uint8_t* src, char* dst, uint32_t count);

/* Three bytes for each whole group of four characters among the first `count` (up to three left-over
 * characters are ignored). A character outside the alphabet, the pad '=' included, counts as 0, so
 * padding gives zero bytes. No terminator. Returns 3*groups+1. */
VNR_API int32_t VNR_CALL base64_hex(const char* src, uint8_t* dst, uint32_t count);

/* ---- Contact cards: CPU card and SAM slots -------------------------------------------------------
 * `cardno` names the slot: 0 the contact card slot, 1 to 31 further slots (SAM), and for card_APDU only
 * 0xFF the activated contactless CPU card. Any other value gives VNR_E_BAD_ARGUMENT and sends nothing.
 * The usual order: sam_slt_getstate, sam_slt_reset (or sam_slt_reset_baud), card_APDU as often as
 * needed, sam_slt_powerdown. Out-parameters are written only on success unless said otherwise. */

/* The state of slot `cardno` in *state, as the reader reports it in its status word (all 16 bits; a
 * card present and powered down, powered up, no card, ... are the reader's own values, 0 included).
 * *state is set to 0 as soon as the handle has passed. A failure of the link or the library (a result
 * from -49 to -1) is returned as it is, *state staying 0; a status word from 1 to 49 is therefore a
 * failure too, and every other one a state. Returns 0 when *state holds a state. */
VNR_API int16_t VNR_CALL sam_slt_getstate(int32_t icdev, uint8_t cardno, uint16_t* state);

/* Powers the card in slot `cardno` up and resets it; `delaytime` (ms) is the reader's own wait for the
 * card. The library waits delaytime + 1000 ms for the answer when that is longer than its standing
 * 2000 ms (0xFFFF: 66535 ms), and afterwards the standing wait holds again, whatever the result. The
 * reader's first byte of data is not part of the answer to reset and is dropped: `atr` gets the rest,
 * *rlen its count. `atr` must hold 255 bytes; a longer answer is refused with VNR_E_END_BYTE and
 * nothing is written. A reply without even that first byte gives *rlen 0. */
VNR_API int16_t VNR_CALL sam_slt_reset(int32_t icdev, uint16_t delaytime, uint8_t cardno, uint8_t* rlen, uint8_t* atr);

/* As sam_slt_reset at a chosen speed: `baud` 0, 1 or 2, passed on to the reader as it is. Here the whole
 * reply is the answer to reset (nothing is dropped); `atr` must hold 255 bytes, and a longer answer is
 * refused with VNR_E_END_BYTE. The wait is the standing one. */
VNR_API int16_t VNR_CALL sam_slt_reset_baud(int32_t icdev, uint8_t cardno, uint8_t baud, uint8_t* rlen, uint8_t* atr);

/* Powers the card in slot `cardno` down. */
VNR_API int16_t VNR_CALL sam_slt_powerdown(int32_t icdev, uint8_t cardno);

/* Passes the APDU of `slen` bytes (1 to 3070) at `sbuf` to the card in slot `cardno` (0 to 31, or 0xFF
 * for the activated contactless CPU card) and gives its answer as bytes: `rbuf` gets it, ending with the
 * card's two status bytes as the card gave them, and *rlen its count. The result is 0 whatever those two
 * bytes say; the caller reads them. `rbuf` must hold 3073 bytes; a longer answer is refused with
 * VNR_E_END_BYTE and nothing is written. Checks in order: the handle, `slen`, `cardno`. */
VNR_API int16_t VNR_CALL card_APDU(int32_t icdev, uint8_t cardno, int32_t slen, const uint8_t* sbuf, uint32_t* rlen,
                                   uint8_t* rbuf);

/* ---- Contact cards: memory cards -----------------------------------------------------------------
 * None of these writes a log line of its own. The card type is a number the reader knows: 1, 3, 4, 5, 8
 * or 10 (3 the SLE4428 class, 4 the SLE4442 class). The library keeps one size code for the whole
 * process (not per handle or slot): contact_settype forgets it, contact_identifytype may learn it, and
 * while one is known contact_read and contact_write are bounded by the card's size. */

/* Tells the reader the type of the card in slot `cardno` (0 or 1): `cardtype` one of 1, 3, 4, 5, 8, 10.
 * Every call forgets the size code first, also one then refused: reads and writes are unbounded after it. */
VNR_API int16_t VNR_CALL contact_settype(int32_t icdev, uint8_t cardno, uint8_t cardtype);

/* Asks the reader what card lies in slot `cardno` (0 or 1); *cardtype gets the type. When the reader
 * names type 1, 5 or 10 itself, the size code it gives is kept and bounds later reads and writes; a
 * type told from the card's answer to reset (3, 4 or 8) leaves the code as it was. A card the library
 * does not know gives -4097 (status word 0x1001) with *cardtype as it was. */
VNR_API int16_t VNR_CALL contact_identifytype(int32_t icdev, uint8_t cardno, uint8_t* cardtype);

/* Sets (contact_passwordinit) or presents (contact_passwordcheck) the card's password: `len` bytes at
 * `password`, of `len` only the low byte counts (0 to 255); `cardno` 0 to 31. The reader and the card
 * decide what lengths they take. */
VNR_API int16_t VNR_CALL contact_passwordinit(int32_t icdev, uint8_t cardno, int32_t len, const uint8_t* password);
VNR_API int16_t VNR_CALL contact_passwordcheck(int32_t icdev, uint8_t cardno, int32_t len, const uint8_t* password);

/* Reads `len` bytes at `addr` from the card in slot `cardno` (0 to 31) into `out`, which must hold
 * `len` bytes. With a size code known, the code must be one of 0, 1, 2, 4, 6, 8, 16, 32, 64, 128 (the
 * card holds 128 x 2^(code mod 32) bytes: 128, 256, 512, 2048, 8192, 32768, 8388608, 128, 128, 128),
 * `addr` must lie below that size and `addr` + `len` within it, else VNR_E_BAD_ARGUMENT; the read then
 * goes in pieces of 1024 bytes, one command each at addr, addr + 1024, ..., each waiting up to 15000 ms
 * when there are two or more, and `len` 0 sends nothing. A piece that would start beyond address 0xFFFF,
 * which the command cannot carry, is refused beforehand with VNR_E_BAD_ARGUMENT. With no size code
 * one command asks for the whole `len`. A piece that fails does not stop the others: the last piece asks
 * for all that is still missing, and the result is the last piece's status. On 0, `out` gets the bytes
 * received, front to back, at most `len` (a reply longer than asked is refused with VNR_E_END_BYTE); what
 * lies behind them, when fewer came, stays as it was. On any other result `out` stays as it was. */
VNR_API int16_t VNR_CALL contact_read(int32_t icdev, uint8_t cardno, uint16_t addr, uint16_t len, uint8_t* out);

/* Writes `len` bytes of `data` at `addr`, with the bounds and pieces of contact_read; every command, the
 * single one too, waits up to 15000 ms. The pieces are cut by position. A failed piece does not stop
 * the others, so after a failure part-way the pieces after it are written all the same; the result is
 * the last piece's status. */
VNR_API int16_t VNR_CALL contact_write(int32_t icdev, uint8_t cardno, uint16_t addr, uint16_t len, const uint8_t* data);

/* ---- Contact cards: the AT88SC1604 family ---------------------------------------------------------
 * All go to slot 0 and return 32-bit statuses (a reader status widened with its sign). Addresses are
 * absolute, 0 to 2006, in six zones: 0 (0-20), 1 (21-1221), 2 (1222-1482), 3 (1483-1743), 4 (1744-2004),
 * 5 (2005-2006). The heads of zones 1 to 4 hold their codes (6 bytes in zone 1, 5 in the others), and
 * zone 0's bytes 10 to 12 the card's code. Everything out of bounds is refused with VNR_E_BAD_ARGUMENT
 * before anything goes to the reader; a bad handle gives VNR_E_BAD_HANDLE. In every call `len` must be
 * at least 1 and `offset` + `len` at most the zone's last address + 1. */

/* Reads `len` bytes at `offset` of zone `zone` (0 to 5) into `out`, which must hold `len` bytes; the
 * reader's bytes go there as they came, and a reply longer than `len` is refused with VNR_E_END_BYTE.
 * `offset` must lie within the zone. */
VNR_API int32_t VNR_CALL srd_1604(int32_t icdev, int32_t zone, int32_t offset, int32_t len, uint8_t* out);

/* Writes `len` bytes of `data` at `offset` of zone `zone` (0 to 5), waiting up to 25000 ms. Refused:
 * in zone 0 an `offset` outside 0-20 or at 10-12 (a write from 9 may run across them), in zones 1 to 4
 * an `offset` in the zone's reserved head or above the zone (one below the zone passes), in zone 5 one
 * outside 2005-2006; `len` above 21, 1195, 256, 256, 256, 2 for zones 0 to 5. */
VNR_API int32_t VNR_CALL swr_1604(int32_t icdev, int32_t zone, int32_t offset, int32_t len, const uint8_t* data);

/* Erases `len` bytes at `offset` of zone `zone` (0 to 5), within the zone and out of its reserved head
 * (zone 0: 0-20, 1: 27-1221, 2: 1227-1482, 3: 1488-1743, 4: 1749-2004, 5: 2005-2006). Waits up to
 * 30000 ms with a 10 ms delay before each read of a USB reader, and that delay stands afterwards (with
 * the standing 2000 ms) until a command sets its own wait. `len` is checked before the handle. */
VNR_API int32_t VNR_CALL ser_1604(int32_t icdev, int32_t zone, int32_t offset, int32_t len);

/* Writes code number `zone` (0 the card's security code at 10; 1 to 4 the security codes of zones 1 to
 * 4 at 21, 1222, 1483, 1744; 5 to 8 their erase codes at 24, 1224, 1485, 1746): erases its 2 bytes as
 * ser_1604 does (with its wait) and, when that succeeded, writes the 2 bytes at `code`. `len` must be 2.
 * The two commands each take the library lock, so another thread's command may fall between them. */
VNR_API int32_t VNR_CALL wsc_1604(int32_t icdev, int32_t zone, int32_t len, const uint8_t* code);

/* Presents the security code of `zone` (csc_1604: 0 the card's, 1 to 4 a zone's; checks in order `len`,
 * `zone`, handle) or the erase code of `zone` (cesc_1604: 1 to 4; checks in order handle, `len`, `zone`):
 * the 2 bytes at `code`, `len` must be 2. */
VNR_API int32_t VNR_CALL csc_1604(int32_t icdev, int32_t zone, int32_t len, const uint8_t* code);
VNR_API int32_t VNR_CALL cesc_1604(int32_t icdev, int32_t zone, int32_t len, const uint8_t* code);

/* Passes `mode` (0 or 1, checked before the handle) to the card's fuse command. */
VNR_API int32_t VNR_CALL fakefus_1604(int32_t icdev, int32_t mode);

/* The card's personalisation command. */
VNR_API int32_t VNR_CALL psnl_1604(int32_t icdev);
/* ---- Contactless cards: the RF field and activation ----------------------------------------------
 * `delaytime` is the time in milliseconds that the reader is given for the card to answer, sent high
 * byte first. The library waits for the reply that long and a margin more (open_card 1000 ms, always;
 * rf_card and rf_halt 200 ms, when that is longer than the standing 2000 ms); 0xFFFF waits without
 * limit. The standing 2000 ms come back on every way out. The library keeps no card state: whether a
 * card is active is known to the reader alone. */

/* Switch the RF field on and off. */
VNR_API int16_t VNR_CALL open_rf(int32_t icdev);
VNR_API int16_t VNR_CALL close_rf(int32_t icdev);

/* Activates a contactless CPU card (32 24). On success *cardtype gets the reader's card type byte,
 * `uid` the card's identifier and *uidlen its length, `ats` its ATS and *atslen its length. `uid` must
 * hold 10 bytes (the longest identifier) and `ats` 64; a reply whose identifier or ATS is longer, or
 * whose lengths reach past the bytes received, is refused with VNR_E_END_BYTE. On any failure none of
 * the five is written. */
VNR_API int16_t VNR_CALL open_card(int32_t icdev, uint16_t delaytime, uint8_t* cardtype, uint8_t* uidlen, uint8_t* uid,
                                   uint8_t* atslen, uint8_t* ats);

/* Activates a Mifare-class memory card (32 41). On success *cardtype gets the card type byte and `uid`
 * (4 bytes) the serial number in the reader's byte order; a reply shorter than that gives
 * VNR_E_END_BYTE. */
VNR_API int16_t VNR_CALL rf_card(int32_t icdev, uint16_t delaytime, uint8_t* cardtype, uint8_t* uid);

/* Puts the active card into the halt state. */
VNR_API int16_t VNR_CALL rf_halt(int32_t icdev, uint16_t delaytime);

/* What CLCard_Open found. */
#define VNR_CL_IDCARD      1   /* a resident identity card */
#define VNR_CL_CPU_CARD    2   /* a contactless CPU card */
#define VNR_CL_MIFARE      3   /* a Mifare-class memory card */

/* Probes, in this order and stopping at the first that answers: IDCard_Read_IDNUM (an identity card:
 * nothing is written), open_card with all arguments (a CPU card: as open_card), rf_card (a Mifare-class
 * card: *cardtype and 4 bytes of `uid`; *uidlen, *atslen and `ats` are left alone). Only the low 16 bits
 * of `delaytime` count. Returns VNR_CL_IDCARD, VNR_CL_CPU_CARD or VNR_CL_MIFARE, or when no probe
 * succeeded the status of rf_card. Each probe takes the lock for itself. */
VNR_API int16_t VNR_CALL CLCard_Open(int32_t icdev, uint32_t delaytime, uint8_t* cardtype, uint8_t* uidlen, uint8_t* uid,
                                     uint8_t* atslen, uint8_t* ats);

/* ---- Contactless cards: Mifare blocks and values ----------------------------------------------------
 * On a card that rf_card activated: authenticate the sector, then work its blocks. Values are unsigned
 * 32-bit numbers, sent and received high byte first; the reader builds the value block itself. */

/* Authenticates sector `addr` (0 to 16) with the 6-byte `key`; `mode` (0 or 1) chooses the key for the
 * reader. Note the order: `mode` ahead of `addr` here, `addr` ahead of `mode` in the command.
 */
VNR_API int16_t VNR_CALL rf_authentication(int32_t icdev, uint8_t mode, uint8_t addr, const uint8_t* key);

/* Reads block `addr` (not checked) straight into `data`, which must hold 16 bytes: a longer reply is
 * refused with VNR_E_END_BYTE. After any failed exchange the first byte of `data` is 0. The reply's
 * length is not reported. */
VNR_API int16_t VNR_CALL rf_read(int32_t icdev, uint8_t addr, uint8_t* data);

/* Writes the 16 bytes of `data` to block `addr` (0 to 64). */
VNR_API int16_t VNR_CALL rf_write(int32_t icdev, uint8_t addr, const uint8_t* data);

/* Reads the value of block `addr` (0 to 64) into *value, which is set to 0 ahead of the exchange and
 * stays 0 when it fails (a reply shorter than 4 bytes gives VNR_E_END_BYTE). */
VNR_API int16_t VNR_CALL rf_readval(int32_t icdev, uint8_t addr, uint32_t* value);

/* Makes block `addr` (0 to 64) a value block holding `value`. */
VNR_API int16_t VNR_CALL rf_initval(int32_t icdev, uint8_t addr, uint32_t value);

/* Add `value` to, or take it from, the value of block `addr`. The value is read first by rf_readval
 * (whose checks and statuses these share); a result that would not fit in 32 bits (a sum above
 * 0xFFFFFFFF, a difference below 0) gives VNR_E_BAD_ARGUMENT with nothing more sent. The read and the
 * change are two separate holds of the lock. The reader keeps the result until rf_transfer. */
VNR_API int16_t VNR_CALL rf_increment(int32_t icdev, uint8_t addr, uint32_t value);
VNR_API int16_t VNR_CALL rf_decrement(int32_t icdev, uint8_t addr, uint32_t value);

/* Sends the transfer command for block `addr` (not checked); never sent by the library itself. */
VNR_API int16_t VNR_CALL rf_transfer(int32_t icdev, uint8_t addr);

/* ---- Contactless cards: Ultralight-class and NTAG215 tags ------------------------------------------
 * Tags of 4-byte pages; page numbers are not checked. Activation waits a flat 200 ms. */

/* Activate a tag (32 41 00 00) and give its 7-byte identifier in `uid` (7 bytes): MF_OpenCard in the
 * reader's order, NTAG215_OpenCard reversed. A shorter reply gives VNR_E_END_BYTE. `reserved` is not
 * read. */
VNR_API int16_t VNR_CALL MF_OpenCard(int32_t icdev, uint8_t reserved, uint8_t* uid);
VNR_API int16_t VNR_CALL NTAG215_OpenCard(int32_t icdev, uint8_t* uid);

/* Authenticates with `keylen` bytes of `key`; the command holds at most 197, so a longer `keylen` gives
 * VNR_E_BAD_ARGUMENT. */
VNR_API int16_t VNR_CALL MF_Authentication(int32_t icdev, const uint8_t* key, uint8_t keylen);

/* Read from page `addr`: `out` gets the reply as it came and must hold 100 bytes (a longer reply gives
 * VNR_E_END_BYTE); its length is not reported (a tag answers 16 bytes, four pages). */
VNR_API int16_t VNR_CALL MF_Read(int32_t icdev, uint8_t addr, uint8_t* out);
VNR_API int16_t VNR_CALL NTAG215_Read(int32_t icdev, uint8_t addr, uint8_t* out);

/* Write the 4 bytes of `data` to page `addr` (32 4C and C1 4C). */
VNR_API int16_t VNR_CALL MF_Write_4bytes(int32_t icdev, uint8_t addr, const uint8_t* data);
VNR_API int16_t VNR_CALL NTAG215_Write_4bytes(int32_t icdev, uint8_t addr, const uint8_t* data);

/* Writes the 4 bytes of `data` to the one-time-programmable page 3, by MF_Write_4bytes. */
VNR_API int16_t VNR_CALL MF_WriteOTp(int32_t icdev, const uint8_t* data);

/* Sets the lock bit of `page` by MF_Write_4bytes (the other bits written are 0): pages 3 to 15 in page 2
 * (3 to 7 in its third byte, 8 to 15 in its fourth), pages 16 to 39 in the first byte of page 40 (one
 * bit for each four pages: 16-19 0x02, 20-23 0x04, 24-27 0x08, 28-31 0x20, 32-35 0x40, 36-39 0x80), 42
 * and 43 in its second byte (0x20, 0x40), 44 to 47 together (0x80). Any other page gives VNR_E_GENERAL
 * and nothing is sent. */
VNR_API int16_t VNR_CALL MF_WriteLock(int32_t icdev, uint8_t page);

/* Authenticates with the tag's 4-byte password; a `KeyLength` other than 4 gives VNR_E_GENERAL (after
 * the handle check). */
VNR_API int16_t VNR_CALL NTAG215_Authentication(int32_t icdev, const uint8_t* key, uint8_t KeyLength);

/* Writes the 4-byte password `key` to page 0x85 by NTAG215_Write_4bytes. A
 * `KeyLength` other than 4 gives VNR_E_GENERAL, with nothing sent and no log line. */
VNR_API int16_t VNR_CALL NTAG215_ChangeKey(int32_t icdev, const uint8_t* key, uint8_t KeyLength);

/* Writes the lock bytes 70 00 00 00 to page 0x82 by NTAG215_Write_4bytes. */
VNR_API int16_t VNR_CALL NTAG215_WriteLock(int32_t icdev);

/* Reads the base information area, pages 0x50 to 0x7F, and gives it as a text: its bytes up to and with
 * the first zero byte. `out` must hold 193 bytes (192 and the terminator); an area without a zero in
 * that room is refused with VNR_E_END_BYTE. A null `out` gives VNR_E_BAD_ARGUMENT with nothing sent. */
VNR_API int16_t VNR_CALL NTAG215_ReadBaseInfo(int32_t icdev, char* out);

/* What NTAG215_Init gives at the step that failed (the step's own status is not passed on). */
#define VNR_NTAG215_INIT_AUTHENTICATION (-1)  /* the default password was not accepted (or a bad icdev) */
#define VNR_NTAG215_INIT_CHANGE_KEY     (-2)  /* the new password could not be written */
#define VNR_NTAG215_INIT_WRITE_PAGE     (-3)  /* a page of the text could not be written */
#define VNR_NTAG215_INIT_WRITE_LOCK     (-4)  /* the lock bytes could not be written */
#define VNR_NTAG215_INIT_TEXT           (-5)  /* the text is longer than 192 bytes, or null */

/* Initialises a delivered tag that NTAG215_OpenCard has activated: authenticates with the default
 * password FF FF FF FF, writes the 4-byte `key` as the new password, writes the zero-terminated `text`
 * (at most 192 bytes) from page 0x50 on, four bytes a page (the last page padded with zeros), and writes
 * the lock bytes. A text that is too long is refused only after the password change, so the tag keeps
 * its new password; a null text is refused before anything is sent. An empty text writes no page.
 * Returns 0 or a VNR_NTAG215_INIT_* value. */
VNR_API int16_t VNR_CALL NTAG215_Init(int32_t icdev, const uint8_t* key, const char* text);

/* ---- Contactless cards: peer-to-peer ---------------------------------------------------------------- */

/* Sends `len` bytes of `data` (at most 1019; more gives VNR_E_BAD_ARGUMENT) with `type` to the reader
 * for peer-to-peer transfer (70 00). The reply is dropped: only the status comes back. There is no handle
 * check of its own: an icdev below 1 gives VNR_E_HANDLE_EXCHANGE. */
VNR_API int16_t VNR_CALL NFC_P2P(int32_t icdev, uint8_t type, uint16_t len, const uint8_t* data);

/* ---- Bank cards ------------------------------------------------------------------------------------
 * The card number and the holder's name of a bank card of the PBOC/EMV family, contact or contactless,
 * read in one call. This is no payment transaction: the card is only asked what it takes to reach its
 * Track 2 equivalent data (tag 57) and its holder name (tag 5F20). The call takes no lock of its own:
 * it powers the card up with sam_slt_reset (card_type 0, slot 0) or activates it with open_card
 * (card_type 255), then sends each APDU with card_APDU, each of which locks for itself, so another
 * thread's commands may fall between them; two bank reads at once would mix their APDUs.
 *
 * Two ways, the second only when the first fails:
 *   1. the PSE (1PAY.SYS.DDF01, also for a contactless card), its directory's application, and records
 *      1 to 9 of SFI 1, until both tags were seen; no GET PROCESSING OPTIONS;
 *   2. the PSE (contact) or the PPSE (2PAY.SYS.DDF01, contactless), or when the card has none the AIDs
 *      A000000333010101 and A000000333010102; the application's PDOL filled with fixed terminal values
 *      (amount 0, country and currency 0156, today's date), GET PROCESSING OPTIONS, and the records of
 *      the AFL that follows the application interchange profile 7C00 in the GPO answer.
 * A card whose answers come in parts (61xx) or ask for another length (6Cxx) is followed, at most 64
 * times for one command and within 1535 bytes of answer; a card that asks for more fails that command.
 *
 * Buffers, all the caller's, zero-filled beforehand (the library writes no terminator in way 1 and
 * does not clear what a failed way wrote):
 *   card_no      40 bytes: way 1 gives the digits of tag 57 up to its separator D, trailing F digits
 *                kept, no terminator; way 2 the same digits without trailing F, zero-terminated. A
 *                number of 40 digits or more is not taken.
 *   holder_name  64 bytes: the bytes of tag 5F20 as the card holds them (ASCII or GBK); way 2 adds a
 *                terminator. A name of 64 bytes or more is not taken.
 *   message      52 bytes: a zero-terminated GBK text, "成功获取到数据" on success, else why the last way
 *                tried failed (a card that cannot be powered, "连接机具失败" for an icdev below 1, no
 *                PSE, no tag, a failed GET PROCESSING OPTIONS, ...).
 * Returns 0 on success, else -1; null buffers give -1 with nothing sent or written. card_type other than
 * 0 and 255 fails both ways without a command. Way 1 succeeds as soon as the card's records could be
 * read, even if they held neither tag; way 2 needs one of them at least. */
VNR_API int32_t VNR_CALL iReadICCardNoAndName(int32_t icdev, int32_t card_type, char* card_no, char* holder_name,
                                              char* message);

/* ---- DES and triple DES: no reader; each block of 8 bytes by itself (ECB, no chaining) ----------
 * Keys are bytes: 8 for DES, the low bit of each (its parity bit) ignored; 16 for two-key triple DES,
 * K1 then K2, enciphering E(K1) D(K2) E(K1) and deciphering D(K1) E(K2) D(K1). A short last block is
 * filled with zero bytes. Keys, messages and work blocks are wiped from the library's own memory after
 * use. Beyond the length, only a missing (null) buffer is refused; the caller's buffers must be large
 * enough. */

/* Enciphers (des_encrypt) or deciphers (des_decrypt) `msgLen` bytes of `src`, 1 to 16, under an 8-byte
 * key: one block up to 8 bytes, two from 9. Exactly `msgLen` bytes go to `dst`, so only whole messages
 * of 8 or 16 bytes can be deciphered again. Returns 0, or VNR_E_BAD_ARGUMENT for a `msgLen` of 0 or
 * above 16 or a null buffer, with `dst` untouched. */
VNR_API int16_t VNR_CALL des_encrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);
VNR_API int16_t VNR_CALL des_decrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);

/* As des_encrypt and des_decrypt, under a 16-byte triple DES key. With K1 equal to K2 they give what
 * des_encrypt and des_decrypt give under K1. */
VNR_API int16_t VNR_CALL des3_encrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);
VNR_API int16_t VNR_CALL des3_decrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);

/* Enciphers (rf_encrypt) or deciphers (rf_decrypt) `msgLen` bytes of `src`, 0 to 65535, under an 8-byte
 * key, block by block. Every block goes to `dst`, which takes `msgLen` rounded up to a multiple of 8
 * bytes (nothing for 0); `src` and `dst` may be the same buffer. Returns 0, or VNR_E_BAD_ARGUMENT for
 * a null buffer with a `msgLen` above 0. */
VNR_API int16_t VNR_CALL rf_encrypt(const uint8_t* key, const uint8_t* src, uint16_t msgLen, uint8_t* dst);
VNR_API int16_t VNR_CALL rf_decrypt(const uint8_t* key, const uint8_t* src, uint16_t msgLen, uint8_t* dst);

/* ---- Identity card: the module's commands --------------------------------------------------------
 * The reply of the module (module_reply): length (2 bytes, big-endian, the whole reply), SW1 SW2 SW3,
 * then data. A read's data: text_len (2), photo_len (2), [fingerprint_len (2) for the D0 04 and D0 07
 * reads], the 256-byte text block, the photo (WLT data), [the fingerprint data]. */

/* Find a card (D0 01), select it (D0 02), read its added information (D0 05) or its management
 * information (D0 06). On success `data` gets length-5 bytes of the reply's data and *len their count.
 * Another triple gives VNR_E_FIND_STATUS (IDCard_Find) or SW3 as a number from 0 to 255. */
VNR_API int16_t VNR_CALL IDCard_Find(int32_t icdev, uint32_t* len, uint8_t* data);
VNR_API int16_t VNR_CALL IDCard_Selet(int32_t icdev, uint32_t* len, uint8_t* data);
VNR_API int16_t VNR_CALL IDCard_ReadAdded(int32_t icdev, uint32_t* len, uint8_t* data);
VNR_API int16_t VNR_CALL IDCard_ReadManage(int32_t icdev, uint32_t* len, uint8_t* data);

/* Reads text and photo (32 50) and hands over the whole reply, at most 2000 bytes, with its length in
 * *len, also when the triple is not success (then VNR_E_CARD_STATUS). */
VNR_API int16_t VNR_CALL IDCard_Read(int32_t icdev, uint32_t* len, uint8_t* data);

/* The module's id (32 51), at most 100 bytes as they came; *len gets the count. */
VNR_API int16_t VNR_CALL IDCard_GetModeID(int32_t icdev, uint8_t* len, uint8_t* data);

/* The card's id (32 52), at most 100 bytes as they came; *len gets the count. */
VNR_API int16_t VNR_CALL IDCard_Read_IDNUM(int32_t icdev, uint32_t* len, uint8_t* buf);

/* Reads text and photo (D0 03) into `buf`, which must hold 1289 bytes, fills the identity record and
 * saves the photo as zp.bmp below the photo folder. The message (GBK, no terminator) is laid over the
 * head of `buf`; *len gets the reply's length field. Returns the photo save's status, or
 * VNR_E_CARD_STATUS. */
VNR_API int16_t VNR_CALL IDCard_Read_P_W(int32_t icdev, uint32_t* len, uint8_t* buf);

/* As IDCard_Read_P_W with fingerprint data (D0 04); `buf` must hold 2315 bytes. */
VNR_API int16_t VNR_CALL IDCard_Read_P_W_F(int32_t icdev, uint32_t* len, uint8_t* buf);

/* ---- Identity card: the record of the last card read ----------------------------------------------
 * The converters take one UTF-16LE field ending in a zero unit and write its GBK text to `out`, with
 * no terminator (zero-fill `out` first): Name 30 bytes, Sex 6 (a name from the sex table), Nation 18
 * (a name from the nation table), Birthday 8, Address 70, IDNumber 18, IssueDepartment 30,
 * ValidFromDate 8, ValidExpiryDate 8, Reserve 36. Padded fields end at their first two spaces in a
 * row. A character that GBK lacks becomes '?'. All return 0 but IDCard_Nation, which returns
 * VNR_E_GENERAL when the field holds no two digits. */
VNR_API int16_t VNR_CALL IDCard_Name(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_Sex(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_Nation(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_Birthday(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_Address(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_IDNumber(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_IssueDepartment(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_ValidFromDate(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_ValidExpiryDate(const uint8_t* wide, char* out);
VNR_API int16_t VNR_CALL IDCard_Reserve(const uint8_t* wide, char* out);

/* One field of the last card read, as the converters give it: 0 Name to 9 Reserve, 10 the photo file
 * name (260 bytes), 12 the fingerprint data (1024 bytes), 13 its length (2 bytes, high first); 11 and
 * 14 to 20 write nothing. Needs no reader (`icdev` is not used). Returns 0 or VNR_E_FIELD_INDEX. */
VNR_API int16_t VNR_CALL IDCard_GetCardInfo(int32_t icdev, int32_t field, char* out);

/* ---- Identity card: one call reads a card --------------------------------------------------------
 * `errtext` gets a GBK message (21 bytes hold the longest); most messages carry no terminator, so
 * zero-fill it first. */

/* Reads the text into the record; no photo is saved. */
VNR_API int16_t VNR_CALL IDCard_ReadCard(int32_t icdev, char* errtext);

/* Reads the text into the record and writes the photo to `lpInPhoneSaveFile` (a full path holding
 * ".bmp", at most 254 bytes; empty or NULL: no photo). VNR_E_PHOTO_PATH when that path is not usable. */
VNR_API int32_t VNR_CALL IDCard_ReadCard_Extra(int32_t icdev, const char* lpInPhoneSaveFile, char* errtext);

/* Reads the card into ten buffers of the caller (sizes as the converters), saves the photo under the
 * photo folder and name and gives the file's Base64 text in `photo_base64` (at most 87384 characters,
 * no terminator) with the converter's result in *photo_base64_len. `save_mode` 0 deletes the file
 * afterwards, 2 names it after the card's number, any other value keeps it under the set name. */
VNR_API int16_t VNR_CALL IDCard_ReadCard_Ex(int32_t icdev, char* name, char* sex, char* nation, char* birthday,
                                            char* address, char* id_number, char* department, char* valid_from,
                                            char* valid_to, char* reserve, int32_t save_mode, char* photo_base64,
                                            int32_t* photo_base64_len, char* errtext);

/* Reads the card into the record, writes the photo's WLT data to `folder`\XP.wlt (empty folder: C:\)
 * and, when `decode` is not 0, the bitmap zp.bmp beside it, and the text block to `folder`\wz.txt
 * (empty folder: D:\). */
VNR_API int16_t VNR_CALL IDCard_ReadCard_ExTwo(int32_t icdev, int32_t decode, const char* folder, char* errtext);

/* Reads text, photo and fingerprint data (D0 07) into the record; the photo goes to zp.bmp below the
 * photo folder. */
VNR_API int32_t VNR_CALL IDCard_ReadCard_finger(int32_t icdev, char* errtext);

/* Reads a resident or a foreign permanent resident card (*is_foreign 0 or 1) and writes all fields to
 * `line` (3096 bytes hold the longest), each followed by '|', the fingerprint data last as hexadecimal
 * text; `with_fingerprint` 1 reads it (D0 07), any other value does not (32 50). The photo goes to
 * `lpInPhoneSaveFile` as with IDCard_ReadCard_Extra; `line` is written only when all succeeded. The
 * record of the last card read is not touched. */
VNR_API int16_t VNR_CALL IDCard_ReadCard_Foreign(int32_t icdev, const char* lpInPhoneSaveFile, uint32_t* is_foreign,
                                                 char* line, int32_t with_fingerprint);

/* ---- Identity card: the photo store --------------------------------------------------------------
 * Paths are GBK. On Windows they are used as they stand. On Linux a drive path "X:\a\b" means
 * $VNR32_PREFIX/drive_x/a/b, and a path that begins with '/' is a native one; see the README. The
 * folder starts as "c:\" and the name as "zp". */

/* Sets the photo folder (1 to 250 bytes; a '\' is added at the end when missing, and it must then be
 * at most 248 bytes). VNR_E_BAD_ARGUMENT for a bad length, or when the folder with the photo name and
 * an extension would not fit 260 bytes; VNR_E_GENERAL for a folder name that the file system refuses. */
VNR_API int16_t VNR_CALL IDCard_SetPhotoPath(const char* path);

/* Sets the photo file name, without extension (1 to 250 bytes, no leading space, none of ?:\*"/<>|).
 * VNR_E_GENERAL when refused; VNR_E_BAD_ARGUMENT when the photo folder with it would not fit. */
VNR_API int16_t VNR_CALL IDCard_SetPhotoName(const char* name);

/* Writes `photo_len` bytes of WLT data to <folder><name>.wlt, decodes it to <folder><name>.bmp and
 * copies that to `copy_to`. Returns 0, a photo save status, VNR_E_GENERAL when the photo folder is not
 * usable, or VNR_E_BAD_ARGUMENT for a negative length, a null photo with a length, or a path that
 * would not fit 260 bytes. */
VNR_API int16_t VNR_CALL IDCard_PhotoSave_Ex(const uint8_t* photo, int32_t photo_len, const char* copy_to);

/* Copies the path of the last photo file, with its terminator, to `file` (260 bytes). */
VNR_API void VNR_CALL IDCard_GetPhotoFile(char* file);

/* Deletes the photo files of the last read. Returns 0. */
VNR_API int16_t VNR_CALL delete_all_photofile(void);

/* Decodes an existing .wlt file to the bitmap of the same name (its last four characters replaced by
 * ".bmp"). `message` gets a GBK text with its terminator (33 bytes hold the longest). Returns 0,
 * VNR_E_GENERAL for a refused path, or a photo save status. */
VNR_API int16_t VNR_CALL iWlttoBmp(const char* wlt_file, char* message);

/* The Base64 text of the file's first 65536 bytes (at most 87384 characters, no terminator). Returns
 * the number of characters plus one, -1 when the file cannot be opened, -2 when it is empty. */
VNR_API int32_t VNR_CALL GetFileBase64Buffer(const char* file, char* base64);

/* ---- Identity card: pictures of the card ---------------------------------------------------------
 * Each draws the card's face over the library's own template with the given GBK texts (empty or NULL
 * draws nothing) and writes a 24-bit bitmap to `out_file`: both sides on one sheet (343 x 436), the
 * front (343 x 215) or the back (343 x 215). `birthday`, `valid_from` and `valid_to` are YYYYMMDD;
 * `address` (at most 70 bytes) is drawn on up to three lines of at most 22 bytes, the third taking the
 * rest; a line never ends inside a double-byte character (the front cuts after 22 bytes, or 21 when 22
 * would split one; the sheet after 22 when the byte at index 21 is below 0x80, else after 21 or, when
 * that would split one, 20). The photo is a bitmap file, usually the
 * one a read saved; its background colour, which the file's third-last byte gives, lets the card show
 * through. A photo that cannot be read is replaced by the last one drawn. No result: a file that
 * cannot be written is simply not there. */
VNR_API void VNR_CALL MakePicture(const char* out_file, const char* photo_file, const char* name, const char* sex,
                                  const char* nation, const char* birthday, const char* address, const char* id_number,
                                  const char* department, const char* valid_from, const char* valid_to);
VNR_API void VNR_CALL MakePictureFront(const char* out_file, const char* photo_file, const char* name, const char* sex,
                                       const char* nation, const char* birthday, const char* address,
                                       const char* id_number);
VNR_API void VNR_CALL MakePictureBack(const char* out_file, const char* department, const char* valid_from,
                                      const char* valid_to);

#ifdef __cplusplus
}
#endif

#endif /* VNR_32_H */
