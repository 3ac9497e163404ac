// sim/include/vnrsim/control.h: the control commands, one line in, one answer line out. The same parser
// serves the control socket, the control pty and tests in-process.
//
// Commands (keywords in any case; an answer is "ok ..." or "error: ..."):
//   fault noise N [WHEN]        N bytes of noise before the next reply frame(s)
//   fault silence [WHEN]        no reply
//   fault check [WHEN]          a wrong check byte
//   fault end [WHEN]            a wrong end byte
//   fault cut [N] [WHEN]        only the first N bytes of the reply frame (default: half of it); a
//                               number right after "cut" is always N, so "fault cut 3" cuts once
//   fault hangup                the line goes dead until cleared ("clear" or "clear hangup")
//       WHEN is "once" (the default), "always" (until cleared) or a count of replies.
//   clear [FAULT]               clears every fault (the identity card failure too), or one: noise,
//                               silence, check, end, cut, hangup, idcard
//   clear replies               drops every canned reply
//   clear history               forgets received commands and zeroes the counters
//   faults                      lists the standing faults
//   idcard                      which identity card lies on the reader (none, resident, foreign) and
//                               the failure standing, if any
//   idcard resident|foreign     puts the deck's resident or foreign card on the reader (in place of
//                               the one lying there)
//   idcard off                  takes the card off the reader
//   idcard fail SW [WHEN]       the identity card module answers the triple SW (six hex digits,
//                               "000041") to every command with a module reply, card or not
//   form split|plain            the form of later replies
//   baud N                      the emulated wire rate of later replies (0: no pacing)
//   version 0|1 TEXT            the version text of module 0 or 1 (the rest of the line, UTF-8)
//   reply HEXCMD STATUS [HEXDATA] [times N]
//                               a canned reply ahead of all others; STATUS is hex (S1S2, "0" to "FFFF")
//   stats                       the counters
//   history [N]                 the last N received commands (default 10) as hex, oldest first
//   help                        the list of commands
//   quit                        asks the simulator to stop
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
