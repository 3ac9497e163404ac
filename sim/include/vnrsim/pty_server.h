// sim/include/vnrsim/pty_server.h: serves a Reader on a pseudo-terminal, as a reader on a serial port.
//
// A background thread reads what the host writes to the slave, hands it to the Reader and writes the
// reply back, paced at the Reader's baud rate: 10 bits a byte (start, 8 data, stop), against an
// absolute clock, in pieces of about 1 ms, so a reply of n bytes ends n*10/baud seconds after it
// starts. A reply starts once its whole command has arrived; a reply that a model left pending
// (vnrsim/reader.h) starts when it is settled: the server polls the Reader at least every 10 ms, and
// at the time the Reader names, so a swipe on the control channel is answered within about 10 ms and a
// wait that runs out on time.
//
// The slave is raw before any host opens it, and the server holds a slave descriptor of its own (with no
// lock on it) for as long as the pty lives, so hosts may come and go; a host may lock the slave
// exclusively with flock(). Bytes a host leaves unread stay in the pty for the next host (which purges
// its queues before it writes).
//
// Hangup: while the Reader's hangup fault stands, the pty is closed. The host's open descriptor then
// reads end-of-file and fails to write, the slave path vanishes and links to it dangle (opening them
// fails). Clearing the fault (Reader::clear_faults(), Reader::clear(Fault::hangup), or "clear" on the
// control channel) makes a new pty, usually with another slave path, and points the links at it: the
// host must open the port again, as after a cable is plugged back in. The server notices a change of
// the fault within about 10 ms.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vnrsim/reader.h"

namespace vnrsim {

class PtyServer {
public:
    struct Options {
        // Symbolic links made to the slave (parent folders created); removed when the server stops.
        std::vector<std::filesystem::path> links;
        // Called from the server thread with one line per event (bytes in, bytes out, hangup); none if empty.
        std::function<void(const std::string&)> log;
    };

    // Opens the pty, makes the links and starts serving `reader`, which must outlive the server.
    // Throws std::system_error when no pty can be had, std::runtime_error when a link cannot be made.
    explicit PtyServer(Reader& reader, Options options = {});

    // Stops the thread, closes the pty and removes the links (only those still pointing at it).
    ~PtyServer();

    PtyServer(const PtyServer&) = delete;
    PtyServer& operator=(const PtyServer&) = delete;

    // The slave's path now (e.g. "/dev/pts/5"); empty while hung up.
    std::string slave_path() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Where the host looks for COM port `number` (1 for COM1): $VNR32_PREFIX/dosdevices/com<number>, the
// prefix defaulting to $HOME/.vnr32. Throws std::runtime_error when neither variable gives a folder.
std::filesystem::path com_port_link(int number);

}  // namespace vnrsim
