// The diagnostic log: the day folder and hour file by local time, line heads, a line's room, the purge.
#include "core/log.h"
#include "support/temp_prefix.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace fs = std::filesystem;
using vnr::test::TempPrefix;

namespace {

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

// The name of now's day folder or hour file, from the C library's calendar time: the library's own
// clock must agree with it.
std::string now_as(const char* format) {
    const std::time_t t = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&t, &local);
    char name[32];
    std::strftime(name, sizeof name, format, &local);
    return name;
}

fs::path hour_file(const TempPrefix& prefix) { return prefix.log_root() / now_as("%Y%m%d") / now_as("log%H.txt"); }

class Log : public ::testing::Test {
protected:
    TempPrefix prefix;
};

TEST_F(Log, LinesGoToTheHourFileOfTheDayFolderWithTheirHeads) {
    prefix.enable_log();
    ASSERT_TRUE(vnr::log::enabled());
    vnr::log::line("==> device_open(), port = [%d], baud = [%d]", 3, 115200);
    vnr::log::text("100% done");  // a plain text is no format
    vnr::log::raw("send_cmd_vn3x(), TansMode:1,nComMode: 2, Send: 311101.");
    const std::string content = read_file(hour_file(prefix));
    const std::regex write_line(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:0\d{3} \| ==> device_open\(\), port = \[3\], baud = \[115200\]\n)");
    const std::regex raw_line(R"(\n\d\d:\d\d:\d\d:0\d{3} ==> send_cmd_vn3x\(\), TansMode:1,nComMode: 2, Send: 311101\.\r\n$)");
    EXPECT_TRUE(std::regex_search(content, write_line)) << content;
    EXPECT_TRUE(std::regex_search(content, raw_line)) << content;
    EXPECT_NE(content.find(" | 100% done\n"), std::string::npos) << content;
}

TEST_F(Log, LongLinesAreCutToTheirRoom) {
    prefix.enable_log();
    const std::string long_text(6000, 'x');
    vnr::log::line("%s", long_text.c_str());
    vnr::log::raw(long_text);
    std::ifstream in(hour_file(prefix), std::ios::binary);
    std::string first, second;
    std::getline(in, first);
    std::getline(in, second);
    EXPECT_EQ(first.size() + 1, vnr::log::kLineRoom);        // head and text, then the line feed
    EXPECT_EQ(second.size(), vnr::log::kRawLineRoom);        // everything up to the room, cut
}

TEST_F(Log, PurgeRemovesOldAndForeignFoldersAndKeepsTodayYesterdayAndFiles) {
    prefix.enable_log();
    const fs::path root = prefix.log_root();
    const std::string today = now_as("%Y%m%d");
    const long today_number = std::stol(today);
    const std::string day_before = std::to_string(today_number - 1);  // may not be a real date: kept anyway
    for (const std::string& name : {std::string("20000101"), std::string("abc"), day_before, std::string("99999999"),
                                    std::string("2000nested")}) {
        fs::create_directories(root / name);
        std::ofstream(root / name / "log10.txt") << "old";
    }
    fs::create_directories(root / "2000nested" / "inner");
    std::ofstream(root / "loose.txt") << "stays";

    vnr::log::line("-----dev_ledcontrol()----- ");

    EXPECT_FALSE(fs::exists(root / "20000101"));
    EXPECT_FALSE(fs::exists(root / "abc"));                  // no leading digits: counts as very old
    EXPECT_TRUE(fs::exists(root / day_before / "log10.txt"));
    EXPECT_TRUE(fs::exists(root / "99999999" / "log10.txt"));
    EXPECT_TRUE(fs::exists(root / "loose.txt"));
    EXPECT_TRUE(fs::exists(root / today));
    // A folder with a subfolder loses its files but stays.
    EXPECT_FALSE(fs::exists(root / "2000nested" / "log10.txt"));
    EXPECT_TRUE(fs::exists(root / "2000nested" / "inner"));
    // The purge leaves the log root as the current directory.
    EXPECT_TRUE(fs::equivalent(fs::current_path(), root));
}

}  // namespace
