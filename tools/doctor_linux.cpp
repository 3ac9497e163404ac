// tools/doctor_linux.cpp: the command-line tool, Linux. What `vnr doctor` sees of the system: the readers'
// hidraw nodes (from sysfs) and who may open them (mode, owner, group, the access ACL that udev's uaccess
// tag leaves), the udev rule, and the serial ports, those mapped below $VNR32_PREFIX/dosdevices and the
// machine's own. Every path can be taken below a prepared tree (--root) for tests.
#include "doctor.h"
#include "vnr_32.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace vnr::tool::doctor {

namespace fs = std::filesystem;

namespace {

constexpr const char* kReaderIds = "23a4:0213 or 23a4:0219";
// udev applies uaccess in 73-seat-late.rules: a rule that tags later has no effect.
constexpr int kUaccessRuleLimit = 73;
constexpr int kComPorts = 32;
constexpr const char* kRuleName = "70-vnr32.rules";
constexpr const char* kRuleDirs[] = {"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/local/lib/udev/rules.d",
                                     "/usr/lib/udev/rules.d", "/lib/udev/rules.d"};
// The kernel's ACL entry tags and permission bits, as the xattr system.posix_acl_access holds them.
constexpr std::uint16_t kAclUser = 0x02, kAclMask = 0x10, kAclReadWrite = 0x06;

std::string text_of(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

std::string user_name() {
    const passwd* user = ::getpwuid(::geteuid());
    return user != nullptr ? user->pw_name : "uid " + std::to_string(::geteuid());
}

std::string group_name(gid_t gid) {
    const group* entry = ::getgrgid(gid);
    return entry != nullptr ? entry->gr_name : std::to_string(gid);
}

std::string owner_name(uid_t uid) {
    const passwd* user = ::getpwuid(uid);
    return user != nullptr ? user->pw_name : std::to_string(uid);
}

bool in_group(gid_t gid) {
    if (::getegid() == gid) return true;
    gid_t groups[256];
    const int count = ::getgroups(256, groups);
    return std::find(groups, groups + std::max(count, 0), gid) != groups + std::max(count, 0);
}

// "crw-rw---- root:plugdev"
std::string mode_text(const struct stat& info) {
    std::string text = S_ISCHR(info.st_mode) ? "c" : S_ISREG(info.st_mode) ? "-" : "?";
    const char* letters = "rwxrwxrwx";
    for (int bit = 0; bit < 9; ++bit) text += (info.st_mode & (0400 >> bit)) ? letters[bit] : '-';
    return text + " " + owner_name(info.st_uid) + ":" + group_name(info.st_gid);
}

// Whether the node's access ACL has an entry for this user that allows reading and writing (what udev's
// uaccess tag gives the user of the active local session), and whether it has any ACL at all.
struct AclView {
    bool present = false;
    bool grants_user = false;
};
AclView acl_of(const std::string& path) {
    AclView view;
    std::uint8_t data[1024];
    const ssize_t size = ::getxattr(path.c_str(), "system.posix_acl_access", data, sizeof data);
    if (size < 4) return view;
    view.present = true;
    std::uint16_t user_bits = 0, mask = 0xFFFF;
    for (ssize_t at = 4; at + 8 <= size; at += 8) {  // after the version: {tag u16, perm u16, id u32}
        std::uint16_t tag, perm;
        std::uint32_t id;
        std::memcpy(&tag, data + at, 2);
        std::memcpy(&perm, data + at + 2, 2);
        std::memcpy(&id, data + at + 4, 4);
        if (tag == kAclUser && id == ::geteuid()) user_bits = perm;
        if (tag == kAclMask) mask = perm;
    }
    view.grants_user = (user_bits & mask & kAclReadWrite) == kAclReadWrite;
    return view;
}

struct Rule {
    std::string path;
    int number;
};

// The rule files that name the readers' vendor, by file name as udev takes them (a file in /etc hides one
// of the same name further down).
std::vector<Rule> reader_rules(const Options& options) {
    std::map<std::string, Rule> by_name;
    for (const char* dir : kRuleDirs) {
        std::error_code error;
        for (fs::directory_iterator entry(options.root + dir, error), end; !error && entry != end; entry.increment(error)) {
            const std::string name = entry->path().filename().string();
            if (entry->path().extension() != ".rules" || by_name.count(name)) continue;
            if (lower(text_of(entry->path().string())).find("23a4") == std::string::npos) continue;
            by_name[name] = {entry->path().string(), std::atoi(name.c_str())};
        }
    }
    std::vector<Rule> rules;
    for (auto& [name, rule] : by_name) rules.push_back(rule);
    return rules;
}

// Where the rule that came with this tool lies: <prefix>/lib/udev/rules.d beside <prefix>/bin/vnr.
std::string shipped_rule() {
    std::error_code error;
    const fs::path exe = fs::read_symlink("/proc/self/exe", error);
    if (!error) {
        const fs::path rule = exe.parent_path().parent_path() / "lib/udev/rules.d" / kRuleName;
        if (fs::exists(rule, error)) return rule.string();
    }
    return {};
}

std::string install_rule_fix() {
    const std::string rule = shipped_rule();
    return "sudo install -m 0644 " + (rule.empty() ? std::string("packaging/") + kRuleName : rule) +
           " /etc/udev/rules.d/ && sudo udevadm control --reload-rules && "
           "sudo udevadm trigger --subsystem-match=hidraw (or replug the reader)" +
           (rule.empty() ? " from the top of the source tree" : "");
}

struct Node {
    std::string path;
    std::string ids;
};

// The hidraw nodes whose HID ids are the readers', from each node's uevent in sysfs.
std::vector<Node> reader_nodes(const Options& options, bool& sysfs_seen) {
    std::vector<Node> nodes;
    std::error_code error;
    const std::string class_dir = options.root + "/sys/class/hidraw";
    sysfs_seen = fs::is_directory(class_dir, error);
    for (fs::directory_iterator entry(class_dir, error), end; !error && entry != end; entry.increment(error)) {
        const std::string uevent = lower(text_of((entry->path() / "device" / "uevent").string()));
        const std::size_t at = uevent.find("hid_id=");
        if (at == std::string::npos) continue;
        // HID_ID=BUS:VVVVVVVV:PPPPPPPP
        const std::string id = uevent.substr(at + 7, 22);
        if (id.size() < 22 || id.substr(5, 8) != "000023a4") continue;
        const std::string product = id.substr(18, 4);
        if (product != "0213" && product != "0219") continue;
        nodes.push_back({options.root + "/dev/" + entry->path().filename().string(), "23a4:" + product});
    }
    std::sort(nodes.begin(), nodes.end(), [](const Node& a, const Node& b) { return a.path < b.path; });
    return nodes;
}

// An open of `path` for reading and writing, as the library opens it, and whether another holder has
// it (the library's advisory lock). errno is kept for a failed open.
enum class OpenResult { opened, refused, held, failed };
OpenResult try_open(const std::string& path, int flags, int& error, bool* is_tty = nullptr) {
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | flags);
    if (fd < 0) {
        error = errno;
        return error == EACCES || error == EPERM ? OpenResult::refused : OpenResult::failed;
    }
    termios settings{};
    if (is_tty != nullptr) *is_tty = ::tcgetattr(fd, &settings) == 0;
    const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(fd);
    return held ? OpenResult::held : OpenResult::opened;
}

// Why this user may not open `path`, and what would let them.
void explain_denied(const std::string& path, const std::string& subject, bool rule_installed,
                    std::vector<Finding>& findings) {
    struct stat info{};
    ::stat(path.c_str(), &info);
    const AclView acl = acl_of(path);
    const std::string group = group_name(info.st_gid);
    std::string text = user_name() + " may not open it (" + mode_text(info) +
                       (acl.present ? ", an ACL without this user" : ", no ACL") +
                       (in_group(info.st_gid) ? "" : ", not in group " + group) + ")";
    std::string fix;
    if (!rule_installed) {
        fix = "install the udev rule: " + install_rule_fix();
    } else if (group == "plugdev") {
        fix = "sudo usermod -aG plugdev " + user_name() +
              " and log in again; or work at the machine's own seat, whose user the rule's uaccess tag gives an ACL "
              "(not over SSH or in a container)";
    } else {
        fix = "the rule has not reached this node yet: sudo udevadm control --reload-rules && sudo udevadm trigger "
              "--subsystem-match=hidraw, or replug the reader";
    }
    findings.push_back({Level::problem, subject, text, fix});
}

void look_at_usb(const Options& options, std::vector<Finding>& findings) {
    const std::vector<Rule> rules = reader_rules(options);
    bool rule_ok = false;
    for (const Rule& rule : rules) {
        if (rule.number >= kUaccessRuleLimit) {
            findings.push_back({Level::problem, "udev rule", rule.path + " comes after 73-seat-late.rules: its uaccess tag "
                                "has no effect", "rename it to a number below 73, e.g. " + std::string(kRuleName)});
        } else {
            findings.push_back({Level::ok, "udev rule", rule.path + " gives the seat's user and group plugdev the readers",
                                ""});
            rule_ok = true;
        }
    }
    if (rules.empty())
        findings.push_back({Level::problem, "udev rule", std::string("none gives access to the readers (") + kReaderIds +
                            "): only root may open them", install_rule_fix()});

    bool sysfs_seen = false;
    const std::vector<Node> nodes = reader_nodes(options, sysfs_seen);
    if (!sysfs_seen)
        findings.push_back({Level::note, "USB", "the kernel shows no hidraw interfaces here (no /sys/class/hidraw: a "
                            "container, or a kernel without hidraw)", ""});
    else if (nodes.empty())
        findings.push_back({Level::note, "USB", std::string("no reader plugged in (no hidraw node with ids ") + kReaderIds +
                            ")", ""});
    for (const Node& node : nodes) {
        const std::string subject = "USB reader " + node.ids + " at " + node.path;
        int error = 0;
        switch (try_open(node.path, 0, error)) {
            case OpenResult::opened: {
                struct stat info{};
                ::stat(node.path.c_str(), &info);
                findings.push_back({Level::ok, subject, user_name() + " may open it (" + mode_text(info) + ")", ""});
                break;
            }
            case OpenResult::held:
                findings.push_back({Level::problem, subject, "another program holds it",
                                    "close the program that uses the reader (fuser -v " + node.path + " names it)"});
                break;
            case OpenResult::refused: explain_denied(node.path, subject, rule_ok, findings); break;
            case OpenResult::failed:
                findings.push_back({Level::problem, subject, std::string("cannot be opened: ") + std::strerror(error),
                                    error == ENOENT ? "the node is missing: replug the reader" : "replug the reader"});
                break;
        }
    }
}

std::string prefix_folder() {
    if (const char* prefix = std::getenv("VNR32_PREFIX"); prefix != nullptr && *prefix != '\0') return prefix;
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "") + "/.vnr32";
}

// A serial port's device: who may open it, whether it is a serial port and whether another holds it.
// True when this user can use it.
bool look_at_port(const std::string& subject, const std::string& device, Level denied_level,
                  std::vector<Finding>& findings) {
    int error = 0;
    bool is_tty = false;
    struct stat info{};
    ::stat(device.c_str(), &info);
    switch (try_open(device, O_NOCTTY, error, &is_tty)) {
        case OpenResult::opened:
            if (!is_tty) {
                findings.push_back({Level::problem, subject, device + " is no serial port",
                                    "point the link at the reader's serial device (/dev/ttyUSB0, /dev/ttyS0, ...)"});
                return false;
            }
            findings.push_back({Level::ok, subject, device + ": " + user_name() + " may open it (" + mode_text(info) + ")",
                                ""});
            return true;
        case OpenResult::held:
            findings.push_back({Level::problem, subject, device + ": another program holds it",
                                "close the program that uses the port (fuser -v " + device + " names it)"});
            return false;
        case OpenResult::refused:
            findings.push_back({denied_level, subject, device + ": " + user_name() + " may not open it (" + mode_text(info) +
                                ")", "sudo usermod -aG " + group_name(info.st_gid) + " " + user_name() +
                                " and log in again"});
            return false;
        case OpenResult::failed:
            findings.push_back({Level::problem, subject, device + ": " + std::strerror(error),
                                error == ENOENT ? "plug the adapter in, or correct the link" : "check the device"});
            return false;
    }
    return false;
}

void look_at_serial(const Options& options, std::vector<Finding>& findings, std::vector<int>& mapped) {
    const std::string dosdevices = prefix_folder() + "/dosdevices";
    bool any = false;
    for (int com = 1; com <= kComPorts; ++com) {
        const std::string link = dosdevices + "/com" + std::to_string(com);
        struct stat info{};
        if (::lstat(link.c_str(), &info) != 0) continue;
        any = true;
        const std::string subject = "COM" + std::to_string(com) + " (" + link + ")";
        std::string device = link;
        if (S_ISLNK(info.st_mode)) {
            std::error_code error;
            const fs::path target = fs::read_symlink(link, error);
            device = target.is_absolute() ? target.string() : (fs::path(dosdevices) / target).string();
            if (!fs::exists(device, error)) {
                findings.push_back({Level::problem, subject, "links to " + device + ", which does not exist",
                                    "plug the adapter in, or ln -sfn /dev/ttyUSB0 " + link});
                continue;
            }
        }
        if (look_at_port(subject, device, Level::problem, findings)) mapped.push_back(com);
    }
    if (!any)
        findings.push_back({Level::note, "serial", "no port mapped below " + dosdevices +
                            ": COMn means /dev/ttyS(n-1) (map one with ln -s /dev/ttyUSB0 " + dosdevices + "/com1)", ""});

    // The machine's own ports: USB adapters, and the built-in ones that have a UART behind them.
    std::vector<std::string> devices;
    std::error_code error;
    for (fs::directory_iterator entry(options.root + "/dev", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.rfind("ttyUSB", 0) == 0 || name.rfind("ttyACM", 0) == 0) {
            devices.push_back(entry->path().string());
        } else if (name.rfind("ttyS", 0) == 0) {
            const std::string type = text_of(options.root + "/sys/class/tty/" + name + "/type");
            if (!type.empty() && std::atoi(type.c_str()) != 0) devices.push_back(entry->path().string());
        }
    }
    std::sort(devices.begin(), devices.end());
    for (const std::string& device : devices) look_at_port("serial port", device, Level::note, findings);
}

}  // namespace

void look_at_system(const Options& options, std::vector<Finding>& findings, std::vector<int>& mapped_ports) {
    look_at_usb(options, findings);
    look_at_serial(options, findings, mapped_ports);
}

std::string library_folder() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&device_open), &info) == 0 || info.dli_fname == nullptr) return {};
    std::error_code error;
    const fs::path path = fs::canonical(info.dli_fname, error);
    return error ? std::string() : path.parent_path().string() + "/";
}

}  // namespace vnr::tool::doctor
