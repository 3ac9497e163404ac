// src/bank/messages.h: bank. The texts that a bank read leaves in the caller's message buffer.
#pragma once

#include <string_view>

namespace vnr::bank {

enum class Message {
    power_up,        // the card type is neither 0 nor 255, or the contact card did not power up
    no_reader,       // icdev below 1
    no_cpu_card,     // no contactless CPU card answered
    select_system,   // the PSE or PPSE could not be selected
    no_a5,           // an FCI without its proprietary template A5
    no_88,           // a directory's FCI without the SFI of its records
    aid_record,      // the directory record or the application could not be read or selected
    no_4f,           // a directory record without an AID
    card_number,     // a READ RECORD of SFI 1 failed
    record_missing,  // record 1 to 9 of SFI 1 answered 6A83
    no_pdol,         // the application's FCI holds no PDOL
    gpo,             // GET PROCESSING OPTIONS failed
    no_tags,         // the GPO answer led to neither tag 57 nor tag 5F20
    done,            // the read succeeded
};

// Writes the message's GBK text with its terminator into `message` (at most kMessageRoom bytes).
void put_message(char* message, Message which) noexcept;

}  // namespace vnr::bank
