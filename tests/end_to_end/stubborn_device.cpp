#include "stubborn_device.h"

namespace {

constexpr int ILLEGAL_ADDRESS = 2;
// What the number of a parameter is to read and to write alike.
constexpr int PARAMETER = 0x0FFF;

bool touches(const FragileDevice::Frame& request, int missing) {
    if (request[1] == STATUS || request[1] == DIAGNOSTICS) {
        return false;
    }
    const int first = (request[2] << 8 | request[3]) & PARAMETER;
    const int count = request[1] == READ || request[1] == WRITE_RUN ? request[5] : 1;
    const int place = missing & PARAMETER;
    return place >= first && place < first + count;
}

}  // namespace

StubbornDevice::StubbornDevice(std::optional<int> missing)
    : FragileDevice([missing](const Frame& request, int) {
          Reaction reaction;
          reaction.carryOut = false;
          reaction.exception = missing && touches(request, *missing) ? ILLEGAL_ADDRESS : 0;
          return reaction;
      }) {}
