// sim/src/reader.cpp: the simulated reader's logic (see vnrsim/reader.h).
#include "vnrsim/reader.h"

#include <algorithm>
#include <stdexcept>

namespace vnrsim {
namespace {

constexpr std::uint8_t kVersionQuery[] = {0x31, 0x11};

std::size_t index_of(Fault fault) { return static_cast<std::size_t>(fault); }

bool starts_with(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> prefix) {
    return bytes.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), bytes.begin());
}

}  // namespace

Times Times::count(std::uint32_t replies) {
    if (replies == 0) throw std::invalid_argument("a fault must stand for at least one reply");
    return Times{false, replies};
}

Reader::Reader(Deck deck) : deck_(std::move(deck)), replies_(deck_.replies.begin(), deck_.replies.end()) {
    deck_.replies.clear();
}

std::vector<std::uint8_t> Reader::receive(std::span<const std::uint8_t> bytes) {
    return receive(bytes, Clock::now());
}

std::vector<std::uint8_t> Reader::receive(std::span<const std::uint8_t> bytes, Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    std::vector<std::uint8_t> out;
    if (faults_[index_of(Fault::hangup)]) give_up();
    if (bytes.empty() || faults_[index_of(Fault::hangup)]) return out;
    settle(now, out);

    const std::uint64_t skipped_before = decoder_.skipped();
    if (decoder_.mid_frame() && last_byte_ && now - *last_byte_ > kFrameGap) decoder_.reset();
    last_byte_ = now;
    raw_.insert(raw_.end(), bytes.begin(), bytes.end());
    if (raw_.size() > kHistoryBytes) raw_.erase(raw_.begin(), raw_.begin() + (raw_.size() - kHistoryBytes));

    const std::vector<Frame> frames = decoder_.feed(bytes);
    stats_.bytes_skipped += decoder_.skipped() - skipped_before;
    for (const Frame& frame : frames) {
        ++stats_.frames_received;
        give_up();
        if (frame.fault != Frame::Fault::none) {
            ++stats_.bad_frames;
            emit(Reply{kBadFrameStatus, {}, std::nullopt}, out);
            continue;
        }
        commands_.push_back(frame.payload);
        if (commands_.size() > kHistoryCommands) commands_.pop_front();
        if (const auto reply = answer(frame.payload, now)) emit(*reply, out);
    }
    return out;
}

std::vector<std::uint8_t> Reader::poll(Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    std::vector<std::uint8_t> out;
    if (faults_[index_of(Fault::hangup)]) {
        give_up();
    } else {
        settle(now, out);
    }
    return out;
}

std::optional<Reader::Clock::time_point> Reader::next_due() const {
    const std::lock_guard lock(mutex_);
    if (!pending_) return std::nullopt;
    return pending_->due;
}

void Reader::settle(Clock::time_point now, std::vector<std::uint8_t>& out) {
    if (!pending_) return;
    Answer answer = pending_->model->settle(now);
    if (answer.pending) {
        pending_->due = *answer.pending;
        return;
    }
    pending_.reset();
    emit(Reply{answer.status, std::move(answer.data), std::nullopt}, out);
}

void Reader::give_up() {
    if (!pending_) return;
    pending_->model->abandon();
    pending_.reset();
    ++stats_.replies_given_up;
}

std::optional<Reader::Reply> Reader::answer(std::span<const std::uint8_t> command, Clock::time_point now) {
    for (auto it = replies_.begin(); it != replies_.end(); ++it) {
        if (!starts_with(command, it->command)) continue;
        Reply reply{it->status, it->data, it->raw};
        if (it->times && --*it->times == 0) replies_.erase(it);
        return reply;
    }
    if (command.size() == 3 && starts_with(command, kVersionQuery) && command[2] <= 1) {
        const std::string& text = command[2] == 0 ? deck_.reader_version : deck_.contactless_version;
        return Reply{0, std::vector<std::uint8_t>(text.begin(), text.end()), std::nullopt};
    }
    for (Model& model : deck_.models.all()) {
        auto answer = model.answer_at(command, now);
        if (!answer) continue;
        if (answer->pending) {
            pending_ = Pending{&model, *answer->pending};
            return std::nullopt;
        }
        return Reply{answer->status, std::move(answer->data), std::nullopt};
    }
    ++stats_.unknown_commands;
    return Reply{deck_.unknown_command_status, {}, std::nullopt};
}

std::optional<StandingFault> Reader::consume(Fault fault) {
    std::optional<StandingFault>& slot = faults_[index_of(fault)];
    if (!slot) return std::nullopt;
    StandingFault taken = *slot;
    if (!slot->times.is_always()) {
        const std::uint32_t left = slot->times.replies() - 1;
        if (left == 0) {
            slot.reset();
        } else {
            slot->times = Times::count(left);
        }
    }
    return taken;
}

void Reader::emit(const Reply& reply, std::vector<std::uint8_t>& out) {
    // Every standing fault counts this reply, even one that a silence makes moot.
    const auto noise = consume(Fault::noise);
    const auto silence = consume(Fault::silence);
    const auto check = consume(Fault::wrong_check_byte);
    const auto end = consume(Fault::wrong_end_byte);
    const auto cut = consume(Fault::cut);
    if (silence) {
        ++stats_.replies_silenced;
        return;
    }

    std::vector<std::uint8_t> frame;
    if (reply.raw) {
        frame = *reply.raw;
        if (end && !frame.empty()) frame.back() = kWrongEndByte;
    } else {
        std::vector<std::uint8_t> payload{static_cast<std::uint8_t>(reply.status >> 8),
                                          static_cast<std::uint8_t>(reply.status & 0xFF)};
        payload.insert(payload.end(), reply.data.begin(), reply.data.end());
        const std::uint8_t right = check_byte(payload);
        const std::uint8_t sent = check ? static_cast<std::uint8_t>(right ^ kCheckByteFlip) : right;
        frame = encode_frame(payload, deck_.reply_form, sent, end ? kWrongEndByte : kEndByte);
    }
    if (cut) frame.resize(std::min(frame.size(), cut->bytes.value_or(frame.size() / 2)));
    if (noise) out.insert(out.end(), *noise->bytes, kNoiseByte);
    out.insert(out.end(), frame.begin(), frame.end());
    ++stats_.frames_sent;
}

void Reader::inject(Fault fault, Times times, std::optional<std::size_t> bytes) {
    if (fault == Fault::noise && !bytes) throw std::invalid_argument("the noise fault needs a byte count");
    if (fault == Fault::hangup && !times.is_always())
        throw std::invalid_argument("a hangup stands until cleared; it takes no count");
    const std::lock_guard lock(mutex_);
    faults_[index_of(fault)] = StandingFault{fault, times, bytes};
}

void Reader::clear(Fault fault) {
    const std::lock_guard lock(mutex_);
    faults_[index_of(fault)].reset();
}

void Reader::clear_faults() {
    const std::lock_guard lock(mutex_);
    for (auto& slot : faults_) slot.reset();
}

std::vector<StandingFault> Reader::faults() const {
    const std::lock_guard lock(mutex_);
    std::vector<StandingFault> out;
    for (const auto& slot : faults_)
        if (slot) out.push_back(*slot);
    return out;
}

bool Reader::hung_up() const {
    const std::lock_guard lock(mutex_);
    return faults_[index_of(Fault::hangup)].has_value();
}

void Reader::set_form(Form form) {
    const std::lock_guard lock(mutex_);
    deck_.reply_form = form;
}

void Reader::set_baud(std::uint32_t baud) {
    const std::lock_guard lock(mutex_);
    deck_.baud = baud;
}

void Reader::set_version(int module, std::string text) {
    if (module != 0 && module != 1) throw std::invalid_argument("the reader has modules 0 and 1 only");
    const std::lock_guard lock(mutex_);
    (module == 0 ? deck_.reader_version : deck_.contactless_version) = std::move(text);
}

Locked<Model> Reader::model(std::string_view name) {
    std::unique_lock lock(mutex_);
    Model* found = deck_.models.find(name);
    if (!found) throw std::out_of_range("the reader has no model named " + std::string(name));
    return Locked<Model>(std::move(lock), *found);
}

Locked<ModelSet> Reader::models() {
    std::unique_lock lock(mutex_);
    return Locked<ModelSet>(std::move(lock), deck_.models);
}

void Reader::add_reply(CannedReply reply) {
    const std::lock_guard lock(mutex_);
    replies_.push_front(std::move(reply));
}

void Reader::clear_replies() {
    const std::lock_guard lock(mutex_);
    replies_.clear();
}

Deck Reader::deck() const {
    const std::lock_guard lock(mutex_);
    Deck out = deck_;
    out.replies.assign(replies_.begin(), replies_.end());
    return out;
}

Form Reader::form() const {
    const std::lock_guard lock(mutex_);
    return deck_.reply_form;
}

std::uint32_t Reader::baud() const {
    const std::lock_guard lock(mutex_);
    return deck_.baud;
}

std::vector<std::vector<std::uint8_t>> Reader::commands_received() const {
    const std::lock_guard lock(mutex_);
    return {commands_.begin(), commands_.end()};
}

std::vector<std::uint8_t> Reader::raw_received() const {
    const std::lock_guard lock(mutex_);
    return {raw_.begin(), raw_.end()};
}

Stats Reader::stats() const {
    const std::lock_guard lock(mutex_);
    return stats_;
}

void Reader::clear_history() {
    const std::lock_guard lock(mutex_);
    commands_.clear();
    raw_.clear();
    stats_ = Stats{};
}

}  // namespace vnrsim
