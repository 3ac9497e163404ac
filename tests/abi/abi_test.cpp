// The built shared library loaded as an application loads it: every listed name resolves, the load and
// unload hooks write their lines, and the state of a fresh load.
#include "support/temp_prefix.h"
#include "vnr_32.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace fs = std::filesystem;
using vnr::test::TempPrefix;

namespace {

std::set<std::string> listed_exports() {
    std::ifstream list(VNR_EXPORTS_LIST);
    std::set<std::string> names;
    for (std::string line; std::getline(list, line);)
        if (!line.empty() && line[0] != '#') names.insert(line);
    return names;
}

std::string all_log_text(const fs::path& root) {
    std::string all;
    if (!fs::exists(root)) return all;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file()) {
            std::ifstream in(entry.path(), std::ios::binary);
            all.append(std::istreambuf_iterator<char>(in), {});
        }
    return all;
}

TEST(Abi, EveryListedNameResolvesAndInternalsDoNot) {
    void* library = ::dlopen(VNR_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << ::dlerror();
    const std::set<std::string> names = listed_exports();
    EXPECT_GE(names.size(), 6u);
    for (const std::string& name : names) EXPECT_NE(::dlsym(library, name.c_str()), nullptr) << name;
    for (const char* inner : {"send_cmd_vn3x", "log_write", "com_open_reader", "hex_text", "frame_xor"})
        EXPECT_EQ(::dlsym(library, inner), nullptr) << inner;
    ::dlclose(library);
}

TEST(Abi, LoadAndUnloadWriteTheirLinesWhenTheLogIsOn) {
    const TempPrefix prefix;
    prefix.enable_log();
    void* library = ::dlopen(VNR_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << ::dlerror();
    const std::string loaded = all_log_text(prefix.log_root());
    EXPECT_NE(loaded.find("| -----------Dll Loaded-------------\n"), std::string::npos) << loaded;
    EXPECT_NE(loaded.find("| ---InitializeCriticalSection Succed\n"), std::string::npos) << loaded;
    EXPECT_LT(loaded.find("Dll Loaded"), loaded.find("InitializeCriticalSection"));

    // A fresh load has had no open yet.
    auto gettype = reinterpret_cast<decltype(&device_gettype)>(::dlsym(library, "device_gettype"));
    ASSERT_NE(gettype, nullptr);
    uint8_t kind = 0;
    EXPECT_EQ(gettype(&kind), VNR_OK);
    EXPECT_EQ(kind, 0xFF);
    // Before any open the exchange takes the USB HID road, where a handle that names no HID device
    // fails as a feature report to a device that is gone.
    auto version = reinterpret_cast<decltype(&device_version)>(::dlsym(library, "device_version"));
    uint8_t length = 0, text[100] = {};
    EXPECT_EQ(version(0x4321, 0, &length, text), VNR_E_GENERAL);

    ASSERT_EQ(::dlclose(library), 0);
    EXPECT_NE(all_log_text(prefix.log_root()).find("| --Dll Releaseed---\n"), std::string::npos);
}

TEST(Abi, LoadAndUnloadLeaveNothingBehindWhenTheLogIsOff) {
    const TempPrefix prefix;
    void* library = ::dlopen(VNR_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << ::dlerror();
    auto open_name = reinterpret_cast<decltype(&device_open_name)>(::dlsym(library, "device_open_name"));
    EXPECT_EQ(open_name("LPT", 0, 9600), VNR_E_BAD_ARGUMENT);
    ASSERT_EQ(::dlclose(library), 0);
    EXPECT_TRUE(fs::is_empty(prefix.root()));
}

}  // namespace
