// src/core/link/serial_link.h: core/link. Frames over a serial port.
// Calls platform/serial_port.h and the device table; called by core/exchange.cpp and core/session.cpp.
#pragma once

#include "core/frame.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace vnr::link {

inline constexpr unsigned kLastPortIndex = 31;     // COM32
inline constexpr std::uint32_t kQueueSize = 1024;  // both driver queues
// Reads for the start byte before a reply counts as absent.
inline constexpr int kStartByteReads = 10;

// Opens serial port `port` (its low byte is the index, 0 for COM1) at `baud` (9600, 19200, 38400,
// 57600 or 115200; anything else opens at 9600), with the port time-outs of an open. Returns the
// handle, or -19 (index above 31), -20 (access denied or in use), -21 (cannot open), -22 (state
// cannot be read), -23 (state or event mask cannot be set). Sets nComMode to serial on a handle
// above 1, else to none. Writes nothing to the log.
std::int32_t com_open_reader(std::int16_t port, std::int32_t baud);

// Builds the frame of `command` (split form when `mode` is 1, else plain) and writes it after purging
// both queues. 0, -24 (the write failed) or -37 (the command is too long for a frame).
std::int16_t com_send_frame(std::int32_t icdev, std::uint8_t mode, std::span<const std::uint8_t> command);

// Receives one frame: at most ten reads for the start byte, then the head, then the rest, each byte
// within read_timeout_ms of the one before. Leaves the plain form in `buffer` (kFrameBufferSize
// bytes) and its length in `total`. 0, -17, -25, -34, -35 or -36.
std::int16_t com_receive_frame(std::int32_t icdev, std::size_t& total, std::span<std::uint8_t> buffer);

// Resizes the queues and puts the longer port time-outs in place (100 ms between bytes, 5000 ms for
// a read or a write). 0 when the port took the time-outs, else 1.
std::int16_t resetup_comm(std::int32_t icdev);

}  // namespace vnr::link
