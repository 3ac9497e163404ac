// tests/wine/control_port.h: the simulator's control channel, reached as a serial port under Wine:
// one command line out, one answer line back.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <string>

namespace vnr::wine_test {

class ControlPort {
public:
    explicit ControlPort(const char* port) {
        port_ = ::CreateFileA(port, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (port_ == INVALID_HANDLE_VALUE) return;
        DCB state{};
        state.DCBlength = sizeof state;
        // Raw bytes both ways: the port must not echo, translate or wait for whole lines.
        if (::GetCommState(port_, &state)) {
            state.BaudRate = CBR_115200;
            state.ByteSize = 8;
            state.Parity = NOPARITY;
            state.StopBits = ONESTOPBIT;
            state.fBinary = TRUE;
            state.fOutX = state.fInX = FALSE;
            ::SetCommState(port_, &state);
        }
        COMMTIMEOUTS timeouts{50, 0, 200, 0, 1000};
        ::SetCommTimeouts(port_, &timeouts);
    }
    ~ControlPort() {
        if (port_ != INVALID_HANDLE_VALUE) ::CloseHandle(port_);
    }
    ControlPort(const ControlPort&) = delete;
    ControlPort& operator=(const ControlPort&) = delete;

    bool is_open() const { return port_ != INVALID_HANDLE_VALUE; }

    // Sends one command line and reads the simulator's one-line answer; true when it begins "ok".
    bool send(const std::string& command, std::string* answer = nullptr) {
        if (!is_open()) return false;
        ::PurgeComm(port_, PURGE_RXABORT | PURGE_RXCLEAR);
        const std::string line = command + "\n";
        DWORD written = 0;
        if (!::WriteFile(port_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr) ||
            written != line.size())
            return false;
        std::string reply;
        const ULONGLONG deadline = ::GetTickCount64() + kAnswerWaitMs;
        while (::GetTickCount64() < deadline) {
            char c = 0;
            DWORD got = 0;
            if (!::ReadFile(port_, &c, 1, &got, nullptr)) return false;
            if (got == 0) continue;
            if (c == '\n') break;
            if (c != '\r') reply += c;
        }
        if (answer != nullptr) *answer = reply;
        return reply.rfind("ok", 0) == 0;
    }

    // Sends each line; true when every one was taken.
    bool send_all(std::initializer_list<const char*> lines) {
        bool all = true;
        for (const char* line : lines) all = send(line) && all;
        return all;
    }

    // The commands the reader received since the history was cleared, as "ok" lists them, without it.
    std::string received() {
        std::string answer;
        return send("history", &answer) && answer.size() > 3 ? answer.substr(3) : std::string();
    }

private:
    static constexpr ULONGLONG kAnswerWaitMs = 3000;
    HANDLE port_ = INVALID_HANDLE_VALUE;
};

}  // namespace vnr::wine_test
