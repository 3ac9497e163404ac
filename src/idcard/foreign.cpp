// src/idcard/foreign.cpp: idcard. IDCard_ReadCard_Foreign: reads either kind of identity card and
// hands over all its fields in one line of text. It works on local buffers only: the record of the
// last card read is not touched.
#include "idcard/foreign.h"

#include "core/boundary.h"
#include "core/call.h"
#include "crypto/encoders.h"
#include "idcard/commands.h"
#include "idcard/messages.h"
#include "idcard/reply.h"
#include "idcard/photo_store.h"
#include "idcard/record.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

namespace vnr::idcard {

using core::Call;
using core::ReplyRoom;

namespace {

struct ForeignField {
    std::size_t offset;
    std::size_t capacity;  // the field's width in the block
};

// Selectors 1 to 12.
constexpr ForeignField kForeignFields[] = {
    {0, 120}, {120, 2}, {122, 30}, {152, 6}, {158, 30}, {188, 16},
    {204, 16}, {220, 16}, {236, 4}, {240, 8}, {248, 2}, {250, 6},
};
constexpr int kSexSelector = 2;
constexpr int kCountrySelector = 4;
constexpr int kMarkSelector = 11;
constexpr std::string_view kForeignMark = "I";

constexpr std::size_t kLongestBitmapPath = 254;
constexpr std::size_t kReplySize = 3096;
constexpr std::size_t kLineRoom = kCardLineRoom;
constexpr std::size_t kTextRoom = 256;
constexpr std::int32_t kWithFingerprint = 1;  // with_fingerprint: any other value reads without  // a converted field, terminated: more than any capacity

using FieldText = std::array<char, kTextRoom>;

}  // namespace

std::size_t foreign_field(int selector, const std::uint8_t* block, char* out) {
    if (selector < 1 || selector > static_cast<int>(std::size(kForeignFields))) return 0;
    const ForeignField& field = kForeignFields[selector - 1];
    std::array<std::uint8_t, 256> scratch{};  // the field and zeros behind it: its terminator
    std::copy_n(block + field.offset, field.capacity, scratch.begin());
    std::array<char, kTextRoom> work{};
    field_text(scratch.data(), field.capacity, work);
    if (selector == kSexSelector) {
        std::string name;
        if (!gbk_for_caller(sex_name(work[0], true), name)) return 0;
        // The caller's text carries no terminator; callers zero-fill their buffers.
        std::memcpy(out, name.data(), name.size());  // NOLINT(bugprone-not-null-terminated-result)
        return name.size();
    }
    const std::size_t count = trim_at_double_space(work.data(), field.capacity);
    std::memcpy(out, work.data(), count);
    return count;
}

namespace {

// The resident card's eleven fields through the exported converters, which take the lock themselves.
void resident_line(const std::uint8_t* block, const char* fingerprint_hex, char* line) {
    std::array<FieldText, kFieldCount> text{};
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        std::array<std::uint8_t, 256> scratch{};
        std::copy_n(block + kFields[i].offset, kFields[i].width, scratch.begin());
        run_converter(i, scratch.data(), text[i].data());
    }
    (void)std::snprintf(line, kLineRoom, "%s|%s|%s|%s|%s|%s|%s|%s|%s|%s|%s|", text[0].data(), text[1].data(),
                        text[2].data(), text[3].data(), text[4].data(), text[5].data(), text[6].data(), text[7].data(),
                        text[8].data(), text[9].data(), fingerprint_hex);
}

// The foreign card's thirteen fields; the country as "name/code", or the code alone when no row has it.
void foreign_line(const std::uint8_t* block, const char* fingerprint_hex, char* line) {
    std::array<FieldText, 12> text{};
    for (int selector = 1; selector <= 12; ++selector) {
        FieldText& field = text[static_cast<std::size_t>(selector - 1)];
        foreign_field(selector, block, field.data());
        if (selector != kCountrySelector) continue;
        const std::string code = field.data();
        std::array<char, 64> country{};
        country_name(code, country.data());
        if (country[0] != '\0') {
            (void)std::snprintf(field.data(), field.size(), "%s/%s", country.data(), code.c_str());
        }
    }
    (void)std::snprintf(line, kLineRoom, "%s|%s|%s|%s|%s|%s|%s|%s|%s|%s|%s|%s|%s|", text[0].data(), text[1].data(),
                        text[2].data(), text[3].data(), text[4].data(), text[5].data(), text[6].data(),
                        text[7].data(), text[8].data(), text[9].data(), text[10].data(), text[11].data(),
                        fingerprint_hex);
}

}  // namespace

bool card_line(std::span<const std::uint8_t, 256> block, const char* fingerprint_hex, std::span<char, kCardLineRoom> line) {
    std::array<char, kTextRoom> mark{};
    foreign_field(kMarkSelector, block.data(), mark.data());
    const bool foreign = kForeignMark == mark.data();
    foreign ? foreign_line(block.data(), fingerprint_hex, line.data()) : resident_line(block.data(), fingerprint_hex, line.data());
    return foreign;
}

namespace {

std::int16_t read_foreign(std::int32_t icdev, const char* bmp_path, std::uint32_t* is_foreign, char* line,
                          std::int32_t with_fingerprint) {
    static constexpr char kResult[] = "==>IDCard_ReadCard_Foreign 返回值: %d";
    Call call("==>IDCard_ReadCard_Foreign ");
    const std::size_t path_length = bmp_path != nullptr ? strnlen(bmp_path, kLongestBitmapPath + 1) : 0;
    if (path_length > kLongestBitmapPath)
        return call.refuse(VNR_E_GENERAL, "<== IDCard_ReadCard_Foreign(), 照片路径设置非法!!!");
    const std::string path(bmp_path != nullptr ? bmp_path : "", path_length);
    delete_all_photofiles();

    ReplyRoom room(kReplySize);
    const ReadForm form = with_fingerprint == kWithFingerprint ? ReadForm::with_fingerprint : ReadForm::text_and_photo;
    std::uint32_t received = 0;
    std::int16_t status = VNR_OK;
    if (form == ReadForm::with_fingerprint) {
        // No handle check first: a handle below 1 comes back from the exchange as -33.
        const std::array<std::uint8_t, 2> command{kModuleGroup, kReadWithFingerprint};
        const core::Reply reply = call.exchange_waiting(icdev, command, room, kReadTimeoutMs);
        status = reply.status;
        received = static_cast<std::uint32_t>(reply.data.size());
    } else {
        status = call.outside([&] { return read_text_and_photo(icdev, &received, room.span().data()); });
    }
    if (status != VNR_OK) return call.finish(status, kResult);
    if (!triple_in(room.all()).is(kDoneSw3)) return call.finish(VNR_E_CARD_STATUS, kResult);
    const std::optional<ReadLayout> layout = read_layout(room.all().first(received), form);
    // Fingerprint data beyond 1024 bytes has no room in the line.
    if (!layout || layout->fingerprint.size() > kFingerprintSize) return call.finish(VNR_E_END_BYTE, kResult);
    const std::span<const std::uint8_t, kTextBlockSize> block = layout->block.first<kTextBlockSize>();

    std::vector<char> hex(2 * kFingerprintSize + 1, '\0');
    crypto::hex_asc(layout->fingerprint.data(), hex.data(), static_cast<std::uint32_t>(layout->fingerprint.size()));
    std::vector<char> text(kLineRoom, '\0');
    // The resident card's fields come through the exported converters, which take the lock themselves.
    const bool foreign = call.outside([&] { return card_line(block, hex.data(), std::span<char, kLineRoom>(text)); });
    if (is_foreign != nullptr) *is_foreign = foreign ? 1 : 0;
    status = call.outside([&] { return photo_save_extra(layout->photo, path); });
    if (status == VNR_OK && line != nullptr) std::memcpy(line, text.data(), std::strlen(text.data()) + 1);
    return call.finish(status, kResult);
}

}  // namespace

}  // namespace vnr::idcard

extern "C" {

VNR_API int16_t VNR_CALL IDCard_ReadCard_Foreign(int32_t icdev, const char* lpInPhoneSaveFile, uint32_t* is_foreign,
                                                 char* line, int32_t with_fingerprint) {
    return vnr::core::guarded<int16_t>([&] {
        const vnr::idcard::PhotoFilesGuard files;
        return vnr::idcard::read_foreign(icdev, lpInPhoneSaveFile, is_foreign, line, with_fingerprint);
    });
}

}  // extern "C"
