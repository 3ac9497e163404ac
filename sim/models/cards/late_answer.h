// sim/models/cards/late_answer.h: a card's answer held back for the card's own answer time (the CPU
// card's answer_ms). The models that carry APDUs to their cards (contact, contactless) answer
// Answer::later with it and give it when the time has passed, so that a host sees the card's time on
// top of the wire's. Not a model: a small part of one, copied with it.
#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <utility>

#include "vnrsim/model.h"

namespace vnrsim {

class LateAnswer {
public:
    // `answer` at once when `delay` is zero, else Answer::later(now + delay) with `answer` held back.
    Answer hold(Answer answer, Clock::time_point now, std::chrono::milliseconds delay) {
        if (delay.count() <= 0) return answer;
        held_ = std::move(answer);
        due_ = now + delay;
        return Answer::later(due_);
    }
    // The held answer once `now` has reached its time; Answer::later again before.
    Answer settle(Clock::time_point now) {
        if (!held_) throw std::logic_error("no card answer is held back");
        if (now < due_) return Answer::later(due_);
        Answer out = std::move(*held_);
        held_.reset();
        return out;
    }
    // The host moved on: the answer is dropped, as the card's is when the reader gives up on it.
    void drop() noexcept { held_.reset(); }
    bool holding() const noexcept { return held_.has_value(); }

private:
    std::optional<Answer> held_;
    Clock::time_point due_{};
};

}  // namespace vnrsim
