// src/idcard/messages.cpp: idcard. The message tables of the identity card module and of photo saves.
#include "idcard/messages.h"

#include "platform/text.h"

#include <cstring>

namespace vnr::idcard {

namespace {

struct SwRow {
    bool any_sw1_sw2;  // true: SW1 and SW2 are not looked at
    std::uint8_t sw3;
    std::string_view text;
};

constexpr SwRow kSwRows[] = {
    {false, 0x80, "寻找卡片失败"},       {true, 0x81, "选取卡片失败"}, {false, 0x91, "卡片中此项无内容"},
    {true, 0x41, "读卡失败"},             {true, 0x40, "无法识别的卡片类型"}, {true, 0x47, "取随机数失败"},
};
constexpr std::string_view kConnectionError = "读卡器连接错误";

struct StatusRow {
    int status;
    std::string_view text;
};

constexpr StatusRow kPhotoRows[] = {
    {0, "操作成功"},        {-2, "调用sdtapi.dll错误"}, {-3, "相片解码错误"}, {-4, "wlt文件后缀错误"},
    {-5, "wlt文件打开错误"}, {-6, "wlt文件格式错误"},    {-8, "设备连接错误"},
};
constexpr std::string_view kOtherError = "其他错误";

}  // namespace

std::string gbk(std::string_view utf8) {
    std::string text;
    if (!platform::utf8_to_gbk(utf8, text)) text.assign(utf8);
    return text;
}

bool gbk_for_caller(std::string_view utf8, std::string& gbk) { return platform::utf8_to_gbk(utf8, gbk); }

void lay_text(char* dest, std::string_view utf8) {
    std::string text;
    if (dest == nullptr || !gbk_for_caller(utf8, text)) return;
    // The caller's text carries no terminator; callers zero-fill their buffers.
    std::memcpy(dest, text.data(), text.size());  // NOLINT(bugprone-not-null-terminated-result)
}

void lay_text_z(char* dest, std::string_view utf8) {
    std::string text;
    if (dest == nullptr || !gbk_for_caller(utf8, text)) return;
    std::memcpy(dest, text.c_str(), text.size() + 1);
}

std::string_view sw_text(std::uint8_t sw1, std::uint8_t sw2, std::uint8_t sw3) noexcept {
    for (const SwRow& row : kSwRows)
        if (row.sw3 == sw3 && (row.any_sw1_sw2 || (sw1 == 0 && sw2 == 0))) return row.text;
    return kConnectionError;
}

std::string_view photo_status_text(int status) noexcept {
    for (const StatusRow& row : kPhotoRows)
        if (row.status == status) return row.text;
    return kOtherError;
}

}  // namespace vnr::idcard
