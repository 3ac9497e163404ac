// The APDU text layer against canned card answers: the reply's room; then PDOL filling and AFL entries,
// which need no reader.
#include "bank/bank.h"
#include "platform/clock.h"
#include "support/sim_session.h"

#include <cstdio>

namespace {

using vnr::test::Bytes;

Bytes bytes(const std::string& hex) { return vnrsim::parse_hex(hex); }
std::string hex(const Bytes& b, std::size_t from = 0) { return vnrsim::to_hex(std::span(b).subspan(from)); }

class TextLayer : public vnr::test::SimSession {
protected:
    // The card answers each APDU with the next of `answers` (data and SW1 SW2, in hex).
    void card_answers(const std::vector<std::string>& answers) {
        for (auto it = answers.rbegin(); it != answers.rend(); ++it) answer({0x32, 0x26}, bytes(*it), 0, 1);
        vnr::bank::bank_icdev(vnr::core::LibraryGuard{}) = icdev;
    }
    std::vector<std::string> apdus() const {  // the APDUs the reader was given, in hex
        std::vector<std::string> out;
        for (const Bytes& command : sent()) if (command.size() > 3 && command[0] == 0x32 && command[1] == 0x26) out.push_back(hex(command, 3));
        return out;
    }
};

// The follow-ups (61xx alone or behind data, 6Cxx, a card's refusal, an endless card) are seen in the
// APDUs of iReadICCardNoAndName's roads on the cards of decks/bank/pboc.json; here the reply's room.
TEST_F(TextLayer, AReplyThatOutgrowsItsRoomIsRefusedAndLeavesTheBufferAlone) {
    prefix.enable_log();
    card_answers({"0102" "6102", "0304" "9000"});
    std::vector<char> reply(10, 0);
    std::snprintf(reply.data(), reply.size(), "untouched");
    EXPECT_EQ(vnr::bank::FuncSendICAPDU("00a4040000", vnr::bank::kContactCard, reply), -1);
    EXPECT_EQ(std::string(reply.data()), "untouched");
    EXPECT_EQ(apdus(), (std::vector<std::string>{"00A4040000", "00C0000002"}));
    expect_logged({"==> FuncSendICAPDU(), Send:00a4040000"});
}

TEST(Pdol, ValuesAndCommand) {
    const auto now = vnr::platform::local_time();
    char today[8];
    std::snprintf(today, sizeof today, "%02d%02d%02d", now.year % 100, now.month, now.day);
    struct Row { const char* entry; std::uint32_t length; std::string value; };
    // The values of iReadICCardNoAndName's GPO commands (decks/bank/pboc.json) are seen whole in its roads.
    const Row rows[] = {{"9f0206", 6, "000000000000"}, {"9F2103", 3, today}, {"9C01", 1, "00"}, {"8202", 2, "7C00"},
                        {"9F3303", 3, "E0E1C8"}, {"DF6005", 5, std::string(10, '0')},
                        {"9F4E40", 64, std::string(54, '0')}};
    for (const Row& r : rows) EXPECT_EQ(vnr::bank::pdol_tag_value(r.entry, r.length, 0, "1122334455667788", "00"), r.value) << r.entry;
    std::string command;
    EXPECT_EQ(vnr::bank::build_pdol_data("9F66049F02", "1122334455667788", "00", 0), "B0000000");  // cut-off entry dropped
    std::string pdol;
    for (int i = 0; i < 10; ++i) pdol += "DF601B";  // 270 bytes of zeros: more than one length byte carries
    EXPECT_FALSE(vnr::bank::build_gpo_command(pdol, 0, "00", "1122334455667788", command));
}

TEST(Afl, EntriesToReadCommands) {
    std::array<vnr::bank::ReadCommand, vnr::bank::kMaxReadCommands> commands{};
    struct Row { const char* entry; std::int32_t count; std::vector<std::string> first; };
    const Row rows[] = {{"08010200", 2, {"00B2010c00", "00B2020c00"}}, {"10020100", 0, {}}, {"18030300", 1, {"00B2031c00"}},
                        {"0801", 77, {}}, {"08010200FF", 77, {}}, {"0801XX00", 0, {}}};
    for (const Row& r : rows) {
        std::int32_t count = 77;
        vnr::bank::afl_to_read_commands(r.entry, commands, &count);
        EXPECT_EQ(count, r.count) << r.entry;
        for (std::size_t i = 0; i < r.first.size(); ++i) EXPECT_STREQ(commands[i].data(), r.first[i].c_str()) << r.entry;
    }
}

}  // namespace
