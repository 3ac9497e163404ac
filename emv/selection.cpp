// emv/selection.cpp: the directory, the candidate AIDs and the applications' order (selection.h).
#include "selection.h"

#include "bank/tlv.h"

#include <algorithm>

namespace vnr::emv {

namespace {

using bank::find_tlv;
using bank::read_tlv;
using bank::TagMatch;
using View = std::span<const std::uint8_t>;

const Bytes kPse(std::begin("1PAY.SYS.DDF01"), std::end("1PAY.SYS.DDF01") - 1);
const Bytes kPpse(std::begin("2PAY.SYS.DDF01"), std::end("2PAY.SYS.DDF01") - 1);
constexpr std::uint8_t kMaxNextSelections = 8;  // SELECT next behind one candidate

// The well-known AIDs, as hex: international schemes, then the national one.
constexpr const char* kKnownAids[] = {
    "A0000000031010", "A0000000032010", "A0000000033010", "A0000000038010",  // Visa: credit/debit, Electron, Interlink, Plus
    "A0000000041010", "A0000000043060", "A0000000046000",                    // Mastercard, Maestro, Cirrus
    "A00000002501",                                                          // American Express
    "A0000000651010",                                                        // JCB
    "A0000001523010", "A0000001524010",                                      // Discover
    "A000000333010101", "A000000333010102", "A000000333010103", "A000000333010106",  // UnionPay: debit, credit,
                                                                                     // quasi-credit, e-cash
};

Bytes from_hex(const char* hex) {
    Bytes out;
    for (const char* p = hex; p[0] && p[1]; p += 2) {
        const auto nibble = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
        out.push_back(static_cast<std::uint8_t>(nibble(p[0]) << 4 | nibble(p[1])));
    }
    return out;
}

std::optional<View> find(View data, std::initializer_list<std::uint8_t> tag) {
    const Bytes wanted(tag);
    return find_tlv(data, wanted, TagMatch::exact);
}

// Calls `each` with every element of `data` at its own level.
template <typename Each>
void for_each_element(View data, Each&& each) {
    while (const auto element = read_tlv(data)) {
        each(*element);
        data = data.subspan(element->size);
    }
}

// A directory entry (61) as an application; nullopt without an AID.
std::optional<Application> entry_of(View entry) {
    const auto aid = find(entry, {0x4F});
    if (!aid || aid->empty()) return std::nullopt;
    Application out{Bytes(aid->begin(), aid->end()), {}, 0};
    if (const auto label = find(entry, {0x50})) out.label.assign(label->begin(), label->end());
    if (const auto priority = find(entry, {0x87}); priority && !priority->empty()) out.priority = (*priority)[0] & 0x0F;
    return out;
}

void add_entries(View data, std::vector<Application>& out) {
    for_each_element(data, [&](const bank::TlvElement& element) {
        if (element.tag.size() != 1 || element.tag[0] != 0x61 || out.size() >= kMaxApplications) return;
        if (auto application = entry_of(element.value)) out.push_back(std::move(*application));
    });
}

bool known(const std::vector<Application>& list, const Bytes& aid) {
    return std::any_of(list.begin(), list.end(), [&](const Application& a) { return a.aid == aid; });
}

}  // namespace

Bytes select_command(const Bytes& name, bool next) {
    Bytes apdu(name.size() + 6, 0x00);  // CLA 00, Le 00
    apdu[1] = 0xA4, apdu[2] = 0x04, apdu[3] = next ? 0x02 : 0x00, apdu[4] = static_cast<std::uint8_t>(name.size());
    std::copy(name.begin(), name.end(), apdu.begin() + 5);
    return apdu;
}

std::vector<Application> directory_entries(CardSession& card) {
    std::vector<Application> out;
    const auto fci = card.transmit(select_command(card.contactless() ? kPpse : kPse));
    if (!fci || !fci->ok()) return out;
    const auto proprietary = find(fci->data, {0xA5});
    if (!proprietary) return out;
    if (card.contactless()) {
        // The PPSE's entries stand in its FCI's issuer discretionary data.
        if (const auto entries = find(*proprietary, {0xBF, 0x0C})) add_entries(*entries, out);
        return out;
    }
    const auto sfi = find(*proprietary, {0x88});
    if (!sfi || sfi->size() != 1 || (*sfi)[0] == 0 || (*sfi)[0] > 30) return out;
    for (std::uint8_t record = 1; record <= kMaxDirectoryRecords; ++record) {
        const auto answer = card.transmit({0x00, 0xB2, record, static_cast<std::uint8_t>((*sfi)[0] << 3 | 0x04), 0x00});
        if (!answer || !answer->ok()) break;
        if (const auto template70 = find(answer->data, {0x70})) add_entries(*template70, out);
    }
    return out;
}

std::vector<Application> candidate_applications(CardSession& card) {
    std::vector<Application> out;
    for (const char* hex : kKnownAids) {
        const Bytes candidate = from_hex(hex);
        bool next = false;
        for (std::uint8_t i = 0; i < kMaxNextSelections && out.size() < kMaxApplications && !card.failed(); ++i) {
            const auto fci = card.transmit(select_command(candidate, next));
            if (!fci || !fci->ok()) break;
            const auto name = find(fci->data, {0x84});
            const Bytes aid = name ? Bytes(name->begin(), name->end()) : candidate;
            if (known(out, aid)) break;
            Application application{aid, {}, 0};
            if (const auto label = find(fci->data, {0x50})) application.label.assign(label->begin(), label->end());
            if (const auto priority = find(fci->data, {0x87}); priority && !priority->empty())
                application.priority = (*priority)[0] & 0x0F;
            out.push_back(std::move(application));
            // Only an AID longer than the candidate may have others behind it.
            if (aid.size() <= candidate.size()) break;
            next = true;
        }
    }
    return out;
}

void order_by_priority(std::vector<Application>& applications) {
    std::stable_sort(applications.begin(), applications.end(), [](const Application& a, const Application& b) {
        const int pa = a.priority == 0 ? 16 : a.priority, pb = b.priority == 0 ? 16 : b.priority;
        return pa < pb;
    });
}

}  // namespace vnr::emv
