// sim/src/model.cpp: the set of models of a deck or reader (see vnrsim/model.h).
#include "vnrsim/model.h"

namespace vnrsim {

std::string Model::control(const ControlLine& line) {
    throw Refusal(std::string(name()) + " takes no control commands");
}

Answer Model::settle(Clock::time_point) {
    throw std::logic_error(std::string(name()) + " has no reply pending");
}

Model* Model::sibling(std::string_view name) const { return set_ ? set_->find(name) : nullptr; }

ModelSet::ModelSet(std::span<const ModelEntry> entries) {
    slots_.reserve(entries.size());
    for (const ModelEntry& entry : entries) {
        std::unique_ptr<Model> model = entry.make();
        if (find(model->name())) throw std::logic_error("two models are named " + std::string(model->name()));
        slots_.push_back({entry, std::move(model)});
    }
    adopt();
}

ModelSet::ModelSet(const ModelSet& other) {
    slots_.reserve(other.slots_.size());
    for (const Slot& slot : other.slots_) slots_.push_back({slot.entry, slot.entry.copy(*slot.model)});
    adopt();
}

ModelSet& ModelSet::operator=(const ModelSet& other) {
    if (this != &other) *this = ModelSet(other);
    return *this;
}

ModelSet::ModelSet(ModelSet&& other) noexcept : slots_(std::move(other.slots_)) { adopt(); }

ModelSet& ModelSet::operator=(ModelSet&& other) noexcept {
    if (this != &other) slots_ = std::move(other.slots_);
    adopt();
    return *this;
}

Model* ModelSet::find(std::string_view name) const {
    for (const Slot& slot : slots_)
        if (slot.model->name() == name) return slot.model.get();
    return nullptr;
}

void ModelSet::adopt() noexcept {
    for (Slot& slot : slots_) slot.model->set_ = this;
}

}  // namespace vnrsim
