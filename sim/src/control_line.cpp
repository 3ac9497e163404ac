// sim/src/control_line.cpp: the words of a control line and their readers (see vnrsim/control_line.h).
#include "vnrsim/control_line.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace vnrsim {
namespace {

bool blank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

ControlLine::ControlLine(std::string_view line) : line_(line) {
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && blank(line[i])) ++i;
        const std::size_t start = i;
        while (i < line.size() && !blank(line[i])) ++i;
        if (i > start) words_.push_back({line.substr(start, i - start), start});
    }
}

std::string_view ControlLine::word(std::size_t i) const noexcept {
    return i < words_.size() ? words_[i].text : std::string_view{};
}

std::string ControlLine::keyword(std::size_t i) const {
    std::string out(word(i));
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

std::string_view ControlLine::rest(std::size_t i) const noexcept {
    if (i >= words_.size()) return {};
    const std::string_view text = line_.substr(words_[i].at);
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

void ControlLine::no_more(std::size_t i) const {
    if (i < words_.size()) throw Refusal("unexpected \"" + std::string(words_[i].text) + "\"");
}

std::optional<std::uint64_t> number(std::string_view word) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
    return value;
}

Times times_of(std::string_view word) {
    std::string w(word);
    std::transform(w.begin(), w.end(), w.begin(), [](unsigned char c) { return std::tolower(c); });
    if (w == "once") return Times::once;
    if (w == "always") return Times::always;
    const auto n = number(word);
    if (!n || *n == 0 || *n > 0xFFFFFFFF)
        throw Refusal("\"" + std::string(word) + "\" is not once, always or a count of replies");
    return Times::count(static_cast<std::uint32_t>(*n));
}

std::string describe(Times times) {
    if (times.is_always()) return "always";
    if (times.replies() == 1) return "once";
    return "for " + std::to_string(times.replies()) + " replies";
}

}  // namespace vnrsim
