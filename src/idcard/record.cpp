// src/idcard/record.cpp: idcard. The identity record, its field converters and IDCard_GetCardInfo.
#include "idcard/record.h"

#include "idcard/messages.h"

#include "core/boundary.h"
#include "core/log.h"
#include "crypto/encoders.h"
#include "platform/text.h"
#include "vnr_32.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace vnr::idcard {

const std::array<TextField, kFieldCount> kFields{{
    {0, 30, Output::trimmed, 0, "----- IDCard_Name() 获取身份证姓名 -----", "==> IDCard_Name() 获取身份证姓名成功 "},
    {30, 2, Output::sex, 0, "----- IDCard_Sex() 获取身份证性别 -----", "==> IDCard_Sex() 获取身份证性别成功 "},
    {32, 4, Output::nation, 0, "----- IDCard_Nation() 获取身份证民族 -----", "==> IDCard_Nation() 获取身份证民族成功 "},
    {36, 16, Output::first_bytes, 8, "----- IDCard_Birthday() 获取身份证出生日期 -----",
     "==> IDCard_Birthday() 获取身份证出生日期成功 "},
    {52, 70, Output::trimmed, 0, "----- IDCard_Address() 获取身份证住址 -----", "==> IDCard_Address() 获取身份证住址成功 "},
    {122, 36, Output::first_bytes, 18, "----- IDCard_IDNumber() 获取身份证号码 -----",
     "==> IDCard_IDNumber() 获取身份证号码成功 "},
    {158, 30, Output::trimmed, 0, "----- IDCard_IssueDepartment() 获取身份证发证机关信息 -----",
     "==> IDCard_IssueDepartment() 获取身份证发证机关信息成功 "},
    {188, 16, Output::first_bytes, 8, "----- IDCard_ValidFromDate() 获取身份证发证日期 ----- ",
     "==> IDCard_ValidFromDate() 获取身份证发证日期成功 "},
    {204, 16, Output::first_bytes, 8, "----- IDCard_ValidExpiryDate() 获取身份证有效截止日期 ----- ",
     "==> IDCard_ValidExpiryDate() 获取身份证有效截止日期成功"},
    {220, 36, Output::trimmed, 0, "----- IDCard_Reserve() 获取身份证预留信息 -----", "==> IDCard_Reserve() 获取身份证预留信息成功 "},
}};

namespace {

// Indexes of the fields that IDCard_GetCardInfo hands out beyond the ten text fields.
constexpr std::int32_t kPhotoFileField = 10;
constexpr std::int32_t kFingerprintField = 12;
constexpr std::int32_t kFingerprintLengthField = 13;
constexpr std::int32_t kLastField = 20;

// Larger than any field's capacity, so that trim_at_double_space may read text[capacity].
constexpr std::size_t kWorkRoom = 128;

constexpr std::string_view kNations[] = {
    "汉",     "蒙古",   "回",     "藏",     "维吾尔", "苗",     "彝",     "壮",   "布依",     "朝鲜",
    "满",     "侗",     "瑶",     "白",     "土家",   "哈尼",   "哈萨克", "傣",   "黎",       "傈僳",
    "佤",     "畲",     "高山",   "拉祜",   "水",     "东乡",   "纳西",   "景颇", "柯尔克孜", "土",
    "达斡尔", "仫佬",   "羌",     "布朗",   "撒拉",   "毛南",   "仡佬",   "锡伯", "阿昌",     "普米",
    "塔吉克", "怒",     "乌孜别克", "俄罗斯", "鄂温克", "德昂", "保安",   "裕固", "京",       "塔塔尔",
    "独龙",   "鄂伦春", "赫哲",   "门巴",   "珞巴",   "基诺",   "其他",   "外国血统中国籍人士",
};
static_assert(std::size(kNations) == 58);

IdentityRecord& record_instance() noexcept {
    static IdentityRecord record;
    return record;
}

std::size_t write_text(char* out, std::string_view utf8) {
    std::string text;
    if (!gbk_for_caller(utf8, text)) return 0;  // the caller's room is counted in GBK bytes
    // The caller's text carries no terminator; callers zero-fill their buffers.
    if (out != nullptr) std::memcpy(out, text.data(), text.size());  // NOLINT(bugprone-not-null-terminated-result)
    return text.size();
}

}  // namespace

IdentityRecord& identity_record(const core::LibraryGuard&) noexcept { return record_instance(); }

void identity_record_clear(const core::LibraryGuard&) noexcept { record_instance() = IdentityRecord{}; }

void identity_record_fill(const core::LibraryGuard&, std::span<const std::uint8_t> block) noexcept {
    IdentityRecord& record = record_instance();
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        const TextField& field = kFields[i];
        if (field.offset + field.width > block.size()) break;
        std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(field.offset), field.width, record.fields[i].begin());
    }
}

void identity_record_keep_fingerprint(const core::LibraryGuard&, std::span<const std::uint8_t> block,
                                      std::size_t length) noexcept {
    IdentityRecord& record = record_instance();
    std::fill(record.fingerprint.begin(), record.fingerprint.end(), 0);
    std::copy_n(block.begin(), std::min(block.size(), record.fingerprint.size() - 1), record.fingerprint.begin());
    record.fingerprint_length = static_cast<std::int32_t>(length);
}

std::size_t trim_at_double_space(const char* text, std::size_t n) noexcept {
    for (std::size_t i = 0; i < n; ++i)
        if (text[i] == ' ' && text[i + 1] == ' ') return i;
    return n;
}

std::size_t field_text(const std::uint8_t* wide, std::size_t capacity, std::span<char> work) {
    std::fill(work.begin(), work.end(), '\0');
    if (wide == nullptr) return 0;
    // Every character gives at least one byte, so twice the capacity in units is all that can matter
    // (a surrogate pair is two units for one character).
    std::size_t units = 0;
    while (units < 2 * capacity && (wide[2 * units] != 0 || wide[2 * units + 1] != 0)) ++units;
    std::string text;
    if (!platform::utf16le_to_gbk(std::span<const std::uint8_t>(wide, 2 * units), text)) return 0;
    // Cut at the capacity, never inside a double-byte character.
    const std::size_t room = std::min(capacity, work.size() - 1);
    std::size_t length = 0;
    while (length < text.size()) {
        const std::size_t step = gbk_char_length(text, length);
        if (length + step > room) break;
        length += step;
    }
    std::copy_n(text.begin(), length, work.begin());
    return length;
}

std::string_view sex_name(char code, bool foreign) noexcept {
    switch (code) {
        case '0': return "未知";
        case '1': return foreign ? "男/M" : "男";
        case '2': return foreign ? "女/F" : "女";
        case '9': return "未说明";
        default: return " ";
    }
}

std::size_t nation_name(const char* code_text, char* out, std::int16_t* result) {
    std::array<std::uint8_t, 2> number{};  // the byte and the zero that asc_dec writes behind it
    const std::int16_t status = crypto::asc_dec(code_text, number.data(), 1);
    if (status != VNR_OK) number[0] = 0;
    const core::LibraryGuard guard;
    if (result != nullptr) *result = status;
    if (number[0] >= 1 && number[0] <= std::size(kNations)) return write_text(out, kNations[number[0] - 1]);
    return write_text(out, " ");
}

std::size_t convert_field(std::size_t index, const std::uint8_t* wide, char* out, std::int16_t* result) {
    if (result != nullptr) *result = VNR_OK;
    const TextField& field = kFields[index];
    std::array<char, kWorkRoom> work{};
    field_text(wide, field.width, work);
    switch (field.output) {
        case Output::trimmed: {
            const std::size_t count = trim_at_double_space(work.data(), field.width);
            if (out != nullptr) std::memcpy(out, work.data(), count);
            return count;
        }
        case Output::sex: return write_text(out, sex_name(work[0], false));
        case Output::nation: return nation_name(work.data(), out, result);
        case Output::first_bytes:
            if (out != nullptr) std::memcpy(out, work.data(), field.out_bytes);
            return field.out_bytes;
    }
    return 0;
}

std::int16_t run_converter(std::size_t index, const std::uint8_t* wide, char* out) {
    const core::LibraryGuard guard;
    log::text(kFields[index].entry_line);
    std::int16_t result = VNR_OK;
    convert_field(index, wide, out, &result);
    log::text(kFields[index].done_line);
    return result;
}

namespace {

std::int16_t card_info(std::int32_t field, char* out) {
    if (field < 0 || field > kLastField) return VNR_E_FIELD_INDEX;
    std::string given;  // what was written, for the log line
    {
        const core::LibraryGuard guard;
        const IdentityRecord& record = identity_record(guard);
        std::array<char, 1024> written{};
        std::size_t count = 0;
        if (field < static_cast<std::int32_t>(kFieldCount)) {
            count = convert_field(static_cast<std::size_t>(field), record.fields[field].data(), written.data());
        } else if (field == kPhotoFileField) {
            count = record.photo_file.size();
            std::memcpy(written.data(), record.photo_file.data(), count);
        } else if (field == kFingerprintField) {
            count = 1024;
            std::memcpy(written.data(), record.fingerprint.data(), count);
        } else if (field == kFingerprintLengthField) {
            count = 2;
            written[0] = static_cast<char>(record.fingerprint_length / 256);
            written[1] = static_cast<char>(record.fingerprint_length % 256);
        }
        if (out != nullptr) std::memcpy(out, written.data(), count);
        given.assign(written.data(), std::find(written.begin(), written.begin() + static_cast<std::ptrdiff_t>(count), '\0'));
    }
    log::line("==> IDCard_GetCardInfo() == %s ", given.c_str());
    return VNR_OK;
}

}  // namespace

}  // namespace vnr::idcard

using vnr::core::guarded;

extern "C" {

#define VNR_FIELD_CONVERTER(name, index)                                                            \
    VNR_API int16_t VNR_CALL name(const uint8_t* wide, char* out) {                                 \
        return guarded<int16_t>([&] { return vnr::idcard::run_converter(index, wide, out); });       \
    }

VNR_FIELD_CONVERTER(IDCard_Name, 0)
VNR_FIELD_CONVERTER(IDCard_Sex, 1)
VNR_FIELD_CONVERTER(IDCard_Nation, 2)
VNR_FIELD_CONVERTER(IDCard_Birthday, 3)
VNR_FIELD_CONVERTER(IDCard_Address, 4)
VNR_FIELD_CONVERTER(IDCard_IDNumber, 5)
VNR_FIELD_CONVERTER(IDCard_IssueDepartment, 6)
VNR_FIELD_CONVERTER(IDCard_ValidFromDate, 7)
VNR_FIELD_CONVERTER(IDCard_ValidExpiryDate, 8)
VNR_FIELD_CONVERTER(IDCard_Reserve, 9)

#undef VNR_FIELD_CONVERTER

VNR_API int16_t VNR_CALL IDCard_GetCardInfo(int32_t icdev, int32_t field, char* out) {
    return guarded<int16_t>([&] { return vnr::idcard::card_info(field, out); });
}

}  // extern "C"
