// The diagnostic log: the day folder and hour file, the line heads, room of a line, the purge of old
// folders, the flat file. Its GBK lines are looked for by the tests of the functions that write them;
// that nothing is written while the log is off is seen through the loaded library (abi).
#include "core/log.h"
#include "platform/clock.h"
#include "support/temp_prefix.h"

#include <gtest/gtest.h>

#include <cstdio>
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

std::string date_name(const vnr::platform::LocalTime& t) {
    char name[16];
    std::snprintf(name, sizeof name, "%04d%02d%02d", t.year, t.month, t.day);
    return name;
}

fs::path hour_file(const TempPrefix& prefix) {
    const auto now = vnr::platform::local_time();
    char name[16];
    std::snprintf(name, sizeof name, "log%02d.txt", now.hour);
    return prefix.log_root() / date_name(now) / name;
}

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
    const std::string today = date_name(vnr::platform::local_time());
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

TEST_F(Log, FlatFileIsWrittenWhileItsDriveIsThere) {
    vnr::log::flat("MakePicture %d", 1);
    EXPECT_FALSE(fs::exists(prefix.root() / "drive_d"));
    fs::create_directories(prefix.root() / "drive_d");
    vnr::log::flat("MakePicture %d", 2);
    const std::string content = read_file(prefix.root() / "drive_d" / "Vnlog.txt");
    EXPECT_TRUE(std::regex_match(content, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:0\d{3} \| MakePicture 2\n)"))) << content;
}

}  // namespace
