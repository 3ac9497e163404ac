// sim/models/cards/cpu_card.h: the simulated CPU card, the one card model behind the contact slot, the
// SAM slots and the contactless CPU cards: its file system as a deck describes it and its answers to
// APDUs. Not a model of its own (vnrsim/model.h): the models "contact" and "contactless" hold such
// cards, power them and hand them the APDUs; its deck keys (cpu_card_deck.cpp) stand in their sections.
//
// The file system: the master file (file id 3F00) and applications, each a DF with a name (its AID),
// an optional file id, the data answered to its SELECT (its FCI), an optional answer to GET PROCESSING
// OPTIONS, and elementary files: transparent (READ BINARY) or records (READ RECORD), each with a file
// id, a short file id (SFI) or both. A bank card's directory (PSE, PPSE) is one such DF named
// 1PAY.SYS.DDF01 or 2PAY.SYS.DDF01 whose FCI names the SFI of its directory records.
//
// Commands (short APDUs; the card answers data and SW1 SW2):
//   00 A4 SELECT       P1 04: by DF name, the first DF whose name begins with the data (P2 02: the next
//                      one after the current DF); P1 00, 01, 02: by file id (3F00 the master file, then an
//                      EF of the current DF, a DF, an EF of the master file); P2 0C: no data in the answer.
//   00 B0 READ BINARY  P1 bit 8 set: SFI in P1's low five bits, offset P2; else offset P1 P2 in the
//                      current EF.
//   00 B2 READ RECORD  record P1 of the file whose SFI is P2 / 8 (P2 low bits 100); SFI 0: the current EF.
//   00 84 GET CHALLENGE  4 or 8 bytes, as Le asks.
//   80 A8 GET PROCESSING OPTIONS  P1 P2 00 00, data 83 L and L bytes, L the total of the PDOL (tag 9F38
//                      of the current application's FCI; 0 without one); answers what the deck gives.
//   00 C0 GET RESPONSE  delivers data held back by 61xx (below).
// The deck's canned answers come before all of these: the first one whose bytes begin the APDU and has
// answers left gives its answer as it stands.
//
// Status words: 9000; 6282 a READ with an Le larger than what is left; 6700 a malformed APDU (shorter
// than four bytes, Lc not matching, extended lengths) or a wrong length (GET CHALLENGE's Le, GPO's data
// against the PDOL); 6981 READ BINARY of a record file or READ RECORD of a transparent one; 6985 GET
// RESPONSE with nothing held, GPO outside an application; 6986 a READ without a current EF; 6A80 GPO
// data not 83 L ...; 6A82 file or application not found; 6A83 record not found; 6A86 wrong P1 P2; 6B00
// an offset beyond the file; 6D00 an instruction the card does not know (GPO in a DF without an answer
// to it); 6E00 a class byte it does not take (other than 0x and, for GPO, 8x).
//
// Switches of the deck, how the answer leaves the card:
//   wrong_le_6c    a command that has an Le (00 being 256) that is not the length of its answer's data
//                  gets 6Cxx (xx the length); the same command with Le xx gets the data.
//   answers_by_61  an answer with data is held back and 61xx (xx: what the next GET RESPONSE gives, 00
//                  for 256) goes out; GET RESPONSE delivers at most response_chunk bytes at a time, with
//                  61xx while more is held, and the answer's own status word with the last part. Any
//                  other command drops what is held. After wrong_le_6c when both are set.
//   endless_61     hostile: as answers_by_61, but GET RESPONSE never ends: it hands out the held data
//                  over and over, always with 61xx.
// Without them, an answer goes out whole behind a shorter Le, cut to a shorter Le.
//
// Answer time: answer_ms is how long the card takes over each APDU. The card itself answers at once;
// the model that carries its APDUs holds the reader's reply back that long (late_answer.h), so that a
// host sees a card's own time on top of the wire's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vnrsim {

using CardBytes = std::vector<std::uint8_t>;

// Status words of the CPU card.
constexpr std::uint16_t kSwOk = 0x9000;
constexpr std::uint16_t kSwEndReached = 0x6282;  // fewer bytes than Le: the end of the file or record
constexpr std::uint16_t kSwWrongLength = 0x6700;
constexpr std::uint16_t kSwWrongStructure = 0x6981;  // the command does not fit the file's structure
constexpr std::uint16_t kSwNotSatisfied = 0x6985;    // conditions of use not satisfied
constexpr std::uint16_t kSwNoCurrentEf = 0x6986;
constexpr std::uint16_t kSwWrongData = 0x6A80;
constexpr std::uint16_t kSwFileNotFound = 0x6A82;
constexpr std::uint16_t kSwRecordNotFound = 0x6A83;
constexpr std::uint16_t kSwWrongP1P2 = 0x6A86;
constexpr std::uint16_t kSwWrongOffset = 0x6B00;
constexpr std::uint16_t kSwUnknownInstruction = 0x6D00;
constexpr std::uint16_t kSwUnknownClass = 0x6E00;

constexpr std::size_t kMaxShortAnswer = 256;  // the most data a short APDU's answer carries

// An elementary file.
struct CpuFile {
    CardBytes fid;                   // its file id, two bytes; empty: reached by its SFI only
    std::uint8_t sfi = 0;            // its short file id, 1 to 30; 0: none
    std::optional<CardBytes> fci;    // answered to its SELECT; default 62(80(size) 82(01|02) 83(fid) 88(sfi))
    bool record_file = false;        // records (READ RECORD) rather than a transparent file (READ BINARY)
    CardBytes binary;                // a transparent file's content
    std::vector<CardBytes> records;  // a record file's records, record 1 first
};

// A dedicated file: the master file or an application.
struct CpuDf {
    CardBytes name;                // its DF name, an application's AID; may be empty
    CardBytes fid;                 // its file id, two bytes; empty: none (the master file's is 3F00)
    std::optional<CardBytes> fci;  // answered to its SELECT; default 6F(84(name)), or 6F(83(fid))
    std::optional<CardBytes> gpo;  // answer data to GET PROCESSING OPTIONS; none: 6D00
    std::vector<CpuFile> files;
};

// A canned answer.
struct CpuCannedAnswer {
    CardBytes prefix;                    // the APDUs it answers begin with these bytes
    CardBytes answer;                    // data, then SW1 SW2
    std::optional<std::uint32_t> times;  // answers left; none: for ever
};

// A CPU card as a deck describes it.
struct CpuCardSetup {
    CpuDf master;                     // the master file
    std::vector<CpuDf> applications;  // the DFs below it, in the order SELECT by name tries them
    std::vector<CpuCannedAnswer> answers;
    bool answers_by_61 = false;
    std::size_t response_chunk = kMaxShortAnswer;  // 1 to 256: the most one GET RESPONSE delivers
    bool wrong_le_6c = false;
    bool endless_61 = false;
    std::uint32_t answer_ms = 0;  // the card's time over each APDU, 0 to 60000
};

class CpuCard {
public:
    explicit CpuCard(CpuCardSetup setup = {});

    // The card's answer to `apdu`: data, then SW1 SW2.
    CardBytes apdu(std::span<const std::uint8_t> apdu);

    // Power-on: the master file is current, nothing is held. Canned answers keep their counts.
    void reset();

    const CpuCardSetup& setup() const noexcept { return setup_; }

private:
    struct Command;
    struct Reply {
        CardBytes data;
        std::uint16_t sw = kSwOk;
    };
    Reply dispatch(const Command& command);
    Reply select(const Command& command);
    Reply read_binary(const Command& command);
    Reply read_record(const Command& command);
    Reply get_challenge(const Command& command);
    Reply get_processing_options(const Command& command);
    CardBytes get_response(const Command& command);
    CardBytes deliver(const Command& command, Reply reply);

    const CpuDf& current_df() const;
    // The EF of the current DF with that SFI, made the current EF; nullptr when there is none.
    const CpuFile* file_by_sfi(std::uint8_t sfi);

    CpuCardSetup setup_;
    std::optional<std::size_t> df_;      // the current application; none: the master file
    std::optional<std::size_t> ef_;      // the current EF among the current DF's files
    std::optional<CardBytes> held_;      // data held back by 61xx
    std::size_t held_at_ = 0;            // how much of it went out
    std::uint16_t held_sw_ = kSwOk;      // the status word that comes with its last part
    std::uint32_t random_ = 0x2545F491;  // the challenge generator's state
};

// The SW1 SW2 of an answer, 0 when it is shorter than two bytes.
std::uint16_t status_word(std::span<const std::uint8_t> answer);

}  // namespace vnrsim
