// Every status code the public header names has words in the core's table; a reader's status pair is
// kept to 16 bits at its edge.
#include "core/exchange.h"
#include "core/status.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

static_assert(vnr::core::reader_status(0xFF, 0xFF) == 1);

TEST(Statuses, EveryCodeOfTheHeaderHasWords) {
    std::ifstream header(VNR_HEADER_PATH);
    ASSERT_TRUE(header) << VNR_HEADER_PATH;
    std::stringstream text;
    text << header.rdbuf();
    const std::string all = text.str();
    const std::regex code(R"(#define\s+(VNR_(?:OK|E_\w+))\s+\(?(-?\d+)\)?)");
    int codes = 0;
    for (std::sregex_iterator it(all.begin(), all.end(), code), end; it != end; ++it, ++codes)
        EXPECT_FALSE(vnr::core::status_words(std::stoi((*it)[2])).empty()) << (*it)[1];
    EXPECT_GT(codes, 20);
    EXPECT_TRUE(vnr::core::status_words(-4097).empty()) << "a reader's status has no words of the library";
}
