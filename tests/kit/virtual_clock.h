/// \file
/// Time that moves only when it is waited for.
#ifndef DX7_TESTS_KIT_VIRTUAL_CLOCK_H
#define DX7_TESTS_KIT_VIRTUAL_CLOCK_H

#include "host/line/clock.h"

namespace kit {

class VirtualClock : public dx7::Clock {
public:
    qint64 nowUs() override { return nowUs_; }
    void sleepUntilUs(qint64 timeUs) override { nowUs_ = timeUs > nowUs_ ? timeUs : nowUs_; }

private:
    qint64 nowUs_ = 1000000;
};

}  // namespace kit

#endif
