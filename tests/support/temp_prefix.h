// tests/support/temp_prefix.h: a fresh $VNR32_PREFIX for one test, removed afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vnr::test {

class TempPrefix {
public:
    TempPrefix() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vnr32-test-XXXXXX").string();
        root_ = ::mkdtemp(pattern.data());
        if (const char* old = std::getenv("VNR32_PREFIX")) saved_ = old, had_ = true;
        ::setenv("VNR32_PREFIX", root_.c_str(), 1);
    }
    ~TempPrefix() {
        // The log's purge makes its root the current directory; step out before removing the tree.
        std::error_code ignored;
        std::filesystem::current_path(std::filesystem::temp_directory_path(), ignored);
        std::filesystem::remove_all(root_, ignored);
        if (had_) ::setenv("VNR32_PREFIX", saved_.c_str(), 1);
        else ::unsetenv("VNR32_PREFIX");
    }
    TempPrefix(const TempPrefix&) = delete;
    TempPrefix& operator=(const TempPrefix&) = delete;

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path log_root() const { return root_ / "drive_d" / "VNlog"; }
    std::filesystem::path com(int number) const { return root_ / "dosdevices" / ("com" + std::to_string(number)); }

    // Switches the log on by creating its root.
    void enable_log() const { std::filesystem::create_directories(log_root()); }

    // Makes COMn stand for `target` (a pty, a file, a folder, or a path that does not exist).
    void map_com(int number, const std::filesystem::path& target) const {
        std::filesystem::create_directories(root_ / "dosdevices");
        std::filesystem::remove(com(number));
        std::filesystem::create_symlink(target, com(number));
    }

private:
    std::filesystem::path root_;
    std::string saved_;
    bool had_ = false;
};

}  // namespace vnr::test
