// sim/include/vnrsim/help.h: the simulator's help, made from one source: the reader's own deck keys and
// control commands (their texts stand in sim/src/help.cpp) and each model's ModelHelp (vnrsim/model.h),
// in the models' order. vnr-sim --help prints help_text(); the control command "help" answers with
// help_line(); the comments of deck.h and control.h point here instead of repeating it.
#pragma once

#include <string>

#include "vnrsim/model.h"

namespace vnrsim {

// The deck format and the control commands, of the reader and of each of `models`, with what they do:
// lines of at most about 100 columns, each ending in a line feed.
std::string help_text(const ModelSet& models);

// The syntax of every control command, the reader's and then each model's, on one line.
std::string help_line(const ModelSet& models);

// One model's title and control commands with what they do, on one line.
std::string help_line(const Model& model);

}  // namespace vnrsim
