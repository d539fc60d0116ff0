#include "cameraextension/SharedStateReader.h"
#include "testsupport/CoreFixture.h"

#include <atomic>
#include <thread>

namespace moritane {
namespace {

using StateFileConcurrencyTest = testing::CoreFixture;

// The extension reads without any lock while the application replaces the file: every read
// must find a whole file, old or new. A write in place shows up as an empty or cut file within
// the first few writes.
TEST_F(StateFileConcurrencyTest, AReaderBesideHundredsOfWritesNeverSeesAPartialFile) {
    const auto manager = makeCamera();
    manager->selectedCameraId = std::string(200, 'c');  // a longer file makes a torn read likelier

    std::atomic<bool> writing = true;
    std::atomic<int> reads = 0;
    std::atomic<int> bad = 0;
    std::thread reader([&] {
        const SharedStateReader extension(root.path());
        while (writing) {
            bad += extension.state() ? 0 : 1;
            ++reads;
        }
    });
    for (int i = 0; i < 300; ++i) {
        if (i % 2 == 0) {
            manager->turnOff();
        } else {
            manager->selectImage(Uuid::random());
        }
    }
    writing = false;
    reader.join();
    EXPECT_GT(reads, 0);
    EXPECT_EQ(bad, 0);
}

}  // namespace
}  // namespace moritane
