// sim/include/vnrsim/model.h: a model of something in or on the simulated reader (the identity card
// module, a contact slot and its card, the RF field, the PIN pad, ...), and the set of models that a
// deck and a reader hold.
//
// A model lives in its own folder, sim/models/NAME/, and takes one line in the registry,
// sim/src/models.cpp, whose order is the order in which the reader asks its models. A model:
//   - answers commands: for a good command frame that no canned reply of the deck and no built-in
//     command (the version query) took, the reader asks its models in registration order; the first
//     one that answers gives the reply, and a command that none takes gets the unknown-command status;
//   - loads its deck section: the deck's top-level key that bears its name, read with the helpers of
//     vnrsim/deck_json.h, so that a fault is refused with its JSON path as everywhere in a deck;
//   - takes its control lines: those whose first word is its name; and drops its failures on the
//     control commands "clear" (everything) and "clear NAME";
//   - describes itself in one ModelHelp, from which the help of vnr-sim --help and the answer to the
//     control command "help" are made (vnrsim/help.h); its header need not repeat it;
//   - may find its siblings, by type or by name, through sibling(): a reader status model, say, asks
//     the contact slot model whether a card is inserted.
//
// Replies that come later: a model whose device waits for a person (a stripe head for a swipe, a PIN
// pad for a PIN) answers a command "pending" (Answer::pending) instead of with its reply. The reader
// then holds the command open: whenever it is polled (Reader::poll, which the transports call as they
// look at the line, and at the pending time at the latest) it asks the model to settle() the reply,
// until the model gives it, when the awaited event came (a control line, a deck script's time) or the
// wait ran out (its time-out status). The reply then goes out as any other, faults and pacing
// included. A command that reaches the reader meanwhile, or a hangup, makes the reader give the pending
// reply up: it calls abandon() and sends nothing for it. Times are the reader's: those of the
// transport's clock, which a test may drive; a model never reads a clock of its own.
//
// Locking: a model has no lock of its own and needs none. Every call into a model that a Reader holds
// (answer, control, clear_failures, failures, and what a test calls through Reader::model) is made with
// the Reader's one mutex held; so a model never calls its Reader, only itself and its siblings. A
// model in a Deck that no Reader holds yet belongs to the holder of the Deck, like the rest of it.
//
// Copies: a deck's or a reader's models are copied with the deck (Reader::deck() hands out such a
// copy), by each model's copy constructor. A model therefore holds its state by value and keeps no
// pointer to a sibling: it asks sibling() each time.
//
// Adding a model NAME (sim/models/idcard/ is one):
//   1. sim/models/NAME/: a header declaring `class XModule : public vnrsim::Model` (default-constructible,
//      copyable) with what tests may call on it, and its .cpp files (help(), load(), answer(), and
//      control(), clear_failures(), failures() if it has control words and failures). CMake picks up
//      every sim/models/*/*.cpp; headers are included as "models/NAME/....h".
//   2. sim/src/models.cpp: its header and its line `model_entry<XModule>()` where the reader is to ask
//      it.
//   3. tests/sim/models/NAME_test.cpp for what no test through the library reaches (picked up too).
// Tests reach it as reader.model<XModule>()->... (vnrsim/reader.h) or deck.models.get<XModule>().
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <ranges>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vnrsim/control_line.h"

namespace vnrsim {

// The simulator's time: the steady clock, or a test's driven stand-in for it, as the transport says.
using Clock = std::chrono::steady_clock;

// A model's reply to a command: the frame's status S1S2 and the reply data behind it; or, with
// `pending` set, no reply yet (status and data are then not looked at).
struct Answer {
    Answer() = default;
    Answer(std::uint16_t status, std::vector<std::uint8_t> data = {}) : status(status), data(std::move(data)) {}
    // A pending answer, to be asked again by `due`.
    static Answer later(Clock::time_point due) {
        Answer answer;
        answer.pending = due;
        return answer;
    }

    std::uint16_t status = 0;
    std::vector<std::uint8_t> data;
    // Set: the reply is pending, and the reader asks settle() again at this time at the latest (the
    // model's next own event: the end of its wait, or a scripted event before it).
    std::optional<Clock::time_point> pending;
};

// One control command of a model, for the help.
struct CommandHelp {
    std::string_view syntax;  // "idcard fail SW [WHEN]"; WHEN is once, always or a count of replies
    std::string_view what;    // what it does, one sentence or a few; no line breaks needed
};

// What a model says about itself. The help is made of it and nothing else.
struct ModelHelp {
    std::string_view name;   // the deck key and the control word: one word, lower case
    std::string_view title;  // a few words: "the identity card module and its cards"
    std::string_view about;  // which commands it answers and how; prose, reflowed by the help
    std::string_view deck_example;  // its deck section with every key, "NAME": {...}, as it stands in a
                                    // deck: lines broken as they are to be shown
    std::string_view deck_keys;     // what the keys mean and take, defaults and limits; prose
    std::span<const CommandHelp> commands;  // its control commands ("clear NAME" among them if it
                                            // has failures to clear)
};

class ModelSet;

class Model {
public:
    virtual ~Model() = default;

    // The model's help; its name is the deck key and the control word.
    virtual const ModelHelp& help() const = 0;
    std::string_view name() const { return help().name; }

    // Loads the deck's section `section` (the value of the top-level key name()) over the model's
    // defaults, which stand for a deck without it. Files named in it are relative to `folder` (the
    // current folder when empty). Refuses a fault by throwing std::runtime_error "PATH: what" with the
    // JSON path from name() on (deck_json::fail does so); unknown keys are faults.
    virtual void load(const nlohmann::json& section, const std::filesystem::path& folder) = 0;

    // The answer to `command`, the payload of a good command frame (two command bytes and their
    // fields), or nullopt when the command is not this model's, which passes it on to the next model.
    virtual std::optional<Answer> answer(std::span<const std::uint8_t> command) = 0;

    // As answer(), for a command received at `now`; the reader calls this one. A model whose replies
    // can come later overrides it and may answer Answer::later(due); the default gives answer(command),
    // a reply at once.
    virtual std::optional<Answer> answer_at(std::span<const std::uint8_t> command, Clock::time_point now) {
        return answer(command);
    }

    // The reply that this model left pending, asked at `now`: the reply when the awaited event has come
    // or the wait has run out by `now`, else Answer::later(due) again. Called only while a reply of this
    // model is pending; the default, for a model that never leaves one, throws std::logic_error.
    virtual Answer settle(Clock::time_point now);

    // The reader gives up the reply this model left pending (another command came in, or the line went
    // dead): the model forgets the wait, as its device gives up waiting when the host moves on.
    virtual void abandon() {}

    // Carries out a control line whose word(0) is name() and returns its answer: "ok ..." with what there
    // is to say. Throws Refusal (or any std::exception) for a line it refuses; the text becomes the
    // answer after "error: ". The default refuses every line.
    virtual std::string control(const ControlLine& line);

    // Drops every failure that stands in the model ("clear" and "clear NAME").
    virtual void clear_failures() {}

    // The failures that stand, each one described for the answer to "faults" after the model's name
    // ("010091 for 3 replies"); none by default.
    virtual std::vector<std::string> failures() const { return {}; }

    // Whether a card lies in `slot` of this model (the contact slot and the SAM slots by their numbers,
    // kFieldSlot for the RF field), so that the reader's own status queries can follow the cards that the
    // card models hold. False for a model without slots.
    static constexpr std::uint8_t kFieldSlot = 0xFF;
    virtual bool card_present(std::uint8_t slot) const { return false; }

protected:
    Model() = default;
    // A copy belongs to no set until a set adopts it; an assigned model stays in its own set.
    Model(const Model&) noexcept {}
    Model& operator=(const Model&) noexcept { return *this; }

    // The sibling of type M (the first one of the set), or nullptr; nullptr too for a model that
    // belongs to no set.
    template <typename M>
    M* sibling() const;
    // The sibling named `name`, or nullptr.
    Model* sibling(std::string_view name) const;

private:
    friend class ModelSet;
    ModelSet* set_ = nullptr;  // the set that holds this model
};

// How the registry makes and copies one kind of model.
struct ModelEntry {
    std::unique_ptr<Model> (*make)();                 // a model as a deck without its section sets it up
    std::unique_ptr<Model> (*copy)(const Model& model);  // a copy of `model`, which is of this kind
};

// The entry of model type M, which must be default-constructible and copyable.
template <typename M>
constexpr ModelEntry model_entry() {
    return {[]() -> std::unique_ptr<Model> { return std::make_unique<M>(); },
            [](const Model& model) -> std::unique_ptr<Model> {
                return std::make_unique<M>(static_cast<const M&>(model));
            }};
}

// The registry: the entries of every model of a reader, in the order the reader asks them.
// sim/src/models.cpp holds it, one line per model.
std::span<const ModelEntry> registered_models();

// The models of one deck or reader, one of each entry, in the entries' order. Copying a set copies its
// models; a moved set keeps its models' siblings. Const only for the set: its models stay mutable.
class ModelSet {
public:
    // The registry's models, each as a deck without its section sets it up.
    ModelSet() : ModelSet(registered_models()) {}
    // The models of `entries`, in that order. Throws std::logic_error when two have the same name.
    explicit ModelSet(std::span<const ModelEntry> entries);

    ModelSet(const ModelSet& other);
    ModelSet& operator=(const ModelSet& other);
    ModelSet(ModelSet&& other) noexcept;
    ModelSet& operator=(ModelSet&& other) noexcept;
    ~ModelSet() = default;

private:
    struct Slot {
        ModelEntry entry;
        std::unique_ptr<Model> model;
    };

public:
    // The models in order, as Model&: for (Model& model : set.all()). A view of its own rather than
    // std::views::transform, which clang 14 (the fuzzing build's compiler) cannot take from libstdc++.
    class Models {
    public:
        class Iterator {
        public:
            explicit Iterator(const Slot* at) noexcept : at_(at) {}
            Model& operator*() const noexcept { return *at_->model; }
            Iterator& operator++() noexcept { ++at_; return *this; }
            bool operator==(const Iterator& other) const noexcept = default;

        private:
            const Slot* at_;
        };
        explicit Models(const std::vector<Slot>& slots) noexcept : slots_(&slots) {}
        Iterator begin() const noexcept { return Iterator(slots_->data()); }
        Iterator end() const noexcept { return Iterator(slots_->data() + slots_->size()); }

    private:
        const std::vector<Slot>* slots_;
    };
    Models all() const noexcept { return Models(slots_); }
    std::size_t size() const noexcept { return slots_.size(); }

    // The model named `name`, or nullptr.
    Model* find(std::string_view name) const;
    // The first model of type M, or nullptr.
    template <typename M>
    M* find() const {
        for (const Slot& slot : slots_)
            if (auto* model = dynamic_cast<M*>(slot.model.get())) return model;
        return nullptr;
    }
    // As find<M>(), but throws std::out_of_range when the set has no M.
    template <typename M>
    M& get() const {
        if (M* model = find<M>()) return *model;
        throw std::out_of_range("no such model in this set");
    }

private:
    void adopt() noexcept;  // points every model's set at this one

    std::vector<Slot> slots_;
};

template <typename M>
M* Model::sibling() const {
    return set_ ? set_->find<M>() : nullptr;
}

}  // namespace vnrsim
