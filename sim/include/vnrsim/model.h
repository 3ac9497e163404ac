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

// A model's reply to a command: the frame's status S1S2 and the reply data behind it.
struct Answer {
    std::uint16_t status = 0;
    std::vector<std::uint8_t> data;
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

    // The models in order, as Model&: for (Model& model : set.all()).
    auto all() const {
        return slots_ | std::views::transform([](const Slot& slot) -> Model& { return *slot.model; });
    }
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
    struct Slot {
        ModelEntry entry;
        std::unique_ptr<Model> model;
    };
    void adopt() noexcept;  // points every model's set at this one

    std::vector<Slot> slots_;
};

template <typename M>
M* Model::sibling() const {
    return set_ ? set_->find<M>() : nullptr;
}

}  // namespace vnrsim
