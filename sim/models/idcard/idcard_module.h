// sim/models/idcard/idcard_module.h: the model "idcard", the reader's identity card module: the cards
// it can hold, their 256-byte text blocks, the module's answers to its commands, its deck section
// (idcard_deck.cpp) and its control words (idcard_control.cpp), which its help() tells. A
// model (vnrsim/model.h): no transport and no lock, the Reader calls it with its own lock held.
//
// Commands (two bytes each; the same bytes with anything behind them are not the module's):
//   D0 01  find          module reply 00 00 9F, data: the card's id (8 bytes unless the deck says otherwise)
//   D0 02  select        module reply 00 00 90, no data
//   D0 03  read          form A: text block and photo
//   32 50  read          form A, as D0 03
//   D0 04  read          form B: text block, photo and fingerprint data
//   D0 07  read          form B, as D0 04
//   D0 05  added info    module reply 00 00 90, data: the card's added information
//   D0 06  management    module reply 00 00 90, data: the card's management information
//   32 51  module id     the module's id, as raw reply data (no module reply around it); card or not
//   32 52  card id       the card's id, as raw reply data; without a card frame status kNoIdCardStatus
//
// A module reply is the reply data of a frame with status 00 00: a two-byte length (big-endian, the
// whole module reply, so 5 + the data), the triple SW1 SW2 SW3, then the data. Form A's data:
// text_len (2 bytes, 256), photo_len (2 bytes, 1024), the text block, the photo: 1289 bytes in all.
// Form B's: text_len, photo_len, fingerprint_len (2 bytes each), text block, photo, fingerprint data:
// 2315 bytes with 1024 bytes of fingerprint data. All two-byte numbers are big-endian.
//
// With no card on the reader every command with a module reply answers the triple 00 00 80 and no
// data (length 5). An injected failure triple goes before all that: while it stands, every command
// with a module reply answers that triple and no data, card or not; 32 51 and 32 52 are not touched
// by it and do not count against it.
//
// The photo is always kPhotoSize bytes, as a card's photo block is: a portrait encoded shorter has
// zeros behind it (the portrait format knows its own length), and photo_len stays 1024. The
// fingerprint data goes out at its own length, 0 to kMaxFingerprintSize bytes, in fingerprint_len.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vnrsim/model.h"
#include "vnrsim/times.h"

namespace vnrsim {

constexpr std::size_t kTextBlockSize = 256;       // the card's text block, UTF-16LE fields
constexpr std::size_t kPhotoSize = 1024;          // the card's photo block
constexpr std::size_t kMaxFingerprintSize = 1024; // room for fingerprint data on the card
constexpr std::size_t kMaxIdSize = 100;           // longest module or card id: the host reads it into 100 bytes
constexpr std::size_t kMaxInfoSize = 195;         // longest added or management information (200-byte host
                                                  // buffer, less the module reply's 5-byte head)
constexpr std::size_t kModuleReplyHead = 5;       // length (2) and triple (3) in front of a module reply's data

// Frame status of the card id command (32 52) when no card lies on the reader. The host sees -128;
// the low byte is the module's "no card found" SW3.
constexpr std::uint16_t kNoIdCardStatus = 0x0080;

// SW1 SW2 SW3 of a module reply.
using SwTriple = std::array<std::uint8_t, 3>;
constexpr SwTriple kSwDone{0x00, 0x00, 0x90};    // a command other than find succeeded
constexpr SwTriple kSwFound{0x00, 0x00, 0x9F};   // find succeeded
constexpr SwTriple kSwNoCard{0x00, 0x00, 0x80};  // no card found

// The module's id unless the deck gives one: "VNRSIM-MODULE-01" in ASCII, 16 bytes.
inline const std::vector<std::uint8_t> kDefaultModuleId{'V', 'N', 'R', 'S', 'I', 'M', '-', 'M',
                                                        'O', 'D', 'U', 'L', 'E', '-', '0', '1'};
// A card's id unless the deck gives one: "SIMCARD1" in ASCII, 8 bytes.
inline const std::vector<std::uint8_t> kDefaultCardId{'S', 'I', 'M', 'C', 'A', 'R', 'D', '1'};
// A card's added information unless the deck gives one: an empty 35-character text field (70 bytes of
// UTF-16LE spaces), a card on which nothing was added.
inline const std::vector<std::uint8_t> kDefaultAddedInfo = [] {
    std::vector<std::uint8_t> out;
    for (int i = 0; i < 35; ++i) out.insert(out.end(), {0x20, 0x00});
    return out;
}();
// A card's management information unless the deck gives one: "MGMT0001" in ASCII, 8 bytes.
inline const std::vector<std::uint8_t> kDefaultManagementInfo{'M', 'G', 'M', 'T', '0', '0', '0', '1'};

using TextBlock = std::array<std::uint8_t, kTextBlockSize>;

// The text fields of a resident card, UTF-8. Each goes into the block as UTF-16LE, padded with spaces.
struct ResidentText {
    std::string name;              // 30 bytes: up to 15 characters
    std::string sex;               // 2: one digit
    std::string nation;            // 4: two digits
    std::string birthday;          // 16: YYYYMMDD
    std::string address;           // 70: up to 35 characters
    std::string id_number;         // 36: 18 characters
    std::string issue_department;  // 30
    std::string valid_from;        // 16: YYYYMMDD
    std::string valid_expiry;      // 16: YYYYMMDD
    std::string reserve;           // 36
};

// The text fields of a foreign permanent resident card, UTF-8.
struct ForeignText {
    std::string english_name;    // 120 bytes: up to 60 characters
    std::string sex;             // 2
    std::string card_number;     // 30
    std::string country_code;    // 6: three letters
    std::string chinese_name;    // 30
    std::string valid_from;      // 16
    std::string valid_expiry;    // 16
    std::string birthday;        // 16
    std::string card_version;    // 4
    std::string authority_code;  // 8
    std::string card_mark = "I"; // 2: "I" marks this kind of card
    std::string reserve;         // 6
};

// Where a field of `Text` lies in the text block.
template <typename Text>
struct TextField {
    std::string_view name;     // as the deck calls it
    std::size_t offset;        // from the start of the block, bytes
    std::size_t width;         // bytes
    std::string Text::*member;  // where the card's text holds it
};

// The fields of each block, in block order; together they fill all 256 bytes.
extern const std::array<TextField<ResidentText>, 10> kResidentFields;
extern const std::array<TextField<ForeignText>, 12> kForeignFields;

// A field whose text does not fit its width, or is not UTF-8.
struct TextFieldError : std::invalid_argument {
    TextFieldError(std::string_view field, const std::string& what);
    std::string field;  // the field's name, as in kResidentFields / kForeignFields
};

// The text blocks of the two kinds of card. Throws TextFieldError for the first field that does not fit.
TextBlock text_block(const ResidentText& card);
TextBlock text_block(const ForeignText& card);

// UTF-8 text as UTF-16LE bytes, no terminator. Throws std::invalid_argument for text that is not UTF-8.
std::vector<std::uint8_t> to_utf16le(std::string_view utf8);

// Which card lies on the reader.
enum class CardKind { none, resident, foreign };

// One card as the module reads it.
struct IdCard {
    TextBlock text{};                                          // the encoded text block
    std::vector<std::uint8_t> photo = std::vector<std::uint8_t>(kPhotoSize);  // kPhotoSize bytes
    std::vector<std::uint8_t> fingerprint;                     // 0 to kMaxFingerprintSize bytes
    std::vector<std::uint8_t> card_id = kDefaultCardId;        // 1 to kMaxIdSize bytes
    std::vector<std::uint8_t> added = kDefaultAddedInfo;       // 0 to kMaxInfoSize bytes
    std::vector<std::uint8_t> management = kDefaultManagementInfo;  // 0 to kMaxInfoSize bytes
};

// The module and its cards as a deck describes them.
struct IdCardSetup {
    std::vector<std::uint8_t> module_id = kDefaultModuleId;  // 1 to kMaxIdSize bytes
    std::optional<IdCard> resident;                          // the resident card, if the deck has one
    std::optional<IdCard> foreign;                           // the foreign card, if the deck has one
    CardKind on_reader = CardKind::none;                     // which of them lies on the reader
};

// A failure triple as it stands in the module.
struct StandingFailure {
    SwTriple sw;
    Times times;  // what is left of it
};

class IdCardModule : public Model {
public:
    // Throws std::invalid_argument when `setup` puts a card on the reader that it does not have.
    explicit IdCardModule(IdCardSetup setup = {});

    // Model: "idcard", its section, its commands, its control words and failure.
    const ModelHelp& help() const override;
    void load(const nlohmann::json& section, const std::filesystem::path& folder) override;
    std::optional<Answer> answer(std::span<const std::uint8_t> command) override;
    std::string control(const ControlLine& line) override;
    void clear_failures() override { clear_failure(); }
    std::vector<std::string> failures() const override;

    // Puts that card on the reader, taking off whichever lay there; CardKind::none takes it off.
    // Throws std::invalid_argument for a card the setup does not have.
    void put(CardKind card);
    CardKind on_reader() const noexcept { return setup_.on_reader; }

    // Makes the commands with a module reply answer `sw` (any triple, a success one too) for `times`.
    // Injecting again replaces the failure.
    void fail(SwTriple sw, Times times);
    void clear_failure() noexcept { failure_.reset(); }
    std::optional<StandingFailure> failure() const { return failure_; }

    // The setup, with the card now on the reader.
    const IdCardSetup& setup() const noexcept { return setup_; }

private:
    IdCardSetup setup_;
    std::optional<StandingFailure> failure_;
};

// The module reply with triple `sw` and `data`: the length, the triple, the data.
std::vector<std::uint8_t> module_reply(SwTriple sw, std::span<const std::uint8_t> data = {});

}  // namespace vnrsim
