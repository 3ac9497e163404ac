// src/bank/messages.cpp: bank. The message texts of a bank read, UTF-8 here and GBK in the buffer.
#include "bank/messages.h"

#include "bank/bank.h"
#include "platform/text.h"

#include <cstring>
#include <string>

namespace vnr::bank {

namespace {

std::string_view text_of(Message which) noexcept {
    switch (which) {
        case Message::power_up: return "卡片上电失败，无卡或者卡插反或者卡片不是接触式CPU卡";
        case Message::no_reader: return "连接机具失败";
        case Message::no_cpu_card: return "寻非接CPU卡失败";
        case Message::select_system: return "卡片选择金融支付系统失败";
        case Message::no_a5: return "卡片选择金融支付系统,返回数据不存在A5标签";
        case Message::no_88: return "卡片选择金融支付系统,返回数据不存在88标签";
        case Message::aid_record: return "卡片读取AID记录失败";
        case Message::no_4f: return "卡片从AID记录返回数据中获取4F标签失败";
        case Message::card_number: return "读银行卡号失败";
        case Message::record_missing: return "读读取IC卡信息57/5F20标签值";
        case Message::no_pdol: return "卡片选择金融支付系统,返回数据不存在9F38标签";
        case Message::gpo: return "卡片GPO失败";
        case Message::no_tags: return "无法找到标签";
        case Message::done: return "成功获取到数据";
    }
    return {};
}

}  // namespace

void put_message(char* message, Message which) noexcept {
    try {
        std::string gbk;
        if (!platform::utf8_to_gbk(text_of(which), gbk) || gbk.size() >= kMessageRoom) return;
        std::memcpy(message, gbk.c_str(), gbk.size() + 1);
    } catch (...) {  // no room to convert: the message stays as it was
    }
}

}  // namespace vnr::bank
