// sim/include/vnrsim/reader.h: the simulated reader itself, free of any transport: bytes in, bytes out.
//
// The reader takes the host's bytes in any chunking, decodes command frames, answers each one with one
// reply in its configured form, and hands back the bytes to send. Injected faults change those bytes. It
// records what it received for tests. Every member function is safe to call from several threads at once.
//
// A command's reply comes from the first of these that takes it: the canned replies (the deck's, and
// those added since), the built-in version query 31 11 00 (reader) and 31 11 01 (contactless module),
// answered with status 0 and the version text as data, the deck's models (vnrsim/model.h) in their
// order, and last the unknown-command status.
//
// Replies that come later: a model may leave a command's reply pending (vnrsim/model.h), as a stripe
// head waiting for a swipe does. The reader then sends nothing for that command until the reply is
// settled: poll() asks the model each time it is called, and hands back the reply's bytes (framed, with
// the faults that stand, as any reply) once the model gives it; next_due() tells when poll() must be
// called at the latest, for a wait that runs out or a scripted event. A transport polls whenever it
// looks at the line and at next_due(): the pty server at least every 10 ms, the HID reader at every
// report the host sets or asks for. Times are those the transport passes: the steady clock, or a
// test's driven clock. One reply is pending at most; a command frame (good or broken) that arrives
// while one is pending, or a hangup, gives it up: the model is told (Model::abandon) and no frame goes
// out for it.
//
// Broken command frames: a frame with a wrong check byte or end byte, or one declaring more than
// kMaxCommandPayload bytes, is answered with kBadFrameStatus and no data. A frame left incomplete for
// longer than kFrameGap is dropped when the next byte comes.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "vnrsim/deck.h"
#include "vnrsim/frame.h"
#include "vnrsim/model.h"
#include "vnrsim/times.h"

namespace vnrsim {

// Status answered to a broken command frame (wrong check byte, wrong end byte, too long).
constexpr std::uint16_t kBadFrameStatus = 0x6F00;

// A frame whose bytes stop coming for this long is dropped: the reader gives up waiting for its rest.
constexpr std::chrono::milliseconds kFrameGap{500};

constexpr std::uint8_t kNoiseByte = 0x55;     // what the noise fault sends (never the start byte)
constexpr std::uint8_t kWrongEndByte = 0x04;  // what the end-byte fault sends in place of 0x03
constexpr std::uint8_t kCheckByteFlip = 0xFF;  // the check-byte fault sends the right check byte XOR this

constexpr std::size_t kHistoryCommands = 10000;  // commands_received() keeps the latest this many
constexpr std::size_t kHistoryBytes = 1 << 20;   // raw_received() keeps the latest this many bytes

// Faults that can be injected. Each applies to reply frames; several standing faults apply together to
// the same reply, and each one counts that reply.
enum class Fault {
    noise,             // `bytes` bytes of kNoiseByte go out before the reply frame
    silence,           // the reply is not sent at all
    wrong_check_byte,  // the reply's check byte is wrong
    wrong_end_byte,    // the reply's last byte is kWrongEndByte instead of 0x03
    cut,               // only the first `bytes` bytes of the reply frame go out (default: half of it)
    hangup,            // the line is dead: the reader takes and gives nothing; the transport hangs up.
                       // Stands until cleared (Times::always only).
};


// A fault as it stands in the reader.
struct StandingFault {
    Fault fault;
    Times times;                        // what is left of it
    std::optional<std::size_t> bytes;  // the noise length or the cut point, when given
};

// Counters since construction or the last clear_history().
struct Stats {
    std::uint64_t frames_received = 0;   // command frames taken, good or broken
    std::uint64_t bad_frames = 0;        // of those, broken ones (answered with kBadFrameStatus)
    std::uint64_t unknown_commands = 0;  // good frames answered with the unknown-command status
    std::uint64_t frames_sent = 0;       // reply frames put out, whole or cut
    std::uint64_t replies_given_up = 0;  // pending replies given up for a new command or a hangup
    std::uint64_t replies_silenced = 0;  // replies held back by the silence fault
    std::uint64_t bytes_skipped = 0;     // received bytes outside any frame, dropped frames included
};

// Something of a Reader reached with the Reader's mutex held: the mutex stays locked while this lives.
// Use it within one statement (reader.model<IdCardModule>()->put(...)): holding it while the reader is
// asked anything else, from this thread or by a transport's, waits for ever.
template <typename T>
class Locked {
public:
    Locked(std::unique_lock<std::mutex> lock, T& held) noexcept : lock_(std::move(lock)), held_(&held) {}
    T* operator->() const noexcept { return held_; }
    T& operator*() const noexcept { return *held_; }

private:
    std::unique_lock<std::mutex> lock_;
    T* held_;
};

class Reader {
public:
    using Clock = std::chrono::steady_clock;

    // A reader as `deck` describes it.
    explicit Reader(Deck deck = {});

    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // Takes bytes from the host, received at `now`; returns the bytes to send back (empty when the
    // bytes complete no frame, or under silence or hangup). Replies come after the whole command.
    std::vector<std::uint8_t> receive(std::span<const std::uint8_t> bytes, Clock::time_point now);
    // As above, received now.
    std::vector<std::uint8_t> receive(std::span<const std::uint8_t> bytes);

    // The bytes of a pending reply that is settled at `now` (its event came or its wait ran out),
    // framed and faulted as any reply; empty while it is still pending, when none is, and under hangup
    // (which gives a pending reply up). receive() settles it first too, so that it goes out ahead of
    // the reply to a later command.
    std::vector<std::uint8_t> poll(Clock::time_point now);
    // When poll() must be called at the latest: the pending reply's next event or the end of its wait;
    // nullopt while no reply is pending.
    std::optional<Clock::time_point> next_due() const;

    // Injects a fault. `bytes` is the noise length (required for noise) or the cut point (optional for
    // cut); it is ignored for the others. Injecting a fault again replaces it. Throws
    // std::invalid_argument for noise without a length, and for hangup with anything but Times::always.
    void inject(Fault fault, Times times = Times::once, std::optional<std::size_t> bytes = std::nullopt);
    // Clears one fault; a hangup so cleared lets the transport bring the line back.
    void clear(Fault fault);
    // Clears every fault, hangup included.
    void clear_faults();
    // The faults that stand, in the order of the Fault enumeration.
    std::vector<StandingFault> faults() const;
    // True while the hangup fault stands.
    bool hung_up() const;

    // The form of later replies.
    void set_form(Form form);
    // The emulated wire rate of later replies, bits per second; 0 for no pacing. Read by the transport.
    void set_baud(std::uint32_t baud);
    // The text answered for module 0 or 1, as the bytes to send (GBK). Throws std::invalid_argument for
    // another module.
    void set_version(int module, std::string text);
    // Adds a canned reply ahead of all others, so it takes precedence over the deck's.
    void add_reply(CannedReply reply);
    // Drops every canned reply.
    void clear_replies();

    // The reader's model of type M, under the reader's lock (see Locked): reader.model<IdCardModule>()
    // ->put(CardKind::foreign). Throws std::out_of_range when the reader has no M.
    template <typename M>
    Locked<M> model() {
        std::unique_lock lock(mutex_);
        M& found = deck_.models.get<M>();
        return Locked<M>(std::move(lock), found);
    }
    // The model named `name`, under the reader's lock. Throws std::out_of_range when there is none.
    Locked<Model> model(std::string_view name);
    // Every model, under the reader's lock.
    Locked<ModelSet> models();

    // The settings now in force, with the canned replies still standing (their `times` as left) and a
    // copy of the models as they stand.
    Deck deck() const;
    // The form of replies now.
    Form form() const;
    // The emulated wire rate now.
    std::uint32_t baud() const;

    // The payloads of the good command frames received, oldest first (the latest kHistoryCommands).
    std::vector<std::vector<std::uint8_t>> commands_received() const;
    // Every byte received, noise and broken frames included (the latest kHistoryBytes).
    std::vector<std::uint8_t> raw_received() const;
    // The counters.
    Stats stats() const;
    // Forgets the received commands and bytes and zeroes the counters. Faults and settings stay.
    void clear_history();

private:
    struct Reply {
        std::uint16_t status = 0;
        std::vector<std::uint8_t> data;
        std::optional<std::vector<std::uint8_t>> raw;
    };
    // A model's reply left pending, and when to ask it again at the latest.
    struct Pending {
        Model* model;
        Clock::time_point due;
    };
    // The reply to `command`, or nullopt when a model left it pending (pending_ then holds it).
    std::optional<Reply> answer(std::span<const std::uint8_t> command, Clock::time_point now);
    void settle(Clock::time_point now, std::vector<std::uint8_t>& out);
    void give_up();
    std::optional<StandingFault> consume(Fault fault);
    void emit(const Reply& reply, std::vector<std::uint8_t>& out);

    mutable std::mutex mutex_;
    Deck deck_;
    std::deque<CannedReply> replies_;
    std::array<std::optional<StandingFault>, 6> faults_;
    FrameDecoder decoder_;
    std::optional<Clock::time_point> last_byte_;
    std::optional<Pending> pending_;
    std::deque<std::vector<std::uint8_t>> commands_;
    std::deque<std::uint8_t> raw_;
    Stats stats_;
};

}  // namespace vnrsim
