// tools/doctor.h: the command-line tool. What `vnr doctor` shares between its verb (doctor_command.cpp) and
// the look at the system, one file per system (doctor_linux.cpp, doctor_windows.cpp; tools/CMakeLists.txt
// takes the one that fits).
#pragma once

#include <string>
#include <vector>

namespace vnr::tool::doctor {

// How a finding stands: fine, worth knowing, or in the way of a working reader (then the exit status is 1).
enum class Level { ok, note, problem };

// One line of the report: what was looked at, what was found, and, for a problem, what to do.
struct Finding {
    Level level;
    std::string subject;
    std::string text;
    std::string fix;
};

struct Options {
    // Look at ROOT/sys, ROOT/dev, ROOT/etc, ROOT/lib, ROOT/usr and ROOT/run instead of the system's own, for
    // tests with a prepared tree; the library is then not asked to search for USB readers.
    std::string root;
    int baud = 115200;
};

// The USB readers (their hidraw nodes, who may open them, the udev rule) and the serial ports (those mapped
// below $VNR32_PREFIX/dosdevices and the machine's own), added to `findings`. `mapped_ports` gets the COM
// numbers (1 to 32) that are mapped to something this user can open, for the caller to ask for a reader.
void look_at_system(const Options& options, std::vector<Finding>& findings, std::vector<int>& mapped_ports);

// The folder of the loaded vnr_32 library with a trailing separator; empty when it cannot be told.
std::string library_folder();

}  // namespace vnr::tool::doctor
