// src/platform/win32/serial_port.cpp: platform (Windows). SerialPort over the Comm API. The port's
// time-outs are the system's own COMMTIMEOUTS, which serial_port.h describes.
#include "platform/serial_port.h"

#include "platform/win32/unique_handle.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <limits>

namespace vnr::platform {

namespace {

// The rates that the reader speaks; any other request opens the port at 9600.
DWORD rate_of(std::uint32_t baud) {
    switch (baud) {
        case 19200:
        case 38400:
        case 57600:
        case 115200: return baud;
        default: return CBR_9600;
    }
}

bool set_timeouts(HANDLE port, const SerialTimeouts& timeouts) {
    COMMTIMEOUTS settings{};
    settings.ReadIntervalTimeout = timeouts.read_interval_ms;
    settings.ReadTotalTimeoutMultiplier = timeouts.read_total_multiplier_ms;
    settings.ReadTotalTimeoutConstant = timeouts.read_total_constant_ms;
    settings.WriteTotalTimeoutMultiplier = timeouts.write_total_multiplier_ms;
    settings.WriteTotalTimeoutConstant = timeouts.write_total_constant_ms;
    return ::SetCommTimeouts(port, &settings) != FALSE;
}

// The line settings of the reader: the rate, 8N1, binary, DTR and RTS on, no hardware or software
// flow control. Every other flag stays as the port had it.
void configure(DCB& state, std::uint32_t baud) {
    state.BaudRate = rate_of(baud);
    state.ByteSize = 8;
    state.Parity = NOPARITY;
    state.StopBits = ONESTOPBIT;
    state.fBinary = TRUE;
    state.fDtrControl = DTR_CONTROL_ENABLE;
    state.fRtsControl = RTS_CONTROL_ENABLE;
    state.fOutxCtsFlow = FALSE;
    state.fOutxDsrFlow = FALSE;
    state.fDsrSensitivity = FALSE;
    state.fOutX = FALSE;
    state.fInX = FALSE;
}

class Win32SerialPort final : public SerialPort {
public:
    explicit Win32SerialPort(UniqueFileHandle port) noexcept : port_(port.release()) {}
    ~Win32SerialPort() override { close(); }

    bool setup(std::uint32_t in_queue, std::uint32_t out_queue, const SerialTimeouts& timeouts) noexcept override {
        const HANDLE port = port_.load();
        // The queue sizes are a recommendation to the driver; only the time-outs decide the result.
        ::SetupComm(port, in_queue, out_queue);
        return set_timeouts(port, timeouts);
    }

    bool purge() noexcept override {
        return ::PurgeComm(port_.load(), PURGE_TXABORT | PURGE_RXABORT | PURGE_TXCLEAR | PURGE_RXCLEAR) != FALSE;
    }

    bool write(const std::uint8_t* bytes, std::size_t size) noexcept override {
        const HANDLE port = port_.load();
        while (size > 0) {
            const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, std::numeric_limits<DWORD>::max()));
            DWORD written = 0;
            // A write that ends with nothing written ran into the port's write time-out.
            if (::WriteFile(port, bytes, chunk, &written, nullptr) == FALSE || written == 0) return false;
            bytes += written;
            size -= written;
        }
        return true;
    }

    long read(std::uint8_t* bytes, std::size_t size) noexcept override {
        const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(size, std::numeric_limits<long>::max()));
        DWORD count = 0;
        if (::ReadFile(port_.load(), bytes, wanted, &count, nullptr) == FALSE) return -1;
        return static_cast<long>(count);
    }

    bool close() noexcept override {
        const HANDLE port = port_.exchange(INVALID_HANDLE_VALUE);
        return port != INVALID_HANDLE_VALUE && ::CloseHandle(port) != FALSE;
    }

private:
    // Atomic: setup() may come from a thread that holds no lock while another closes the port. A
    // closed port holds INVALID_HANDLE_VALUE, on which every call fails.
    std::atomic<HANDLE> port_;
};

}  // namespace

std::unique_ptr<SerialPort> open_serial_port(const std::string& name, std::uint32_t baud, std::uint32_t queue_size,
                                             const SerialTimeouts& timeouts, SerialError& error) {
    // No sharing: while the port is open here, every other opener is refused with access denied.
    UniqueFileHandle port{::CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr)};
    if (!port) {
        error = ::GetLastError() == ERROR_ACCESS_DENIED ? SerialError::access_denied : SerialError::open_failed;
        return nullptr;
    }
    ::SetupComm(port.get(), queue_size, queue_size);
    // The time-outs are set before the state is read and their refusal is not an open failure: a
    // port that takes no time-outs fails at the state that follows, if at all.
    set_timeouts(port.get(), timeouts);
    DCB state{};
    state.DCBlength = sizeof state;
    if (::GetCommState(port.get(), &state) == FALSE) {
        error = SerialError::state_read;
        return nullptr;
    }
    configure(state, baud);
    if (::SetCommState(port.get(), &state) == FALSE || ::SetCommMask(port.get(), EV_TXEMPTY) == FALSE) {
        error = SerialError::state_set;
        return nullptr;
    }
    error = SerialError::none;
    return std::make_unique<Win32SerialPort>(std::move(port));
}

}  // namespace vnr::platform
