// sim/models/contactless/contactless_status.h: the reader's statuses (a reply's S1 S2) for the RF field
// and its cards, as the model "contactless" answers them (contactless_model.h).
#pragma once

#include <cstdint>

namespace vnrsim {

constexpr std::uint16_t kRfNoCard = 0x2001;            // activation found no card of that kind ready in the field
constexpr std::uint16_t kRfFieldOff = 0x2002;          // the field is off: no card can answer
constexpr std::uint16_t kRfNotActive = 0x2003;         // no card is active (none activated, halted, taken away)
constexpr std::uint16_t kRfWrongCardKind = 0x2004;     // the command is not for the active card's kind
constexpr std::uint16_t kRfBadFields = 0x2005;         // the command's fields do not hold together
constexpr std::uint16_t kRfCardGone = 0x2006;          // the card left the field during the command
constexpr std::uint16_t kRfAuthFailed = 0x2010;        // authentication failed: wrong key or password, a key
                                                       // the access bits do not allow, a sector made unusable
constexpr std::uint16_t kRfNotAuthenticated = 0x2011;  // the block's sector or the page is not authenticated
constexpr std::uint16_t kRfAccessDenied = 0x2012;      // access bits, lock bits or the configuration refuse it
constexpr std::uint16_t kRfNotValueBlock = 0x2013;     // the block is not in the value format
constexpr std::uint16_t kRfValueOverflow = 0x2014;     // the value would leave its range
constexpr std::uint16_t kRfNoTransferValue = 0x2015;   // transfer with no increment or decrement before it
constexpr std::uint16_t kRfBeyondCard = 0x2016;        // a block or page the card does not have
constexpr std::uint16_t kRfAuthLocked = 0x2017;        // the tag's password attempts are used up

}  // namespace vnrsim
