/*
 * vnr_emv.h: the complete EMV read of a bank card, a small library of its own (libvnr_emv.so,
 * vnr_emv.dll) beside vnr_32, built on vnr_32's exported functions only (sam_slt_reset, open_card,
 * card_APDU, sam_slt_powerdown). vnr_32 itself exports none of this.
 *
 * It reads what a terminal reads to know a card: the card number, the expiry date and the holder's
 * name, contact or contactless, the way application selection and GET PROCESSING OPTIONS go on a
 * payment terminal:
 *   - the directory first: the PSE (1PAY.SYS.DDF01, its records of SFI 88) for a contact card, the PPSE
 *     (2PAY.SYS.DDF01, its FCI's BF0C) for a contactless one, with every entry (61: 4F, 50, 87);
 *   - without a directory, the well-known AIDs of the international and national schemes one by one,
 *     with partial selection (SELECT next) where the card's AID is longer;
 *   - the applications in the order of their priority indicators (87: 1 first; none after those with
 *     one, in the card's order); for each until one gives a card number: SELECT, GET PROCESSING
 *     OPTIONS with the PDOL filled (83 00 when the card has none), the answer's format 80 or 77, and
 *     every record of every AFL entry;
 *   - the number from 5A, else 57 (Track 2 equivalent), else 9F6B (Track 2 of a magnetic-stripe-mode
 *     contactless card); the name from 5F20, else 9F0B, else the name field of Track 1 (56), spaces
 *     trimmed and a blank placeholder (" /") skipped; the expiry from 5F24 (YYMMDD), else the Track 2
 *     or Track 1 data (YYMM).
 * The PDOL's values: 9F66 B6 00 40 00, 9F02 and 9F03 zero, 9F1A and 5F2A 0156, 95 zeros, 9A and 9F21
 * today's date and the time (UTC), 9C 00, 9F37 four random bytes, 9F35 22, 9F33 E0 E1 C8, 9F40 60 00
 * F0 A0 01, 9F1E "VNR00001"; any other tag zeros. A value longer than the PDOL asks is cut, a shorter
 * one padded: numbers on the left with zeros, others on the right.
 *
 * The card's 61xx and 6Cxx answers are followed at most 64 times for one command and within 4096
 * bytes of answer. Every answer is walked with the bounded BER-TLV reader of vnr_32's bank family
 * (src/bank/tlv.cpp, compiled in): lengths past the data are refused, nesting is followed 8 levels.
 *
 * Calls: plain C with the platform's C calling convention on every target (cdecl on 32-bit Windows,
 * where vnr_32's own functions are __stdcall). Text: the name is the card's bytes (ASCII, or GBK on
 * national cards); every other text is ASCII. Not reentrant for one reader: a read takes no lock of
 * its own, so another thread's commands may fall between its APDUs, as with any sequence of card_APDU.
 */
#ifndef VNR_EMV_H
#define VNR_EMV_H

#include <stdint.h>

#if defined(_WIN32)
#  if defined(VNR_EMV_BUILD)
#    define VNR_EMV_API __declspec(dllexport)
#  else
#    define VNR_EMV_API __declspec(dllimport)
#  endif
#  define VNR_EMV_CALL __cdecl
#else
#  define VNR_EMV_API __attribute__((visibility("default")))
#  define VNR_EMV_CALL
#endif

/* card_type */
#define VNR_EMV_CONTACT        0     /* the contact card in slot 0, powered up by the read */
#define VNR_EMV_CONTACTLESS  255     /* a contactless CPU card in the field, activated by the read */

/* Results */
#define VNR_EMV_OK                  0
#define VNR_EMV_E_ARGUMENT        (-1)   /* card_type neither 0 nor 255, or no vnr_emv_card */
#define VNR_EMV_E_BAD_HANDLE      (-2)   /* icdev below 1 */
#define VNR_EMV_E_NO_CARD         (-3)   /* the contact card did not power up, or no contactless CPU card
                                            answered the activation (reader_status says why) */
#define VNR_EMV_E_LINK            (-4)   /* an APDU could not be exchanged (reader_status), or the card
                                            asked for more follow-ups or answer than the bounds allow */
#define VNR_EMV_E_NO_APPLICATION  (-5)   /* no directory entry and none of the known AIDs selected */
#define VNR_EMV_E_GPO             (-6)   /* every application refused SELECT or GET PROCESSING OPTIONS, or
                                            answered it in a form that cannot be read (last_sw) */
#define VNR_EMV_E_NO_NUMBER       (-7)   /* the applications' data hold no card number */

/* What a read found. Every text is zero-terminated; a field the card does not give stays empty or 0. */
typedef struct vnr_emv_card {
    uint16_t pan_tag;         /* where the number came from: 0x5A, 0x57 or 0x9F6B */
    uint16_t name_tag;        /* 0x5F20, 0x9F0B, 0x56, or 0 without a name */
    uint16_t expiry_tag;      /* 0x5F24, 0x57, 0x9F6B, 0x56, or 0 without an expiry */
    uint16_t last_sw;         /* the status word of the card's last answer */
    int16_t reader_status;    /* the status of the last call of vnr_32 that failed, else 0 */
    uint16_t apdus;           /* APDUs sent, follow-ups included */
    uint8_t priority;         /* the application's priority indicator (its low four bits), 0 none */
    uint8_t applications;     /* how many applications the directory or the candidate list gave */
    uint8_t from_directory;   /* 1: they came from the PSE or PPSE; 0: from the candidate AIDs */
    uint8_t luhn_ok;          /* 1 when the number passes the Luhn check */
    char pan[20];             /* the card number, 12 to 19 digits */
    char expiry[8];           /* "YYMMDD" from 5F24, or "YYMM" from track data */
    char holder_name[48];     /* the name's bytes as the card holds them, trimmed */
    char aid[34];             /* the application read, in hexadecimal */
    char label[18];           /* its application label (50) */
    char reason[96];          /* why the read failed, in English; empty on success */
} vnr_emv_card;

#ifdef __cplusplus
extern "C" {
#endif

/* Reads the card `card_type` on reader `icdev` (a handle of vnr_32's device_open) into *card, which is
 * zeroed first. A contact card is powered up (sam_slt_reset, slot 0) and powered down at the end
 * (sam_slt_powerdown); a contactless card is activated (open_card) and left active. Returns VNR_EMV_OK
 * or a VNR_EMV_E_* result, with card->reason saying what went wrong. */
VNR_EMV_API int32_t VNR_EMV_CALL vnr_emv_read(int32_t icdev, int32_t card_type, vnr_emv_card* card);

/* A short English text for a result of vnr_emv_read; never null. */
VNR_EMV_API const char* VNR_EMV_CALL vnr_emv_result_text(int32_t result);

/* sizeof(vnr_emv_card) as this library was built, for a binding to check its own layout against. */
VNR_EMV_API uint32_t VNR_EMV_CALL vnr_emv_card_size(void);

#ifdef __cplusplus
}
#endif

#endif /* VNR_EMV_H */
