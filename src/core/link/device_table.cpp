// src/core/link/device_table.cpp: core/link. Handles of the open devices.
#include "core/link/device_table.h"

#include "platform/lock.h"

#include <limits>
#include <map>

namespace vnr::link {

namespace {

// Handle numbers step by 4 from here, like system handles, and are not reused until they wrap, so a
// stale handle does not reach the next device opened.
constexpr std::int32_t kFirstHandle = 0x100;
constexpr std::int32_t kHandleStep = 4;

struct Table {
    platform::ReentrantLock lock;
    std::map<std::int32_t, std::shared_ptr<platform::SerialPort>> serial_ports;
    std::int32_t next = kFirstHandle;
};

Table& table() {
    static Table instance;
    return instance;
}

class Hold {
public:
    explicit Hold(Table& t) : table_(t) { table_.lock.enter(); }
    ~Hold() { table_.lock.leave(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    Table& table_;
};

}  // namespace

std::int32_t add_serial_port(std::unique_ptr<platform::SerialPort> port) {
    Table& t = table();
    const Hold hold(t);
    std::int32_t handle = t.next;
    while (t.serial_ports.contains(handle))
        handle = handle > std::numeric_limits<std::int32_t>::max() - kHandleStep ? kFirstHandle : handle + kHandleStep;
    t.next = handle > std::numeric_limits<std::int32_t>::max() - kHandleStep ? kFirstHandle : handle + kHandleStep;
    t.serial_ports.emplace(handle, std::shared_ptr<platform::SerialPort>(std::move(port)));
    return handle;
}

std::shared_ptr<platform::SerialPort> serial_port(std::int32_t icdev) {
    Table& t = table();
    const Hold hold(t);
    const auto found = t.serial_ports.find(icdev);
    return found == t.serial_ports.end() ? nullptr : found->second;
}

bool close_device(std::int32_t icdev) {
    std::shared_ptr<platform::SerialPort> port;
    {
        Table& t = table();
        const Hold hold(t);
        const auto found = t.serial_ports.find(icdev);
        if (found == t.serial_ports.end()) return false;
        port = std::move(found->second);
        t.serial_ports.erase(found);
    }
    return port->close();
}

}  // namespace vnr::link
