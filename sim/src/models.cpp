// sim/src/models.cpp: the registry: every model of a reader, in the order in which the reader asks
// them (see vnrsim/model.h). A model is added with its folder under sim/models/ and one line here.
#include "vnrsim/model.h"

#include "models/idcard/idcard_module.h"
#include "models/pinpad/pin_pad.h"
#include "models/reader/reader_model.h"
#include "models/stripe/stripe_head.h"

namespace vnrsim {

std::span<const ModelEntry> registered_models() {
    static constexpr ModelEntry kModels[] = {
        model_entry<IdCardModule>(),
        model_entry<ReaderModel>(),
        model_entry<StripeHead>(),
        model_entry<PinPad>(),
    };
    return kModels;
}

}  // namespace vnrsim
