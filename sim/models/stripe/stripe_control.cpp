// sim/models/stripe/stripe_control.cpp: the stripe head's deck section, control words and help (see
// stripe_head.h).
#include <cstdio>
#include <nlohmann/json.hpp>

#include "models/stripe/stripe_head.h"
#include "vnrsim/deck_json.h"

namespace vnrsim {
namespace {

using namespace deck_json;

constexpr std::uint64_t kLongestDelayMs = 255'000;  // the longest wait a read can ask for

constexpr std::string_view kAbout =
    "It answers 32 60 WAIT, a read that waits up to WAIT seconds for a swipe: with status 0 and the "
    "three track lengths (F5 for a track the card lacks) and the tracks framed by their sentinels, % ... ? "
    "for track 1 and ; ... ? for tracks 2 and 3, as soon as a swipe comes, with 6403 for a bad swipe, and "
    "with 6400 when the wait runs out. WAIT 0 answers at once with the swipe there is, or 6404. A swipe "
    "given while no read waits is held for the next read. 32 61 and 32 62 (modes 0 and 1) and 32 63 MODE "
    "(40, 41, 80, 81, C0, C1) are taken and kept. Fields of the wrong length answer 6700, another mode "
    "6A80.";

constexpr std::string_view kDeckExample = R"("stripe": {
  "swipes": [
    {"after_ms": 1500,
     "tracks": ["B9900001234567890^SAMPLE/ALEX J^2912201", "9900001234567890=2912201", ""]},
    {"after_ms": 800, "bad": true}
  ]
})";

constexpr std::string_view kDeckKeys =
    "\"swipes\": the script, in order: each swipe is taken by the first read that finds no swipe held "
    "and waits at least its \"after_ms\" (0 to 255000, default 0), and is made that many milliseconds into "
    "it; a read that waits less leaves it for a later read. \"tracks\": the three tracks' text without "
    "sentinels, \"\" for a track the card lacks: track 1 takes up to 76 characters from space to _ "
    "(letters in upper case) but % and ?, tracks 2 and 3 up to 37 and 104 of 0 to 9 and : < = >. "
    "\"bad\": true for a swipe the head cannot read (no \"tracks\" then). \"comment\": any text, in the "
    "section and in a swipe.";

constexpr CommandHelp kCommands[] = {
    {"stripe", "the mode, whether a read waits, the swipe held and the swipes left in the script"},
    {"stripe swipe T1|T2|T3",
     "swipes a card with these tracks (without sentinels, an empty one for a track the card lacks, track 1 "
     "may hold spaces): the waiting read answers it, or else the next read"},
    {"stripe bad", "a swipe the head cannot read: the waiting read, or the next one, answers 6403"},
};

std::string shown(const Swipe& swipe) {
    if (swipe.bad) return "a bad swipe";
    return swipe.tracks[0] + "|" + swipe.tracks[1] + "|" + swipe.tracks[2];
}

Swipe swipe_of(const Json& value, const std::string& where) {
    expect_object(value, where);
    check_keys(value, where, {"after_ms", "tracks", "bad", "comment"});
    Swipe swipe;
    if (value.contains("bad")) {
        if (!value["bad"].is_boolean()) fail(where + ".bad", "expected true or false, got " + kind_of(value["bad"]));
        swipe.bad = value["bad"].get<bool>();
    }
    if (value.contains("tracks") == swipe.bad) fail(where, "give \"tracks\", or \"bad\": true");
    if (!swipe.bad) {
        const Json& tracks = value["tracks"];
        if (!tracks.is_array() || tracks.size() != 3)
            fail(where + ".tracks", "expected a list of three texts, got " + kind_of(tracks));
        for (std::size_t i = 0; i < 3; ++i) {
            const std::string at = where + ".tracks[" + std::to_string(i) + "]";
            swipe.tracks[i] = text_of(tracks[i], at);
            try {
                check_track(i, swipe.tracks[i]);
            } catch (const std::invalid_argument& e) {
                fail(at, e.what());
            }
        }
        if (swipe.tracks[0].empty() && swipe.tracks[1].empty() && swipe.tracks[2].empty())
            fail(where + ".tracks", "a swipe has at least one track");
    }
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    return swipe;
}

}  // namespace

const ModelHelp& StripeHead::help() const {
    static const ModelHelp help{"stripe", "the magnetic stripe head", kAbout, kDeckExample, kDeckKeys, kCommands};
    return help;
}

void StripeHead::load(const Json& value, const std::filesystem::path&) {
    const std::string where(name());
    expect_object(value, where);
    check_keys(value, where, {"swipes", "comment"});
    std::deque<Awaited<Swipe>::Scripted> script;
    if (value.contains("swipes")) {
        const Json& list = value["swipes"];
        if (!list.is_array()) fail(where + ".swipes", "expected a list, got " + kind_of(list));
        for (std::size_t i = 0; i < list.size(); ++i) {
            const std::string at = where + ".swipes[" + std::to_string(i) + "]";
            Awaited<Swipe>::Scripted scripted{{}, swipe_of(list[i], at)};
            if (list[i].contains("after_ms"))
                scripted.after = std::chrono::milliseconds(count_of(list[i]["after_ms"], at + ".after_ms", 0, kLongestDelayMs));
            script.push_back(std::move(scripted));
        }
    }
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    *this = StripeHead();
    swipes_.script(std::move(script));
}

std::string StripeHead::control(const ControlLine& line) {
    const std::string what = line.keyword(1);
    if (what.empty()) {
        char mode[8];
        std::snprintf(mode, sizeof mode, "%02X", mode_);
        std::string out = "ok stripe mode " + std::string(mode) + (swipes_.waiting() ? ", a read waits" : ", no read waits");
        if (swipes_.held()) out += ", held: " + shown(*swipes_.held());
        return out + ", " + std::to_string(swipes_.script().size()) + " scripted swipes left";
    }
    Swipe swipe;
    if (what == "bad") {
        line.no_more(2);
        swipe.bad = true;
    } else if (what == "swipe") {
        const std::string_view text = line.rest(2);
        std::size_t start = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const std::size_t bar = i < 2 ? text.find('|', start) : text.size();
            if (bar == std::string_view::npos) throw Refusal("stripe swipe takes three tracks: T1|T2|T3");
            swipe.tracks[i] = std::string(text.substr(start, bar - start));
            start = bar + 1;
        }
        if (swipe.tracks[2].find('|') != std::string::npos) throw Refusal("stripe swipe takes three tracks: T1|T2|T3");
        for (std::size_t i = 0; i < 3; ++i) {
            try {
                check_track(i, swipe.tracks[i]);
            } catch (const std::invalid_argument& e) {
                throw Refusal(e.what());
            }
        }
        if (swipe.tracks[0].empty() && swipe.tracks[1].empty() && swipe.tracks[2].empty())
            throw Refusal("a swipe has at least one track");
    } else {
        throw Refusal("stripe takes swipe T1|T2|T3 or bad, or nothing to show the head");
    }
    const bool taken = swipes_.waiting();
    const std::string out = "ok stripe " + shown(swipe) + (taken ? " for the waiting read" : " held for the next read");
    swipes_.give(std::move(swipe));
    return out;
}

}  // namespace vnrsim
