// A recording into a pipe that holds dx7 up, and a signal then.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "fragile_device.h"
#include "rig.h"

namespace {

class RecordedToAPipe : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Signals, RecordedToAPipe, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(RecordedToAPipe, EndsTheWaitForAReaderThatDoesNotCome) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    const TemporaryDirectory directory;
    const std::string pipe = directory.file("line.pipe");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    Process read(dx7Words({"read", "F:3.0.20", "--tcp", device.address(), "--record", pipe}));
    // They are handled from the opening of the line on.
    ASSERT_TRUE(eventually([&] { return catches(read.id(), GetParam()); }));
    read.signal(GetParam());
    const Finished run = read.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("dx7: stopped while waiting for the reader of " + pipe + "; nothing was sent\n", run.errors);
    EXPECT_EQ(0, device.requests(READ));
}

TEST_P(RecordedToAPipe, EndsTheWaitForAReaderThatDoesNotRead) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    const TemporaryDirectory directory;
    const std::string pipe = directory.file("line.pipe");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_LE(0, reader);
    const int size = ::fcntl(reader, F_SETPIPE_SZ, 4096);
    ASSERT_LT(0, size);
    Words words{"write", "--json", "--tcp", device.address(), "--record", pipe};
    enum { ITEMS = 200 };
    for (int i = 0; i < ITEMS; ++i) {
        words.push_back("F:3.0.2" + std::to_string(i % 10) + "=" + std::to_string(i));
    }
    Process write(dx7Words(words));
    int held = 0;
    int before = -1;
    // It waits when no more comes of it.
    ASSERT_TRUE(eventually([&] {
        before = held;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return ::ioctl(reader, FIONREAD, &held) == 0 && held > 3000 && held == before;
    }));
    write.signal(GetParam());
    const Finished run = write.finish();
    ::close(reader);
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "cannot be written any more: stopped while waiting for its reader; "))
        << run.errors;
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(std::size_t(ITEMS), items.size());
    EXPECT_EQ(Json(false), items.back().at("written"));
}

}  // namespace
