// How long dx7-device takes, and how much of the processor.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/patience.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

namespace {

class PaceTest : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string link = directory.file("line");
};

TEST_F(PaceTest, TakesNoProcessorTimeWhileNothingHappens) {
    DeviceProcess device({"--pty", link}, {"--baud", "9600"});
    EXPECT_EQ(Client(link).holding(0xF325), 325);
    device.closeInput();
    const double before = device.processorSeconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_LE(device.processorSeconds() - before, 0.05);
}

TEST_F(PaceTest, IsAsFastAsTheLineThatIsAskedFor) {
    DeviceProcess device({"--pty", link}, {"--baud", "9600", "--parity", "even"});
    const Client client(link);
    const auto start = Clock::now();
    std::uint16_t words[10];
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(modbus_read_registers(client, 0xF000, 10, words), 10);
    }
    // 8 characters there, 3.5 of silence, 25 back, 11 bits each.
    const double lineTime = 5 * (8 + 3.5 + 25) * 11 / 9600;
    EXPECT_GE(std::chrono::duration<double>(Clock::now() - start).count(), lineTime);
    EXPECT_LE(std::chrono::duration<double>(Clock::now() - start).count(), lineTime + 1);
}

}  // namespace
