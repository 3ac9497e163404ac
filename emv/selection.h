// emv/selection.h: the EMV reader's application selection: the PSE or PPSE directory with all its
// entries, or the well-known AIDs one by one, and the order of the applications found.
#pragma once

#include "card_session.h"

#include <string>
#include <vector>

namespace vnr::emv {

struct Application {
    Bytes aid;
    std::string label;          // 50, as the directory or the FCI gives it
    std::uint8_t priority = 0;  // 87's low four bits; 0: none
};

// The directory's entries (PSE for a contact card, PPSE for a contactless one), in the card's order;
// empty when the card has no directory or the directory names none. At most this many entries and
// directory records are taken.
inline constexpr std::size_t kMaxApplications = 16;
inline constexpr std::uint8_t kMaxDirectoryRecords = 16;
std::vector<Application> directory_entries(CardSession& card);

// The known AIDs of the international and national schemes that the card selects, with the longer
// AIDs that partial selection (SELECT next) finds behind each.
std::vector<Application> candidate_applications(CardSession& card);

// Highest priority first (1 to 15), those without one after them, each group in the card's order.
void order_by_priority(std::vector<Application>& applications);

// SELECT by name (P2 00 first, 02 next), with Le 00.
Bytes select_command(const Bytes& name, bool next = false);

}  // namespace vnr::emv
