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

/* ---- DES and triple DES: no reader; each block of 8 bytes by itself (ECB, no chaining) ----------
 * Keys are bytes: 8 for DES, the low bit of each (its parity bit) ignored; 16 for two-key triple DES,
 * K1 then K2, enciphering E(K1) D(K2) E(K1) and deciphering D(K1) E(K2) D(K1). A short last block is
 * filled with zero bytes. No argument is checked but the length; the caller's buffers must be large
 * enough. */

/* Enciphers (des_encrypt) or deciphers (des_decrypt) `msgLen` bytes of `src`, 1 to 16, under an 8-byte
 * key: one block up to 8 bytes, two from 9. Exactly `msgLen` bytes go to `dst`, so only whole messages
 * of 8 or 16 bytes can be deciphered again. Returns 0, or VNR_E_BAD_ARGUMENT for a `msgLen` of 0 or
 * above 16, with `dst` untouched. */
VNR_API int16_t VNR_CALL des_encrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);
VNR_API int16_t VNR_CALL des_decrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);

/* As des_encrypt and des_decrypt, under a 16-byte triple DES key. With K1 equal to K2 they give what
 * des_encrypt and des_decrypt give under K1. */
VNR_API int16_t VNR_CALL des3_encrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);
VNR_API int16_t VNR_CALL des3_decrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst);

/* Enciphers (rf_encrypt) or deciphers (rf_decrypt) `msgLen` bytes of `src`, 0 to 65535, under an 8-byte
 * key, block by block. Every block goes to `dst`, which takes `msgLen` rounded up to a multiple of 8
 * bytes (nothing for 0); `src` and `dst` may be the same buffer. Always returns 0. */
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
