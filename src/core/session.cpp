// src/core/session.cpp: core. The device session: finding and opening a reader, its version, closing.
#include "core/boundary.h"
#include "core/call.h"
#include "core/exchange.h"
#include "core/library_lock.h"
#include "core/link/device_table.h"
#include "core/link/hid_link.h"
#include "core/link/serial_link.h"
#include "core/log.h"
#include "core/state.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string>

namespace vnr::core {

namespace {

// The version reply's longest length; a longer one is refused.
constexpr std::size_t kVersionReplySize = 100;
constexpr std::uint8_t kLastModule = 1;  // 0 the reader, 1 its contactless module
// The wait of the open and of its version query.
constexpr std::uint32_t kOpenTimeoutMs = 100;

// What a successful open checks, outside the lock: that a reader answers the version query of its
// contactless module within the open's time-out. A link with nothing behind it is closed, giving 0.
std::int32_t confirm_reader(std::int32_t handle) {
    if (handle > 1) {
        log::line("---open succed ,device get version---");
        std::uint8_t length = 0;
        std::array<std::uint8_t, kVersionReplySize> text{};
        const std::int16_t status = device_version(handle, 1, &length, text.data());
        if (status != VNR_OK) {
            log::line("==> 获取非接触式模块版本错误! 错误码:%d ", status);
            device_close(handle);
            handle = 0;
        }
    }
    return handle;
}

std::int32_t open_serial(std::int16_t port, std::int32_t baud) {
    link_state().device_kind = 0;
    return link::com_open_reader(port, baud);
}

// The USB search: the first product id, then the second. Returns what the last attempt gave.
std::int32_t open_usb() {
    std::int32_t result = 0;
    for (const std::uint16_t product : {link::kFirstProductId, link::kSecondProductId}) {
        result = link::hid_open_reader(kOpenTimeoutMs, 0, link::kReaderVendorId, product);
        if (result > 1) {
            link_state().device_kind = 1;
            break;
        }
    }
    return result;
}

}  // namespace

std::int32_t open_reader(std::int16_t port, std::int32_t baud) {
    std::optional<LibraryGuard> guard(std::in_place);
    log::line("==> device_open(), port = [%d], baud = [%d]", port, baud);
    set_comm_timeout(kOpenTimeoutMs, 0);
    set_trans_mode(kSplitForm);
    std::int32_t result = open_usb();
    if (result <= 1) result = open_serial(port, baud);  // no USB reader: the serial port named
    guard.reset();

    result = confirm_reader(result);
    if (result <= 1) log::line("----device open fail, dev: %d!!!", result);
    set_comm_timeout(kStandingTimeoutMs, kStandingDelayMs);
    log::line("<== device_open(), hDev = [%d]", result);
    return result;
}

std::int32_t open_reader_by_name(const char* portname, std::int16_t port, std::int32_t baud) {
    std::optional<LibraryGuard> guard(std::in_place);
    const std::string name = portname != nullptr ? portname : "";
    log::line("==> device_open(), portname = [%s],port = [%d], baud = [%d]", name.c_str(), port, baud);
    std::string upper = name.substr(0, 3);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    set_comm_timeout(kOpenTimeoutMs, 0);
    set_trans_mode(kSplitForm);

    std::int32_t result = 0;
    if (upper == "USB") {
        result = open_usb();
    } else if (upper == "COM") {
        result = open_serial(port, baud);  // the digits of the name are not used
    } else {
        set_comm_timeout(kStandingTimeoutMs, kStandingDelayMs);
        return VNR_E_BAD_ARGUMENT;
    }
    guard.reset();

    result = confirm_reader(result);
    if (result <= 1) log::line("----device open fail!!!");
    set_comm_timeout(kStandingTimeoutMs, kStandingDelayMs);
    log::line("<== device_open(), hDev = [%d]", result);
    return result;
}

std::int16_t close_reader(std::int32_t icdev) {
    std::optional<LibraryGuard> guard(std::in_place);
    log::line("==> device_close, icdev = [%d]", icdev);
    if (icdev == -1) {
        log::line("<== device_close Fail!!!!");
        return VNR_E_GENERAL;
    }
    const bool closed = link::close_device(icdev);
    guard.reset();
    if (!closed) {
        log::line("<== device_close Fail!!!");
        return VNR_E_GENERAL;
    }
    log::line("<== device_close Succed");
    return VNR_OK;
}

std::int16_t reader_version(std::int32_t icdev, std::uint8_t module, std::uint8_t* length, std::uint8_t* text) {
    Call call("---device get version---");
    if (length == nullptr || text == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, "==>device_version(), text参数不合法 ");
    *length = 0;
    if (const auto refused = call.refused({handle_check(icdev, "==>device_version(), 句柄无效 "),
                                           argument_check(module <= kLastModule, "==>device_version(), module参数不合法 ")}))
        return *refused;
    const std::array<std::uint8_t, 3> command{0x31, 0x11, module};
    ReplyRoom room(kVersionReplySize);
    const Reply reply = call.exchange(icdev, command, room);
    if (reply.ok()) {
        std::copy(reply.data.begin(), reply.data.end(), text);
        *length = static_cast<std::uint8_t>(reply.data.size());
    }
    return call.finish_either(reply.status, "==> 获取读写器版本信息错误! 错误码:%d ", "==> 获取读写器版本信息成功!");
}

}  // namespace vnr::core

using vnr::core::guarded;

extern "C" {

VNR_API int32_t VNR_CALL device_open(int16_t port, int32_t baud) {
    return guarded<int32_t>([&] { return vnr::core::open_reader(port, baud); }, 0);
}

VNR_API int32_t VNR_CALL device_open_name(const char* portname, int16_t port, int32_t baud) {
    return guarded<int32_t>([&] { return vnr::core::open_reader_by_name(portname, port, baud); }, 0);
}

VNR_API int16_t VNR_CALL device_close(int32_t icdev) {
    return guarded<int16_t>([&] { return vnr::core::close_reader(icdev); });
}

VNR_API int16_t VNR_CALL device_gettype(uint8_t* kind) {
    // Outside the lock and without a log line: a plain read of the last open's kind.
    if (kind != nullptr) *kind = static_cast<uint8_t>(vnr::core::link_state().device_kind.load() & 0xFF);
    return VNR_OK;
}

VNR_API int16_t VNR_CALL device_version(int32_t icdev, uint8_t module, uint8_t* length, uint8_t* text) {
    return guarded<int16_t>([&] { return vnr::core::reader_version(icdev, module, length, text); });
}

}  // extern "C"
