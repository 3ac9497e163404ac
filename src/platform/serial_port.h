// src/platform/serial_port.h: platform. A serial port, opened exclusively, 8N1, raw bytes.
// Backends: posix/serial_port.cpp (termios), win32/serial_port.cpp (the Comm API).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vnr::platform {

// How a port operation failed, in the seam's own small vocabulary; core/link turns it into statuses.
enum class SerialError {
    none,
    access_denied,  // the system refused access, or another program holds the port
    open_failed,    // the port cannot be opened for any other reason (missing, not a device, ...)
    state_read,     // the port's line state cannot be read (not a serial port)
    state_set,      // the line state or the event mask cannot be set
    io_failed,      // a read or write failed (device gone, handle broken)
};

// The port's own time-outs, with the meaning of the Windows COMMTIMEOUTS fields:
// a read of n bytes returns when n bytes have come, when `read_interval_ms` pass between two bytes,
// or when `read_total_constant_ms + read_total_multiplier_ms * n` have passed since it began,
// whichever is first, with whatever has come (possibly nothing). A write gives up after
// `write_total_constant_ms + write_total_multiplier_ms * n`.
struct SerialTimeouts {
    std::uint32_t read_interval_ms = 0;
    std::uint32_t read_total_multiplier_ms = 0;
    std::uint32_t read_total_constant_ms = 0;
    std::uint32_t write_total_multiplier_ms = 0;
    std::uint32_t write_total_constant_ms = 0;
};

// Owns one open serial port; the destructor closes it.
class SerialPort {
public:
    virtual ~SerialPort() = default;

    // Sizes the driver queues (SetupComm) and sets the port's time-outs (SetCommTimeouts).
    // False when the port refused the time-outs.
    virtual bool setup(std::uint32_t in_queue, std::uint32_t out_queue, const SerialTimeouts& timeouts) noexcept = 0;

    // Empties both queues and aborts pending transfers (PurgeComm with all four flags).
    virtual bool purge() noexcept = 0;

    // Writes all `size` bytes. False when the write failed or timed out.
    virtual bool write(const std::uint8_t* bytes, std::size_t size) noexcept = 0;

    // Reads up to `size` bytes under the port's time-outs. Returns the count read (0 when the time-out
    // passed with nothing), or -1 when the read failed.
    virtual long read(std::uint8_t* bytes, std::size_t size) noexcept = 0;

    // Closes the port now. False when the system refused the close; later calls fail.
    virtual bool close() noexcept = 0;
};

// Opens `name` (from serial_port_name) for reading and writing, exclusively, and configures it:
// `baud` bits per second, 8 data bits, no parity, one stop bit, binary, DTR and RTS on, no hardware
// or software flow control; queues of `queue_size` bytes; `timeouts`; the transmit-empty event mask.
// On failure returns nullptr and sets `error` (access_denied, open_failed, state_read or state_set);
// nothing stays open.
std::unique_ptr<SerialPort> open_serial_port(const std::string& name, std::uint32_t baud, std::uint32_t queue_size,
                                             const SerialTimeouts& timeouts, SerialError& error);

}  // namespace vnr::platform
