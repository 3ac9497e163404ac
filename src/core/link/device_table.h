// src/core/link/device_table.h: core/link. What stands behind an icdev.
// Each open device gets a handle number of its own (2 or above, never 0 or 1), so a handle that the
// caller made up or already closed reaches no device: the operation on it fails as a system call on a
// bad handle would, and a serial handle used on the HID road (or the reverse) fails the same way. The
// table has its own small lock because ReSetupComm looks up a port outside the library lock; a
// looked-up device stays alive while the caller holds it.
#pragma once

#include "platform/hid_device.h"
#include "platform/serial_port.h"

#include "platform/lock.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace vnr::link {

// An open serial port and the time-outs it stands on: those of the open, then ReSetupComm's. A read
// that must end sooner than the port's read time-out allows shortens that time-out; the standing ones
// come back when the frame's reads are over (serial_link.cpp).
class SerialLine {
public:
    SerialLine(std::unique_ptr<platform::SerialPort> port, const platform::SerialTimeouts& standing) noexcept;
    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;

    // Sizes the port's queues and gives it the time-outs it stands on from now on. False when refused.
    bool setup(std::uint32_t queue_size, const platform::SerialTimeouts& standing) noexcept;
    // Reads up to `size` bytes, returning within `limit_ms` when one is given (a limit of 0 still lets
    // one read of a millisecond go): the port's read time-out is shortened when it is longer than that,
    // and stays so until end_reads(). As SerialPort::read: the count, 0 or -1.
    long read(std::uint8_t* bytes, std::size_t size, std::optional<std::uint32_t> limit_ms) noexcept;
    // Puts the standing time-outs back on the port when a read shortened them.
    void end_reads() noexcept;
    // Empties both queues; writes all bytes; closes the port (see platform/serial_port.h).
    bool purge() noexcept { return port_->purge(); }
    bool write(const std::uint8_t* bytes, std::size_t size) noexcept { return port_->write(bytes, size); }
    bool close() noexcept { return port_->close(); }

private:
    std::unique_ptr<platform::SerialPort> port_;
    platform::ReentrantLock lock_;  // ReSetupComm comes without the library lock
    platform::SerialTimeouts standing_;
    std::optional<std::uint32_t> shortened_ms_;  // the read time-out on the port while shortened
};

// Takes ownership of an open port (with the time-outs it was opened with) or HID interface and gives it
// a handle.
std::int32_t add_serial_port(std::unique_ptr<platform::SerialPort> port, const platform::SerialTimeouts& timeouts);
std::int32_t add_hid_device(std::unique_ptr<platform::HidDevice> device);

// The device behind `icdev`, or nullptr when the handle names no open device of that kind.
std::shared_ptr<SerialLine> serial_line(std::int32_t icdev);
std::shared_ptr<platform::HidDevice> hid_device(std::int32_t icdev);

// Closes the device behind `icdev` and forgets the handle. False when the handle names no open device
// or the system refused the close.
bool close_device(std::int32_t icdev);

}  // namespace vnr::link
