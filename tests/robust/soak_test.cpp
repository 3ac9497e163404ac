// Soak: cycles of open, every family, close. Open files stay and resident memory does not grow (after a
// warm-up; not judged under a sanitizer or valgrind). VNR_SOAK_CYCLES gives the count (default 200).
#include "robust/robust_support.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

using robust::FamilyCall;
using robust::Session;
using vnr::test::Link;

std::size_t open_files() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

double resident_mib() {
    std::ifstream statm("/proc/self/statm");
    double size = 0, resident = 0;
    statm >> size >> resident;
    return resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// Under a sanitizer or valgrind (whose preloaded objects stand in LD_PRELOAD) resident memory is theirs.
bool memory_is_watched() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
#endif
}

class Soak : public Session, public ::testing::WithParamInterface<Link> {};

TEST_P(Soak, OpenEveryFamilyCloseLeavesFilesAndMemoryAsTheyWere) {
    open_on(GetParam());
    answer_family_calls();
    drop_handle();
    const int cycles = static_cast<int>(robust::env_number("VNR_SOAK_CYCLES", 200));
    const int warm_up = std::max(1, cycles / 10);
    std::size_t files_before = 0;
    double resident_before = 0;
    int failures = 0;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        if (cycle == warm_up) files_before = open_files(), resident_before = resident_mib();
        icdev = device_open(0, 115200);
        if (icdev <= 1) {
            ++failures;
            continue;
        }
        for (const FamilyCall& c : robust::family_calls()) {
            robust::OutBuffer out;
            if (c.call(icdev, out.bytes) != VNR_OK || !out.holds(c.written)) ++failures;
        }
        if (device_close(icdev) != VNR_OK) ++failures;
        icdev = 0;
        // The simulator keeps what it received for tests; that is its memory, not the library's.
        reader.clear_history();
        if (hid) hid->clear_history();
    }
    if (cycles <= warm_up) files_before = open_files(), resident_before = resident_mib();
    const std::size_t files_after = open_files();
    const double resident_after = resident_mib();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(files_after, files_before);
    if (!memory_is_watched()) {
        EXPECT_LT(resident_after - resident_before, 2.0);
    }
}

INSTANTIATE_TEST_SUITE_P(OnEachLink, Soak, ::testing::Values(Link::serial, Link::hid), vnr::test::link_name);

}  // namespace
