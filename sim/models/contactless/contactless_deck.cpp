// sim/models/contactless/contactless_deck.cpp: the deck section "contactless": the field, the cards and
// which of them lie in the field (see contactless_model.h; the keys are told in its help,
// contactless_control.cpp).
#include <nlohmann/json.hpp>

#include "models/cards/card_deck.h"
#include "models/contactless/contactless_model.h"
#include "vnrsim/deck_json.h"

namespace vnrsim {
namespace {

using namespace deck_json;

const CardBytes kDefaultMifareUid{0x5A, 0x2B, 0x3C, 0x4D};
const CardBytes kDefaultTagUid{0x1D, 0x5A, 0x6B, 0x7C, 0x8D, 0x9E, 0xAF};

CardBytes sized_hex(const Json& value, const std::string& where, std::initializer_list<std::size_t> sizes) {
    CardBytes bytes = hex_of(value, where);
    std::string list;
    for (const std::size_t size : sizes) {
        if (bytes.size() == size) return bytes;
        list += (list.empty() ? "" : " or ") + std::to_string(size);
    }
    fail(where, "expected " + list + " bytes, got " + std::to_string(bytes.size()));
}

RfCpuCard cpu_card(const Json& value, const std::string& where) {
    check_keys(value, where, keys_with(kCpuCardKeys, {"kind", "type", "uid", "ats", "comment"}));
    RfCpuCard card;
    if (value.contains("type")) {
        const std::string& type = text_of(value["type"], where + ".type");
        if (type != "A" && type != "B") fail(where + ".type", "expected \"A\" or \"B\", got \"" + type + "\"");
        card.type_b = type == "B";
    }
    if (card.type_b) {
        card.uid = {0x5B, 0x10, 0x20, 0x30};
        card.ats = {0x00, 0x00, 0x00, 0x00, 0x00, 0x81, 0x81};  // application data and protocol info
    }
    if (value.contains("uid")) {
        card.uid = card.type_b ? sized_hex(value["uid"], where + ".uid", {4})
                               : sized_hex(value["uid"], where + ".uid", {4, 7, 10});
    }
    if (value.contains("ats")) {
        card.ats = hex_of(value["ats"], where + ".ats");
        if (card.ats.empty() || card.ats.size() > 64) fail(where + ".ats", "expected 1 to 64 bytes");
    }
    card.cpu = CpuCard(cpu_card_of(value, where));
    return card;
}

std::uint8_t condition_of(const Json& value, const std::string& where) {
    const std::string& text = text_of(value, where);
    if (text.size() != 3 || text.find_first_not_of("01") != std::string::npos)
        fail(where, "a condition is C1 C2 C3 as three binary digits, such as \"011\"");
    return static_cast<std::uint8_t>((text[0] - '0') << 2 | (text[1] - '0') << 1 | (text[2] - '0'));
}

MifareCard mifare_card(const Json& value, const std::string& where, bool big) {
    check_keys(value, where, {"kind", "uid", "sak", "blocks", "sectors", "comment"});
    MifareSetup setup = factory_mifare(
        big, value.contains("uid") ? sized_hex(value["uid"], where + ".uid", {4, 7}) : kDefaultMifareUid);
    if (value.contains("sak")) setup.sak = static_cast<std::uint8_t>(count_of(value["sak"], where + ".sak", 0, 255));
    if (value.contains("blocks")) {
        for (const auto& [block, at, item] : addressed_of(value["blocks"], where + ".blocks", setup.blocks.size())) {
            if (item->is_object()) {
                check_keys(*item, at, {"value", "address", "comment"});
                if (!item->contains("value")) fail(at, "\"value\" is missing");
                const Json& v = (*item)["value"];
                if (!v.is_number_integer() || v.get<std::int64_t>() < INT32_MIN || v.get<std::int64_t>() > INT32_MAX)
                    fail(at + ".value", "expected a whole number from -2147483648 to 2147483647");
                const auto address =
                    item->contains("address")
                        ? static_cast<std::uint8_t>(count_of((*item)["address"], at + ".address", 0, 255))
                        : static_cast<std::uint8_t>(block);
                setup.blocks[block] = mifare_value_block(static_cast<std::int32_t>(v.get<std::int64_t>()), address);
            } else {
                const CardBytes bytes = card_bytes_of(*item, at);
                if (bytes.size() != 16) fail(at, "a block is 16 bytes, got " + std::to_string(bytes.size()));
                std::copy(bytes.begin(), bytes.end(), setup.blocks[block].begin());
            }
        }
    }
    if (value.contains("sectors")) {
        const std::size_t sectors = big ? 40 : 16;
        for (const auto& [sector, at, item] : addressed_of(value["sectors"], where + ".sectors", sectors)) {
            expect_object(*item, at);
            check_keys(*item, at, {"key_a", "key_b", "access", "conditions", "comment"});
            MifareBlock& trailer = setup.blocks[sector < 32 ? sector * 4 + 3 : 128 + (sector - 32) * 16 + 15];
            if (item->contains("key_a")) {
                const CardBytes key = sized_hex((*item)["key_a"], at + ".key_a", {6});
                std::copy(key.begin(), key.end(), trailer.begin());
            }
            if (item->contains("key_b")) {
                const CardBytes key = sized_hex((*item)["key_b"], at + ".key_b", {6});
                std::copy(key.begin(), key.end(), trailer.begin() + 10);
            }
            if (item->contains("access") && item->contains("conditions")) fail(at, "give \"access\" or \"conditions\"");
            if (item->contains("access")) {
                const CardBytes access = sized_hex((*item)["access"], at + ".access", {3, 4});
                std::copy(access.begin(), access.end(), trailer.begin() + 6);
            }
            if (item->contains("conditions")) {
                const Json& list = (*item)["conditions"];
                if (!list.is_array() || list.size() != 4)
                    fail(at + ".conditions", "expected a list of four: the data groups 0, 1, 2 and the trailer");
                std::array<std::uint8_t, 4> conditions{};
                for (std::size_t g = 0; g < 4; ++g)
                    conditions[g] = condition_of(list[g], at + ".conditions[" + std::to_string(g) + "]");
                const auto access = mifare_access_bytes(conditions);
                std::copy(access.begin(), access.end(), trailer.begin() + 6);
            }
        }
    }
    return MifareCard(std::move(setup));
}

PageTag page_tag(const Json& value, const std::string& where, TagKind kind) {
    std::vector<std::string_view> keys{"kind", "uid", "pages", "comment"};
    if (kind == TagKind::ultralight_c) keys.insert(keys.end(), {"key", "auth0", "auth1"});
    if (kind == TagKind::ntag215) keys.insert(keys.end(), {"password", "pack", "auth0", "access"});
    check_keys(value, where, keys);
    PageTagSetup setup =
        factory_tag(kind, value.contains("uid") ? sized_hex(value["uid"], where + ".uid", {7}) : kDefaultTagUid);
    if (value.contains("pages")) place_bytes(value["pages"], where + ".pages", setup.pages, 4);
    const auto put = [&](const char* key, std::size_t page, std::size_t byte, std::size_t size) {
        if (!value.contains(key)) return;
        const std::string at = where + "." + key;
        const CardBytes bytes = size == 1 ? CardBytes{static_cast<std::uint8_t>(count_of(value[key], at, 0, 255))}
                                          : sized_hex(value[key], at, {size});
        std::copy(bytes.begin(), bytes.end(), setup.pages.begin() + static_cast<std::ptrdiff_t>(4 * page + byte));
    };
    if (kind == TagKind::ultralight_c) {
        put("key", kUltralightCKey, 0, 16);
        put("auth0", kUltralightCAuth0, 0, 1);
        put("auth1", kUltralightCAuth1, 0, 1);
    } else if (kind == TagKind::ntag215) {
        put("password", kNtagPassword, 0, 4);
        put("pack", kNtagPack, 0, 2);
        put("auth0", kNtagConfig0, 3, 1);
        put("access", kNtagConfig1, 0, 1);
    }
    return PageTag(std::move(setup));
}

}  // namespace

void ContactlessModel::load(const Json& value, const std::filesystem::path&) {
    const std::string where(name());
    expect_object(value, where);
    check_keys(value, where, {"field", "in_field", "cards", "comment"});
    ContactlessModel loaded;
    if (value.contains("field")) {
        const std::string& field = text_of(value["field"], where + ".field");
        if (field != "on" && field != "off")
            fail(where + ".field", "expected \"on\" or \"off\", got \"" + field + "\"");
        loaded.field_on_ = field == "on";
    }
    if (value.contains("cards")) {
        const Json& cards = value["cards"];
        expect_object(cards, where + ".cards");
        for (const auto& item : cards.items()) {
            const std::string at = where + ".cards." + item.key();
            check_card_name(item.key(), at);
            const Json& card = item.value();
            expect_object(card, at);
            if (!card.contains("kind"))
                fail(at, "\"kind\" is missing: cpu, mifare_1k, mifare_4k, ultralight, ultralight_c or ntag215");
            const std::string& kind = text_of(card["kind"], at + ".kind");
            if (kind == "cpu") {
                loaded.cards_.push_back({item.key(), cpu_card(card, at)});
            } else if (kind == "mifare_1k" || kind == "mifare_4k") {
                loaded.cards_.push_back({item.key(), mifare_card(card, at, kind == "mifare_4k")});
            } else if (kind == "ultralight" || kind == "ultralight_c" || kind == "ntag215") {
                const TagKind tag = kind == "ultralight"     ? TagKind::ultralight
                                    : kind == "ultralight_c" ? TagKind::ultralight_c
                                                             : TagKind::ntag215;
                loaded.cards_.push_back({item.key(), page_tag(card, at, tag)});
            } else {
                fail(at + ".kind",
                     "expected cpu, mifare_1k, mifare_4k, ultralight, ultralight_c or ntag215, got \"" + kind + "\"");
            }
        }
    }
    if (value.contains("in_field")) {
        const Json& list = value["in_field"];
        if (!list.is_array()) fail(where + ".in_field", "expected a list of card names, got " + kind_of(list));
        for (std::size_t i = 0; i < list.size(); ++i) {
            const std::string at = where + ".in_field[" + std::to_string(i) + "]";
            try {
                loaded.put(text_of(list[i], at));
            } catch (const std::invalid_argument& e) {
                fail(at, e.what());
            }
        }
    }
    cards_ = std::move(loaded.cards_);
    field_ = std::move(loaded.field_);
    field_on_ = loaded.field_on_;
    active_.reset();
    pull_ = false;
}

}  // namespace vnrsim
