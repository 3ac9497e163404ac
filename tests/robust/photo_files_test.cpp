// Two identity card reads at once: the photo files are the process's one set and the library lock is left
// around the photo step, so each read's files must live until it returns.
#include "robust/robust_support.h"

#include <thread>
#include <vector>

namespace {

using robust::Session;
using vnr::test::Link;

class PhotoFiles : public Session {};

TEST_F(PhotoFiles, AReadsFilesLiveUntilItReturnsWhileAnotherReadDeletesTheLastOnes) {
    open_on(Link::serial);
    answer({0x32, 0x50}, robust::identity_reply());
    const int calls = robust::scaled(150);
    int base64_lost = 0, kept_failed = 0, plain_failed = 0;
    std::thread keeping([&] {
        std::vector<char> fields(400), base64(90000);
        for (int i = 0; i < calls; ++i) {
            char errtext[64] = {};
            std::int32_t length = 0;
            char* f = fields.data();
            const int status = IDCard_ReadCard_Ex(icdev, f, f + 40, f + 80, f + 120, f + 160, f + 240, f + 280, f + 320,
                                                  f + 340, f + 360, 1, base64.data(), &length, errtext);
            if (status != VNR_OK) ++kept_failed;
            else if (length <= 1) ++base64_lost;
        }
    });
    for (int i = 0; i < calls; ++i) {
        char errtext[64] = {};
        if (IDCard_ReadCard(icdev, errtext) != VNR_OK) ++plain_failed;
    }
    keeping.join();
    EXPECT_EQ(base64_lost, 0) << "of " << calls << " reads that kept their photo";
    EXPECT_EQ(kept_failed, 0);
    EXPECT_EQ(plain_failed, 0);
}

}  // namespace
