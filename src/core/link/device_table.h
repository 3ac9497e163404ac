// src/core/link/device_table.h: core/link. What stands behind an icdev.
// Each open device gets a handle number of its own (2 or above, never 0 or 1), so a handle that the
// caller made up or already closed reaches no device: the operation on it fails as a system call on a
// bad handle would, and a serial handle used on the HID road (or the reverse) fails the same way. The
// table has its own small lock because ReSetupComm looks up a port outside the library lock; a
// looked-up device stays alive while the caller holds it.
#pragma once

#include "platform/hid_device.h"
#include "platform/serial_port.h"

#include <cstdint>
#include <memory>

namespace vnr::link {

// Takes ownership of an open port or HID interface and gives it a handle.
std::int32_t add_serial_port(std::unique_ptr<platform::SerialPort> port);
std::int32_t add_hid_device(std::unique_ptr<platform::HidDevice> device);

// The device behind `icdev`, or nullptr when the handle names no open device of that kind.
std::shared_ptr<platform::SerialPort> serial_port(std::int32_t icdev);
std::shared_ptr<platform::HidDevice> hid_device(std::int32_t icdev);

// Closes the device behind `icdev` and forgets the handle. False when the handle names no open device
// or the system refused the close.
bool close_device(std::int32_t icdev);

}  // namespace vnr::link
