// sim/include/vnrsim/control_line.h: one control line as the control parser (vnrsim/control.h) reads it
// and hands it to a model (vnrsim/model.h): its words, the readers of counts and durations, and the
// refusal that becomes an "error: " answer. The core commands and every model's words read lines the
// same way through it.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vnrsim/times.h"

namespace vnrsim {

// A line that is not a valid command; the control parser answers "error: " and its text.
struct Refusal : std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

// The words of one control line, split at blanks (spaces, tabs). Views into the line, which must
// outlive it.
class ControlLine {
public:
    explicit ControlLine(std::string_view line);

    // How many words the line has.
    std::size_t size() const noexcept { return words_.size(); }
    // Word i as typed; empty past the last word.
    std::string_view word(std::size_t i) const noexcept;
    // Word i in lower case: keywords are taken in any case. Empty past the last word.
    std::string keyword(std::size_t i) const;
    // The line from word i to its end as typed, blanks at its end dropped; empty past the last word.
    std::string_view rest(std::size_t i) const noexcept;
    // Throws Refusal ("unexpected \"x\"") when the line has a word i, that is more than i words.
    void no_more(std::size_t i) const;

private:
    struct Word {
        std::string_view text;
        std::size_t at;  // where it starts in the line
    };
    std::string_view line_;
    std::vector<Word> words_;
};

// A word of decimal digits as a number; nullopt for anything else (a sign, a blank, too large).
std::optional<std::uint64_t> number(std::string_view word);

// "once", "always" (any case) or a count of replies from 1 on. Throws Refusal for anything else.
Times times_of(std::string_view word);

// "once", "always" or "for N replies", as the answers name a duration.
std::string describe(Times times);

}  // namespace vnrsim
