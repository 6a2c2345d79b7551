// SPDX-License-Identifier: MIT
#include "tools/TransferProgress.h"

#include "tests/tools/Texts.h"

#include <gtest/gtest.h>

namespace {

using namespace tool;
using platform::Dictionary;
using platform::Notification;

class TransferProgressTest : public testing::Test, public TransferListener {
protected:
    void notified(const Notification&) override {}
    void progressed(const TransferSnapshot& snapshot) override { bytes.push_back(snapshot.bytesDone); }
    void settled(const FileResult& result, const TransferSnapshot&) override {
        const char* states[] = {"waiting", "copied", "kept", "failed", "cancelled"};
        outcomes.push_back(result.file.name + " " + states[static_cast<int>(result.state)] +
                           (result.reason.empty() ? "" : ": " + result.reason));
    }

    void start(std::size_t count) {
        std::vector<LocalFile> files;
        std::vector<std::size_t> indexes;
        for (std::size_t file = 0; file < count; ++file) {
            const std::string name = std::string(1, static_cast<char>('a' + file));
            files.push_back({"/l/" + name, name, name, 100, MediaTypeMusic});
            indexes.push_back(file);
        }
        progress = std::make_unique<TransferProgress>(std::move(files), *this);
        progress->beginRequest(7, std::move(indexes));
    }
    void percent(unsigned value, unsigned status = 2) {
        progress->handle({"VXLUMO_NOTI_TRANSFER_PROGRESS",
                          Dictionary{{"ServiceID", 7}, {"CurrentProgress", value}, {"TransferStatus", status}}});
    }
    void result(const std::string& name, std::uint32_t status, unsigned serviceID = 7) {
        progress->handle(
            {"VXLUMO_NOTI_MEDIA_TRASFER_RESULT",
             Dictionary{{"ServiceID", serviceID}, {"ResultStatus", status}, {"FilePath", "/P/Phone/Sounds/" + name}}});
    }
    std::unique_ptr<TransferProgress> progress;
    std::vector<std::string> outcomes;
    std::vector<std::uint64_t> bytes;
};

TEST_F(TransferProgressTest, EachFileEndsInOneState) {
    start(5);
    result("a", 0);
    result("a", 0);    // heard already
    result("z", 0);    // nobody's
    result("b", 0, 8); // another request's
    percent(100, 4);   // the end is told early, before the last file
    result("b", 0x10000005);
    result("c", 0x11000005);
    result("d", 0x77);
    result("e", 0);
    progress->endRequest();
    progress->settleRest();
    EXPECT_EQ(outcomes,
              (Texts{"a copied", "b kept: exists already",
                     "c failed: the device does not allow this name (too long, or characters such as : and ?)",
                     "d failed: failed with status 0x00000077", "e copied"}));
    const TransferSnapshot end = progress->snapshot();
    EXPECT_EQ(end.copied, 2U);
    EXPECT_EQ(end.kept, 1U);
    EXPECT_EQ(end.failed, 2U);
    EXPECT_EQ(end.filesDone, end.filesTotal);
    EXPECT_EQ(end.bytesCopied, 200U);
    EXPECT_EQ(end.bytesDone, end.bytesTotal);
}

TEST_F(TransferProgressTest, FilesWithoutAResultAreSettledByWhatIsKnown) {
    start(4);
    progress->noteKept("a");
    result("c", 0); // the service has gone past b
    progress->endRequest();
    EXPECT_EQ(outcomes, (Texts{"a kept: exists already", "b failed: the device did not take it", "c copied",
                               "d failed: the device did not take it"}));
}

TEST_F(TransferProgressTest, AFullStorageACancelAndALostDeviceAccountForTheRest) {
    start(3);
    result("a", 0);
    result("b", 0x1000000A);
    progress->endRequest();
    EXPECT_EQ(outcomes, (Texts{"a copied", "b failed: the storage is full", "c failed: the storage is full"}));

    outcomes.clear();
    start(2);
    result("a", 0);
    progress->noteCancelled();
    progress->endRequest();
    EXPECT_EQ(outcomes, (Texts{"a copied", "b cancelled: cancelled"}));

    outcomes.clear();
    start(2);
    result("a", 0x12000001);
    EXPECT_TRUE(progress->isDeviceGone());
    progress->endRequest();
    EXPECT_EQ(outcomes, (Texts{"a failed: the device is gone", "b failed: the device is gone"}));
}

TEST_F(TransferProgressTest, ARefusedRequestHasStartedUntilItIsQueuedAnew) {
    start(1);
    EXPECT_FALSE(progress->hasRequestStarted());
    const Notification refusal{"VXLUMO_NOTI_TRANSFER_PROGRESS",
                               Dictionary{{"ServiceID", 7}, {"Current", 0}, {"Max", 0}, {"TransferStatus", 3}}};
    progress->handle(refusal);
    EXPECT_TRUE(progress->hasRequestStarted());
    progress->restartRequest();
    EXPECT_FALSE(progress->hasRequestStarted());
    progress->handle(refusal);
    progress->endRequest();
    EXPECT_EQ(outcomes, (Texts{"a failed: the service refused the request"}));
}

TEST_F(TransferProgressTest, BytesComeFromTheShareThatIsToldAndNeverPassTheTotal) {
    start(4);
    percent(10);
    result("a", 0x10000005); // kept: its bytes count as dealt with, but are none of the share
    percent(10);
    result("b", 0);
    percent(30);
    percent(100);
    percent(4000);
    EXPECT_EQ(bytes, (std::vector<std::uint64_t>{40, 140, 220, 400, 400}));
}

} // namespace
