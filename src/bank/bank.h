// src/bank/bank.h: bank. The family's inner functions: the APDU exchange in hexadecimal text with the
// card's 61xx and 6Cxx follow-ups, the tag search on bytes and on text, the AFL entry to READ RECORD
// commands, the PDOL and GPO builders, the GPO answer's unpacking and the two ways of reading a card's
// number and holder name. Only iReadICCardNoAndName (read_card.cpp) is exported; the rest is reached
// by it and by the tests. None takes the library lock for longer than a step: each card_APDU, hex_asc
// and asc_hex locks for itself, so another thread's commands may fall between two APDUs of a read.
//
// Texts are zero-terminated hexadecimal digits, two per byte. Every buffer is given with its room, and
// nothing is written past it: what would not fit is refused as each function says.
#pragma once

#include "crypto/encoders.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "core/library_lock.h"

namespace vnr::bank {

// ---- Rooms and bounds -----------------------------------------------------------------------------

// An APDU or an answer as text, terminator included: 3071 digits, so an APDU or an answer (status word
// included) of at most 1535 bytes. FuncSendICAPDU's reply_text has this room unless a caller says less.
inline constexpr std::size_t kApduTextRoom = 3072;
inline constexpr std::size_t kApduBytesRoom = 1536;
// What card_APDU may write (its documented room).
inline constexpr std::size_t kCardAnswerRoom = 3073;
// The text that find_tag_hex searches: at most 4096 digits; a longer one is refused.
inline constexpr std::size_t kSearchTextDigits = 4096;
// find_tag's value room: a value longer than this is refused (not found), nothing written.
inline constexpr std::size_t kTagValueRoom = 1536;
// GET RESPONSE (61xx) and repeated commands (6Cxx) that one FuncSendICAPDU follows at most. A card
// that asks for more fails the exchange (-1); so does one whose collected answer outgrows the reply's
// room. Either way the work stays within the 3072-byte texts and ends after at most 65 APDUs.
inline constexpr int kMaxFollowUps = 64;
// One READ RECORD command text of afl_to_read_commands, and the most commands one AFL entry gives
// (records 0 to 255).
inline constexpr std::size_t kReadCommandRoom = 64;
inline constexpr std::size_t kMaxReadCommands = 256;
// The GPO answer's unpacking: the texts of tags 57 and 5F20, and the answers of its READ RECORDs.
inline constexpr std::size_t kTrackTextRoom = 128;
inline constexpr std::size_t kNameTextRoom = 128;
inline constexpr std::size_t kRecordTextRoom = 1024;
// The PDOL data of a GPO: Lc (data + 2) must fit one byte.
inline constexpr std::size_t kMaxPdolDataBytes = 253;
// A PDOL entry outside the value table gets zeros, at most this many bytes.
inline constexpr std::size_t kMaxZeroFill = 27;
// The caller's buffers of iReadICCardNoAndName (include/vnr_32.h says the same).
inline constexpr std::size_t kCardNoRoom = 40;
inline constexpr std::size_t kHolderNameRoom = 64;
inline constexpr std::size_t kMessageRoom = 52;

// card_type: the contact card in the first slot, or the activated contactless CPU card.
inline constexpr std::int32_t kContactCard = 0;
inline constexpr std::int32_t kContactlessCard = 255;

// ---- State ----------------------------------------------------------------------------------------

// The handle of the last bank read, to which every APDU of the family goes.
std::int32_t& bank_icdev(const core::LibraryGuard& guard) noexcept;

// ---- Text and tags (hex_text.cpp) -----------------------------------------------------------------

// hex_asc and asc_hex without the library lock, the crypto family's: `text` takes 2*count+1 bytes,
// `bytes` count+1.
using crypto::bytes_to_hex;
using crypto::hex_to_bytes;

// The value of the first tag `tag` (tag_len bytes) in the BER-TLV `data`, depth first (bank/tlv.h,
// compared on the wanted tag's length). 0 and `value`, `*value_len` set when found; 1 when not found,
// when the walk meets a length past the data, or when the value does not fit `value` (nothing written).
std::int32_t find_tag(const std::uint8_t* data, std::size_t data_len, const std::uint8_t* tag, std::size_t tag_len,
                      std::span<std::uint8_t> value, std::uint16_t* value_len) noexcept;

// The same on text: `tag_text` such as "57" or "5F20"; `value_text` gets the value in upper-case digits
// and a terminator. 0 when found; -1 when not, when `data_text` is longer than kSearchTextDigits or not
// hexadecimal, or when the value's text does not fit `value_text` (nothing written then).
std::int32_t find_tag_hex(const char* data_text, const char* tag_text, std::span<char> value_text) noexcept;

// The READ RECORD commands ("00B2%02x%02x00", lower case) of one AFL entry of exactly eight digits:
// SFI byte, first record, last record, and a byte not used. `*count` gets the number written (none for
// a first record above the last); an entry of another length leaves `*count` as it was.
using ReadCommand = std::array<char, kReadCommandRoom>;
void afl_to_read_commands(std::string_view afl_entry, std::span<ReadCommand> commands, std::int32_t* count) noexcept;

// ---- The APDU exchange (send_apdu.cpp) ------------------------------------------------------------

// One APDU given as text (a last odd digit dropped) to card `card_type` through card_APDU on bank_icdev.
// 0 with the answer in `reply_text` in upper-case digits; else card_APDU's status, VNR_E_BAD_ARGUMENT
// for a text that is not hexadecimal or longer than kApduTextRoom - 1 digits (nothing sent), or
// VNR_E_END_BYTE for an answer whose text would not fit `reply_text`; `reply_text` stays as it was then.
std::int16_t exchange_apdu_text(std::int32_t card_type, const char* apdu_text, std::span<char> reply_text) noexcept;

// Sends `apdu_text` and follows the card's 61xx (GET RESPONSE "00C00000%02X") and 6Cxx (the command
// again with that Le) until another status word. 0 with the data of every part and the last answer's
// status word in `reply_text`, whatever that status word is; -1 for a card_type other than 0 and 255,
// a failed exchange, more than kMaxFollowUps follow-ups or a reply that outgrows `reply_text` (which
// then stays as it was).
std::int32_t FuncSendICAPDU(const char* apdu_text, std::int32_t card_type, std::span<char> reply_text) noexcept;

// ---- PDOL and GPO (pdol.cpp) ----------------------------------------------------------------------

// The value text of one PDOL entry (its tag's and length byte's digits) by the terminal's table: fixed
// texts for the tags it knows, `length` bytes of zeros (at most kMaxZeroFill) for the others.
std::string pdol_tag_value(std::string_view entry, std::uint32_t length, std::int32_t amount, std::string_view random_text,
                           std::string_view trans_type);
// The GPO data of a PDOL given as text; an entry cut off at the end of the text is dropped.
std::string build_pdol_data(std::string_view pdol_text, std::string_view random_text, std::string_view trans_type,
                            std::int32_t amount);
// The GPO command text "80A80000" Lc "83" L data. False (and `command_text` untouched) when the data is
// longer than kMaxPdolDataBytes, which one length byte cannot carry.
bool build_gpo_command(std::string_view pdol_text, std::int32_t amount, std::string_view trans_type,
                       std::string_view random_text, std::string& command_text);

// ---- The GPO answer (gpo_reply.cpp) ---------------------------------------------------------------

// Finds "7C00" in the GPO answer text (upper-cased in place), reads the records of the AFL pieces
// behind it and takes tags 57 and 5F20 into `track_text` and `name_text` (kTrackTextRoom and
// kNameTextRoom; a value whose text does not fit is not taken). 0 with at least one of them, -1 without
// 7C00, -2 when a READ RECORD failed or did not answer 9000, -3 with neither tag.
std::int32_t UnPackGPOReturnData(std::span<char> gpo_text, std::int32_t card_type, std::span<char> track_text,
                                 std::span<char> name_text) noexcept;

// ---- The two ways of a read (read_card.cpp) -------------------------------------------------------

// card_no takes kCardNoRoom bytes, holder_name kHolderNameRoom, message kMessageRoom (GBK). 0 or -1.
std::int32_t read_card_by_records(std::int32_t icdev, std::int32_t card_type, char* card_no, char* holder_name,
                                  char* message);
std::int32_t read_card_by_gpo(std::int32_t icdev, std::int32_t card_type, char* card_no, char* holder_name,
                              char* message);

}  // namespace vnr::bank
