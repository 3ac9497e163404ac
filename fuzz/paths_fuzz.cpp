// fuzz/paths_fuzz.cpp: paths as callers and cards hand them over (GBK, Windows form): the photo store's
// checks and cuts (idcard/windows_path.h) and their native form (platform/paths.h), which must stay
// within the drive's folder whatever "." and ".." the path holds. Nothing is created.
#include "check.h"
#include "idcard/windows_path.h"
#include "platform/paths.h"

#include <cstdlib>
#include <string>

namespace {
constexpr const char* kPrefix = "/nonexistent/vnr-fuzz";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    setenv("VNR32_PREFIX", kPrefix, 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::idcard;
    const std::string path(reinterpret_cast<const char*>(data), size);

    (void)check_photo_path(path);
    (void)names_no_drive(path);
    (void)ends_with_separator(path);
    const std::string name = file_name_part(path), folder = without_file_name(path);
    FUZZ_CHECK(name.size() <= path.size() && folder.size() <= path.size());
    FUZZ_CHECK(path.compare(path.size() - name.size(), name.size(), name) == 0);
    FUZZ_CHECK(path.compare(0, folder.size(), folder) == 0);

    const std::string native = vnr::platform::native_path(path);
    const std::string root = vnr::platform::drive_root(path);
    if (!root.empty()) {
        // A drive's path lies below its folder, and no ".." is left in what follows it.
        FUZZ_CHECK(native.compare(0, root.size(), root) == 0);
        const std::string below = native.substr(root.size()) + "/";
        FUZZ_CHECK(below.find("/../") == std::string::npos);
    }
    return 0;
}
