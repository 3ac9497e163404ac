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

struct Entry {
    std::shared_ptr<SerialLine> serial;
    std::shared_ptr<platform::HidDevice> hid;
};

struct Table {
    platform::ReentrantLock lock;
    std::map<std::int32_t, Entry> devices;
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

std::int32_t following(std::int32_t handle) {
    return handle > std::numeric_limits<std::int32_t>::max() - kHandleStep ? kFirstHandle : handle + kHandleStep;
}

std::int32_t add(Entry entry) {
    Table& t = table();
    const Hold hold(t);
    std::int32_t handle = t.next;
    while (t.devices.contains(handle)) handle = following(handle);
    t.next = following(handle);
    t.devices.emplace(handle, std::move(entry));
    return handle;
}

Entry find(std::int32_t icdev) {
    Table& t = table();
    const Hold hold(t);
    const auto found = t.devices.find(icdev);
    return found == t.devices.end() ? Entry{} : found->second;
}

}  // namespace

std::int32_t add_serial_port(std::unique_ptr<platform::SerialPort> port, const platform::SerialTimeouts& timeouts) {
    return add(Entry{std::make_shared<SerialLine>(std::move(port), timeouts), nullptr});
}

std::int32_t add_hid_device(std::unique_ptr<platform::HidDevice> device) { return add(Entry{nullptr, std::move(device)}); }

std::shared_ptr<SerialLine> serial_line(std::int32_t icdev) { return find(icdev).serial; }

std::shared_ptr<platform::HidDevice> hid_device(std::int32_t icdev) { return find(icdev).hid; }

bool close_device(std::int32_t icdev) {
    Entry entry;
    {
        Table& t = table();
        const Hold hold(t);
        const auto found = t.devices.find(icdev);
        if (found == t.devices.end()) return false;
        entry = std::move(found->second);
        t.devices.erase(found);
    }
    return entry.serial ? entry.serial->close() : entry.hid->close();
}

}  // namespace vnr::link
