// sim/include/vnrsim/control.h: the control commands, one line in, one answer line out. The same parser
// serves the control socket, the control pty and tests in-process.
//
// A line's first word names the command, in any case: one of the reader's own (fault, clear, faults,
// form, baud, version, reply, stats, history, help, quit), else a model's name, which hands the line to
// that model (vnrsim/model.h). "clear" also clears every model's failures, "clear NAME" one model's,
// and "faults" lists them after the reader's faults. What each command takes and does stands in the
// help (vnrsim/help.h): vnr-sim --help prints it, and "help" answers with every command's syntax.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "vnrsim/reader.h"

namespace vnrsim {

class Control {
public:
    // Commands act on `reader`; `on_quit` is called by "quit" (after which the answer is still given).
    explicit Control(Reader& reader, std::function<void()> on_quit = {});

    // Carries out one command line (without its line end) and returns the answer line, without a line
    // end: "ok" with what there is to say, or "error: " and why. Never throws for bad input.
    std::string execute(std::string_view line);

private:
    Reader& reader_;
    std::function<void()> on_quit_;
};

}  // namespace vnrsim
