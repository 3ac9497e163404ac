// sim/include/vnrsim/awaited.h: what a device of the reader waits for from a person (a swipe, a PIN),
// for the models whose replies come later (vnrsim/model.h). An event comes from the control channel,
// or from the deck's script, and a read takes it:
//   - an event given on the control channel is held until a read takes it: the waiting read at its next
//     settle(), or else the next read at once; a later one replaces it;
//   - the script is a list of events, in order, each one taken by the first read that begins with
//     none held and waits at least its delay, and coming `after` into that read; a read that waits
//     less leaves it for a later one and runs out (so a read that does not wait, with a wait of zero,
//     gets what is there at once: a held event, or a scripted one with no delay, or nothing).
// No clock and no lock of its own: the model passes the reader's times and holds the reader's lock.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <utility>

#include "vnrsim/model.h"

namespace vnrsim {

template <typename Event>
class Awaited {
public:
    // One event of a deck's script.
    struct Scripted {
        std::chrono::milliseconds after{0};  // how long into the read that takes it
        Event event;
    };

    // What a read gets so far: the event; or, with `event` empty, `due` set while it still waits (ask
    // again by then), or neither when its wait ran out with nothing.
    struct Outcome {
        std::optional<Event> event;
        std::optional<Clock::time_point> due;
    };

    // Replaces the script.
    void script(std::deque<Scripted> events) { script_ = std::move(events); }
    // The scripted events not yet taken.
    const std::deque<Scripted>& script() const noexcept { return script_; }

    // An event now, from the control channel.
    void give(Event event) { held_ = std::move(event); }
    // The event given and not yet taken.
    const std::optional<Event>& held() const noexcept { return held_; }
    // True while a read waits.
    bool waiting() const noexcept { return wait_.has_value(); }

    // A read begins at `now` and waits up to `wait`.
    Outcome begin(Clock::time_point now, Clock::duration wait) {
        wait_.reset();
        if (held_) return take_held();
        Wait next{now + wait, std::nullopt, now};
        if (!script_.empty() && script_.front().after <= wait) {
            Scripted scripted = std::move(script_.front());
            script_.pop_front();
            if (scripted.after.count() == 0) return {std::move(scripted.event), std::nullopt};
            next.scripted = std::move(scripted.event);
            next.scripted_at = now + scripted.after;
        }
        if (wait <= Clock::duration::zero()) return {};
        wait_ = std::move(next);
        return {std::nullopt, due()};
    }

    // The waiting read at `now`. Without a read waiting: nothing, as for a wait run out.
    Outcome settle(Clock::time_point now) {
        if (!wait_) return {};
        if (held_) {
            wait_.reset();
            return take_held();
        }
        if (wait_->scripted && now >= wait_->scripted_at) {
            Outcome out{std::move(wait_->scripted), std::nullopt};
            wait_.reset();
            return out;
        }
        if (now >= wait_->deadline) {
            wait_.reset();
            return {};
        }
        return {std::nullopt, due()};
    }

    // The read gives up waiting; a scripted event it had taken is used up.
    void abandon() noexcept { wait_.reset(); }

private:
    struct Wait {
        Clock::time_point deadline;
        std::optional<Event> scripted;  // the script's event for this read, if it comes in time
        Clock::time_point scripted_at;
    };

    Outcome take_held() {
        Outcome out{std::move(held_), std::nullopt};
        held_.reset();
        return out;
    }
    Clock::time_point due() const { return wait_->scripted ? wait_->scripted_at : wait_->deadline; }

    std::deque<Scripted> script_;
    std::optional<Event> held_;
    std::optional<Wait> wait_;
};

}  // namespace vnrsim
