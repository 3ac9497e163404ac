// The POSIX platform backends: text conversion, paths, files, folders, appends, and loading when the
// library or the symbol is missing.
#include "platform/dynamic_library.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "support/temp_prefix.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

#include <filesystem>
#include <fstream>
#include <vector>

namespace fs = std::filesystem;
using namespace vnr::platform;
using vnr::test::TempPrefix;

namespace {

TEST(Text, Utf16ToGbk) {
    // "张三" and "A" in UTF-16LE; GBK of 张 is D5 C5, of 三 is C8 FD.
    const std::vector<std::uint8_t> name{0x20, 0x5F, 0x09, 0x4E, 0x41, 0x00};
    std::string gbk;
    ASSERT_TRUE(utf16le_to_gbk(name, gbk));
    EXPECT_EQ(gbk, "\xD5\xC5\xC8\xFD" "A");
    // A character GBK lacks (U+1F600 as a surrogate pair) becomes '?', an odd trailing byte is ignored.
    const std::vector<std::uint8_t> emoji{0x3D, 0xD8, 0x00, 0xDE, 0x42, 0x00, 0x43};
    ASSERT_TRUE(utf16le_to_gbk(emoji, gbk));
    EXPECT_EQ(gbk, "?B");  // one character, one '?'
    // Unpaired surrogates (a low one first, a high one before a plain character, a high one last) and a
    // character of the basic plane that GBK lacks (U+0E01): one '?' each, the rest unharmed.
    const std::vector<std::uint8_t> broken{0x00, 0xDC, 0x41, 0x00, 0x00, 0xD8, 0x42, 0x00, 0x01, 0x0E, 0x00, 0xD8};
    ASSERT_TRUE(utf16le_to_gbk(broken, gbk));
    EXPECT_EQ(gbk, "?A?B??");
}

TEST(Text, Utf8AndGbkRoundTrip) {
    std::string gbk, utf8;
    ASSERT_TRUE(utf8_to_gbk("句柄无效", gbk));
    EXPECT_EQ(gbk, "\xBE\xE4\xB1\xFA\xCE\xDE\xD0\xA7");
    ASSERT_TRUE(gbk_to_utf8(gbk, utf8));
    EXPECT_EQ(utf8, "句柄无效");
    // A lead byte without a trail byte is not GBK: it is replaced, and the rest survives.
    ASSERT_TRUE(gbk_to_utf8("\x81 ab\x81", utf8));
    EXPECT_EQ(utf8, "\xEF\xBF\xBD ab\xEF\xBF\xBD");
}

TEST(Paths, DriveLettersAndPortsMapBelowThePrefix) {
    const TempPrefix prefix;
    const std::string root = prefix.root().string();
    EXPECT_EQ(native_path("D:\\VNlog"), root + "/drive_d/VNlog");
    EXPECT_EQ(native_path("c:\\photos\\zp.bmp"), root + "/drive_c/photos/zp.bmp");
    EXPECT_EQ(native_path("E:"), root + "/drive_e");
    EXPECT_EQ(native_path("/tmp/x.wlt"), "/tmp/x.wlt");
    EXPECT_EQ(native_path("sub\\file"), "sub/file");
    EXPECT_EQ(drive_root("D:\\Vnlog.txt"), root + "/drive_d");
    EXPECT_EQ(drive_root("relative"), "");
    EXPECT_EQ(serial_port_name(0), "/dev/ttyS0");
    prefix.map_com(10, "/dev/null");
    EXPECT_EQ(serial_port_name(9), (prefix.com(10)).string());
    // GBK names of a drive path become the UTF-8 names a Linux file system shows; the trail byte of
    // 乗 (81 5C) equals a backslash and must not become a separator.
    EXPECT_EQ(native_path("C:\\\xD5\xD5\xC6\xAC\\zp.bmp"), root + "/drive_c/照片/zp.bmp");
    EXPECT_EQ(native_path("C:\\\x81\x5C.bmp"), root + "/drive_c/乗.bmp");
    EXPECT_EQ(native_path("/tmp/\xE4\xB9\x97.bmp"), "/tmp/\xE4\xB9\x97.bmp");  // a native path stands as it is
    // No path leaves its drive's folder, and one that starts at a top without a drive is on drive C.
    EXPECT_EQ(native_path("C:\\..\\..\\escape.bmp"), root + "/drive_c/escape.bmp");
    EXPECT_EQ(native_path("c:\\a\\.\\b\\..\\c\\"), root + "/drive_c/a/c/");
    EXPECT_EQ(native_path("\\tmp\\x.bmp"), root + "/drive_c/tmp/x.bmp");
    EXPECT_EQ(drive_root("\\tmp"), root + "/drive_c");
    EXPECT_EQ(native_path("C:\\\x81"), root + "/drive_c/\x81");  // no GBK text: the bytes stay
    EXPECT_TRUE(is_native_absolute("/tmp"));
    EXPECT_FALSE(is_native_absolute("C:\\tmp"));
    prepare_drive("q:\\a\\b.txt");
    EXPECT_TRUE(is_directory(root + "/drive_q"));
    EXPECT_FALSE(is_directory(root + "/drive_q/a"));
}

TEST(Files, WholeFilesCopiesAndMoves) {
    const TempPrefix prefix;
    const std::string a = (prefix.root() / "a.bin").string();
    const std::string b = (prefix.root() / "b.bin").string();
    const std::string data = std::string("zero\0byte", 9) + std::string(70'000, 'x');
    ASSERT_TRUE(write_file(a, data.data(), data.size()));
    ASSERT_TRUE(write_file(a, data.data(), data.size()));  // replaces, does not append
    std::vector<unsigned char> back;
    ASSERT_TRUE(read_file(a, 65536, back));
    EXPECT_EQ(back.size(), 65536u);
    EXPECT_EQ(std::string(back.begin(), back.begin() + 9), data.substr(0, 9));
    ASSERT_TRUE(read_file(a, 1 << 20, back));
    EXPECT_EQ(back.size(), data.size());
    EXPECT_FALSE(read_file(prefix.root().string(), 10, back));  // a folder is no file
    EXPECT_FALSE(read_file(b, 10, back));

    ASSERT_TRUE(copy_file(a, b));
    ASSERT_TRUE(copy_file(a, a));  // onto itself: nothing lost
    ASSERT_TRUE(read_file(a, 1 << 20, back));
    EXPECT_EQ(back.size(), data.size());
    const std::string c = (prefix.root() / "c.bin").string();
    ASSERT_TRUE(write_file(c, "old", 3));
    ASSERT_TRUE(move_file(b, c));  // replaces the target
    EXPECT_FALSE(path_exists(b));
    ASSERT_TRUE(read_file(c, 1 << 20, back));
    EXPECT_EQ(back.size(), data.size());
    EXPECT_FALSE(move_file(b, c));
    EXPECT_FALSE(copy_file(b, c));
    EXPECT_FALSE(write_file((prefix.root() / "none" / "f").string(), "x", 1));
}

TEST(Files, FoldersListingsAndAppends) {
    const TempPrefix prefix;
    const std::string deep = (prefix.root() / "a" / "b" / "c").string();
    EXPECT_TRUE(make_directory_path(deep));
    EXPECT_TRUE(make_directory_path(deep));  // already there is fine
    EXPECT_TRUE(is_directory(deep));
    EXPECT_FALSE(make_directory((prefix.root() / "x" / "y").string()));  // parent missing
    const std::string file = (prefix.root() / "a" / "f.txt").string();
    EXPECT_TRUE(append_file(file, "one\n", 4, WriteMode::text));
    EXPECT_TRUE(append_file(file, "two\r\n", 5, WriteMode::binary));
    std::ifstream in(file, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "one\ntwo\r\n");
    fs::create_directory_symlink(deep, prefix.root() / "a" / "link");
    std::vector<DirectoryEntry> entries;
    ASSERT_TRUE(list_directory((prefix.root() / "a").string(), entries));
    ASSERT_EQ(entries.size(), 3u);
    for (const auto& entry : entries) EXPECT_EQ(entry.is_directory, entry.name == "b") << entry.name;
    EXPECT_FALSE(list_directory((prefix.root() / "none").string(), entries));
    EXPECT_FALSE(remove_directory((prefix.root() / "a" / "b").string()));  // not empty
    EXPECT_TRUE(remove_file(file));
    EXPECT_FALSE(path_exists(file));
    EXPECT_FALSE(append_file((prefix.root() / "none" / "f").string(), "x", 1, WriteMode::text));
}

TEST(Files, AFailedWriteLeavesNoHalfWrittenFile) {
    const TempPrefix prefix;
    const std::string path = (prefix.root() / "picture.bmp").string();
    // A child process whose files may not grow beyond 1000 bytes writes 5000: the write fails and
    // must not leave the first 1000 bytes behind under the name.
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const std::string data(5000, 'x');
        const bool wrote = write_file(path, data.data(), data.size());
        ::_exit(!wrote && !path_exists(path) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(DynamicLibrary, AMissingLibraryOrSymbolIsEmptyNotACrash) {
    EXPECT_FALSE(DynamicLibrary::open("/nonexistent/libnothing.so"));
    DynamicLibrary library = DynamicLibrary::open(VNR_LIBRARY_PATH);
    ASSERT_TRUE(library);
    EXPECT_NE(library.symbol("device_open"), nullptr);
    EXPECT_EQ(library.symbol("no_such_symbol"), nullptr);
    const DynamicLibrary moved = std::move(library);
    EXPECT_FALSE(library) << "one owner closes it";
    EXPECT_TRUE(moved);
}

}  // namespace
