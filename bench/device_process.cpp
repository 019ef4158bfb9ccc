#include "device_process.h"

#include <vector>

#include "processor.h"

namespace dx7bench {

namespace {

using Words = std::vector<std::string>;

}  // namespace

DeviceProcess::DeviceProcess(int baud, Carrier carrier)
    : line_(folder_.file("line")),
      process_(carrier == Carrier::Tcp ? Words{"--tcp", "0"} : Words{"--pty", line_},
               baud > 0 ? Words{"--baud", std::to_string(baud)} : Words(), runAsDevice) {}

}  // namespace dx7bench
