// sim/include/vnrsim/control_server.h: serves the control commands (vnrsim/control.h) on a Unix-domain
// stream socket and/or on a second pseudo-terminal, for programs that can only open a serial port
// (a Windows program under Wine sees it as a COM port).
//
// Both carry text lines: a command ends at LF, CR or CR LF (empty lines are passed over), and each
// command gets one answer line ending in LF. The socket takes several clients at once; the pty is raw,
// held open by the server like the reader's, and serves whoever opens it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "vnrsim/control.h"

namespace vnrsim {

class ControlServer {
public:
    struct Options {
        std::filesystem::path socket;  // listen here; not served when empty
        std::filesystem::path link;    // make a pty and link it here; not served when empty
    };

    // Starts serving `control`, which must outlive the server. A stale socket file at the path (nobody
    // listening) is replaced; a live one or another kind of file is refused. Throws std::runtime_error
    // or std::system_error.
    ControlServer(Control& control, Options options);

    // Stops the thread; removes the socket file and the link.
    ~ControlServer();

    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    // The control pty's slave path; empty when no pty is served.
    std::string pty_path() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vnrsim
