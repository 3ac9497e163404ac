// sim/models/cards/cpu_card.cpp: the CPU card's answers to APDUs (see cpu_card.h).
#include "models/cards/cpu_card.h"

#include <algorithm>

#include "models/cards/tlv.h"

namespace vnrsim {

// One short APDU taken apart.
struct CpuCard::Command {
    std::uint8_t cla = 0, ins = 0, p1 = 0, p2 = 0;
    std::span<const std::uint8_t> data;
    std::optional<std::size_t> le;  // 1 to 256; an Le byte 00 is 256
    bool le_any = false;            // the Le byte was 00: as much as there is, up to 256
};

namespace {

constexpr std::uint8_t kSelect = 0xA4, kReadBinary = 0xB0, kReadRecord = 0xB2, kGetChallenge = 0x84,
                       kGetResponse = 0xC0, kGetProcessingOptions = 0xA8;
constexpr std::uint8_t kTagPdol[] = {0x9F, 0x38};

CardBytes with_sw(CardBytes data, std::uint16_t sw) {
    data.push_back(static_cast<std::uint8_t>(sw >> 8));
    data.push_back(static_cast<std::uint8_t>(sw & 0xFF));
    return data;
}

// 61xx or 6Cxx for `count` bytes; xx 00 stands for 256.
std::uint16_t count_sw(std::uint8_t sw1, std::size_t count) {
    return static_cast<std::uint16_t>(sw1 << 8 | (count & 0xFF));
}

void put_element(CardBytes& out, std::initializer_list<std::uint8_t> tag, std::span<const std::uint8_t> value) {
    out.insert(out.end(), tag);
    put_ber_length(out, value.size());
    out.insert(out.end(), value.begin(), value.end());
}

CardBytes default_fci(const CpuDf& df, bool master) {
    CardBytes inner;
    if (!df.name.empty()) {
        put_element(inner, {0x84}, df.name);
    } else {
        const CardBytes fid = master ? CardBytes{0x3F, 0x00} : df.fid;
        put_element(inner, {0x83}, fid);
    }
    CardBytes out;
    put_element(out, {0x6F}, inner);
    return out;
}

CardBytes default_fci(const CpuFile& file) {
    const std::size_t size = file.record_file ? file.records.size() : file.binary.size();
    CardBytes inner;
    const std::uint8_t size_bytes[] = {static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size & 0xFF)};
    put_element(inner, {0x80}, size_bytes);
    const std::uint8_t structure[] = {static_cast<std::uint8_t>(file.record_file ? 0x02 : 0x01)};
    put_element(inner, {0x82}, structure);
    if (!file.fid.empty()) put_element(inner, {0x83}, file.fid);
    if (file.sfi != 0) {
        const std::uint8_t sfi[] = {file.sfi};
        put_element(inner, {0x88}, sfi);
    }
    CardBytes out;
    put_element(out, {0x62}, inner);
    return out;
}

bool starts_with(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> prefix) {
    return bytes.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), bytes.begin());
}

}  // namespace

std::uint16_t status_word(std::span<const std::uint8_t> answer) {
    if (answer.size() < 2) return 0;
    return static_cast<std::uint16_t>(answer[answer.size() - 2] << 8 | answer.back());
}

CpuCard::CpuCard(CpuCardSetup setup) : setup_(std::move(setup)) {}

void CpuCard::reset() {
    df_.reset();
    ef_.reset();
    held_.reset();
}

const CpuDf& CpuCard::current_df() const { return df_ ? setup_.applications[*df_] : setup_.master; }

const CpuFile* CpuCard::file_by_sfi(std::uint8_t sfi) {
    const CpuDf& df = current_df();
    for (std::size_t i = 0; i < df.files.size(); ++i) {
        if (df.files[i].sfi == sfi) {
            ef_ = i;
            return &df.files[i];
        }
    }
    return nullptr;
}

CardBytes CpuCard::apdu(std::span<const std::uint8_t> bytes) {
    // Case 1: head only; case 2: head and Le; case 3: head, Lc and data; case 4: head, Lc, data and Le.
    Command command;
    bool well_formed = bytes.size() >= 4;
    if (well_formed) {
        command.cla = bytes[0], command.ins = bytes[1], command.p1 = bytes[2], command.p2 = bytes[3];
        const std::size_t lc = bytes.size() > 5 ? bytes[4] : 0;
        if (bytes.size() == 5) {
            command.le = bytes[4] == 0 ? kMaxShortAnswer : bytes[4];
        } else if (bytes.size() > 5) {
            well_formed = lc != 0 && (bytes.size() == 5 + lc || bytes.size() == 6 + lc);  // lc 0: extended
            if (well_formed) command.data = bytes.subspan(5, lc);
            if (well_formed && bytes.size() == 6 + lc) command.le = bytes.back() == 0 ? kMaxShortAnswer : bytes.back();
        }
        command.le_any = command.le && bytes.back() == 0;
    }
    if (!well_formed) {
        held_.reset();
        return with_sw({}, kSwWrongLength);
    }

    for (CpuCannedAnswer& canned : setup_.answers) {
        if ((canned.times && *canned.times == 0) || !starts_with(bytes, canned.prefix)) continue;
        if (canned.times) --*canned.times;
        held_.reset();
        const std::span<const std::uint8_t> answer = canned.answer;
        return deliver(command, Reply{CardBytes(answer.begin(), answer.end() - 2), status_word(answer)});
    }
    if (command.ins == kGetResponse && (command.cla & 0xF0) == 0x00) return get_response(command);
    held_.reset();
    return deliver(command, dispatch(command));
}

CpuCard::Reply CpuCard::dispatch(const Command& command) {
    const bool iso = (command.cla & 0xF0) == 0x00, proprietary = (command.cla & 0xF0) == 0x80;
    if (!iso && !proprietary) return {{}, kSwUnknownClass};
    switch (command.ins) {
        case kSelect:
        case kReadBinary:
        case kReadRecord:
        case kGetChallenge:
        case kGetResponse:
            if (!iso) return {{}, kSwUnknownClass};
            if (command.ins == kSelect) return select(command);
            if (command.ins == kReadBinary) return read_binary(command);
            if (command.ins == kReadRecord) return read_record(command);
            if (command.ins == kGetChallenge) return get_challenge(command);
            return {{}, kSwNotSatisfied};  // GET RESPONSE reaches here only in a class it does not take
        case kGetProcessingOptions:
            if (!proprietary) return {{}, kSwUnknownClass};
            return get_processing_options(command);
        default:
            return {{}, kSwUnknownInstruction};
    }
}

CpuCard::Reply CpuCard::select(const Command& command) {
    if (command.p2 != 0x00 && command.p2 != 0x02 && command.p2 != 0x04 && command.p2 != 0x0C) return {{}, kSwWrongP1P2};
    const bool quiet = (command.p2 & 0x0C) == 0x0C;
    const auto chose_df = [&](std::optional<std::size_t> df) -> Reply {
        df_ = df;
        ef_.reset();
        const CpuDf& chosen = current_df();
        return {quiet ? CardBytes{} : chosen.fci.value_or(default_fci(chosen, !df)), kSwOk};
    };
    const auto name_matches = [&](const CpuDf& df) { return !df.name.empty() && starts_with(df.name, command.data); };

    if (command.p1 == 0x04) {
        if (command.data.empty()) return chose_df(std::nullopt);
        // Candidates in order: the master file (position 0), then the applications (1 on).
        std::size_t from = 0;
        if ((command.p2 & 0x03) == 0x02) from = df_ ? *df_ + 2 : 1;
        for (std::size_t at = from; at <= setup_.applications.size(); ++at) {
            if (at == 0 && name_matches(setup_.master)) return chose_df(std::nullopt);
            if (at > 0 && name_matches(setup_.applications[at - 1])) return chose_df(at - 1);
        }
        return {{}, kSwFileNotFound};
    }
    if (command.p1 > 0x02) return {{}, kSwWrongP1P2};
    if (command.data.empty() && command.p1 == 0x00) return chose_df(std::nullopt);
    if (command.data.size() != 2) return {{}, kSwWrongLength};
    const CardBytes fid(command.data.begin(), command.data.end());
    if (fid == CardBytes{0x3F, 0x00}) return chose_df(std::nullopt);
    const auto chose_ef = [&](std::optional<std::size_t> df, std::size_t ef) -> Reply {
        df_ = df;
        ef_ = ef;
        const CpuFile& file = current_df().files[ef];
        return {quiet ? CardBytes{} : file.fci.value_or(default_fci(file)), kSwOk};
    };
    const CpuDf& here = current_df();
    for (std::size_t i = 0; i < here.files.size(); ++i)
        if (here.files[i].fid == fid) return chose_ef(df_, i);
    for (std::size_t i = 0; i < setup_.applications.size(); ++i)
        if (setup_.applications[i].fid == fid) return chose_df(i);
    for (std::size_t i = 0; i < setup_.master.files.size(); ++i)
        if (setup_.master.files[i].fid == fid) return chose_ef(std::nullopt, i);
    return {{}, kSwFileNotFound};
}

CpuCard::Reply CpuCard::read_binary(const Command& command) {
    const CpuFile* file = nullptr;
    std::size_t offset = 0;
    if (command.p1 & 0x80) {
        file = file_by_sfi(command.p1 & 0x1F);
        if (!file) return {{}, kSwFileNotFound};
        offset = command.p2;
    } else {
        if (!ef_) return {{}, kSwNoCurrentEf};
        file = &current_df().files[*ef_];
        offset = static_cast<std::size_t>(command.p1 << 8 | command.p2);
    }
    if (file->record_file) return {{}, kSwWrongStructure};
    if (offset >= file->binary.size()) return {{}, kSwWrongOffset};
    const std::size_t count = std::min(kMaxShortAnswer, file->binary.size() - offset);
    const auto from = file->binary.begin() + static_cast<std::ptrdiff_t>(offset);
    return {CardBytes(from, from + static_cast<std::ptrdiff_t>(count)), kSwOk};
}

CpuCard::Reply CpuCard::read_record(const Command& command) {
    if ((command.p2 & 0x07) != 0x04) return {{}, kSwWrongP1P2};
    const std::uint8_t sfi = command.p2 >> 3;
    const CpuFile* file = nullptr;
    if (sfi == 0) {
        if (!ef_) return {{}, kSwNoCurrentEf};
        file = &current_df().files[*ef_];
    } else {
        file = file_by_sfi(sfi);
        if (!file) return {{}, kSwFileNotFound};
    }
    if (!file->record_file) return {{}, kSwWrongStructure};
    if (command.p1 == 0 || command.p1 > file->records.size()) return {{}, kSwRecordNotFound};
    return {file->records[command.p1 - 1], kSwOk};
}

CpuCard::Reply CpuCard::get_challenge(const Command& command) {
    if (command.p1 != 0 || command.p2 != 0) return {{}, kSwWrongP1P2};
    if (!command.le || (*command.le != 4 && *command.le != 8)) return {{}, kSwWrongLength};
    CardBytes out;
    for (std::size_t i = 0; i < *command.le; ++i) {
        random_ ^= random_ << 13;
        random_ ^= random_ >> 17;
        random_ ^= random_ << 5;
        out.push_back(static_cast<std::uint8_t>(random_ >> 24));
    }
    return {out, kSwOk};
}

CpuCard::Reply CpuCard::get_processing_options(const Command& command) {
    if (command.p1 != 0 || command.p2 != 0) return {{}, kSwWrongP1P2};
    if (!df_) return {{}, kSwNotSatisfied};
    const CpuDf& application = setup_.applications[*df_];
    if (!application.gpo) return {{}, kSwUnknownInstruction};
    if (command.data.size() < 2 || command.data[0] != 0x83 || command.data[1] != command.data.size() - 2)
        return {{}, kSwWrongData};
    const CardBytes fci = application.fci.value_or(default_fci(application, false));
    std::size_t wanted = 0;
    if (const auto pdol = find_tlv(fci, kTagPdol)) wanted = dol_length(*pdol).value_or(0);
    if (command.data[1] != wanted) return {{}, kSwWrongLength};
    return {*application.gpo, kSwOk};
}

CardBytes CpuCard::get_response(const Command& command) {
    if (!held_) return with_sw({}, kSwNotSatisfied);
    if (command.p1 != 0 || command.p2 != 0) return with_sw({}, kSwWrongP1P2);
    const CardBytes& held = *held_;
    const std::size_t ready = std::min({held.size() - held_at_, setup_.response_chunk, kMaxShortAnswer});
    if (setup_.wrong_le_6c && command.le && *command.le != ready) return with_sw({}, count_sw(0x6C, ready));
    const std::size_t count = std::min(ready, command.le.value_or(kMaxShortAnswer));
    const auto from = held.begin() + static_cast<std::ptrdiff_t>(held_at_);
    CardBytes out(from, from + static_cast<std::ptrdiff_t>(count));
    held_at_ += count;
    if (setup_.endless_61 && held_at_ == held.size()) held_at_ = 0;
    const std::size_t left = held.size() - held_at_;
    if (left == 0) {
        const std::uint16_t sw = held_sw_;
        held_.reset();
        return with_sw(std::move(out), sw);
    }
    return with_sw(std::move(out), count_sw(0x61, std::min({left, setup_.response_chunk, kMaxShortAnswer})));
}

CardBytes CpuCard::deliver(const Command& command, Reply reply) {
    if (reply.data.empty()) return with_sw({}, reply.sw);
    if (reply.data.size() > kMaxShortAnswer) reply.data.resize(kMaxShortAnswer);
    const std::size_t length = reply.data.size();
    if (setup_.wrong_le_6c && command.le && *command.le != length) return with_sw({}, count_sw(0x6C, length));
    if (setup_.answers_by_61 || setup_.endless_61) {
        held_ = std::move(reply.data);
        held_at_ = 0;
        held_sw_ = reply.sw;
        return with_sw({}, count_sw(0x61, std::min(length, setup_.response_chunk)));
    }
    if (command.le && *command.le < length) {
        reply.data.resize(*command.le);
    } else if (command.le && !command.le_any && *command.le > length && reply.sw == kSwOk &&
               (command.ins == kReadBinary || command.ins == kReadRecord)) {
        reply.sw = kSwEndReached;
    }
    return with_sw(std::move(reply.data), reply.sw);
}

}  // namespace vnrsim
