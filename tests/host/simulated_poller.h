// The poller of a scripted line: waiting moves the clock.
#ifndef DX7_TESTS_HOST_SIMULATED_POLLER_H
#define DX7_TESTS_HOST_SIMULATED_POLLER_H

#include "host/line/poller.h"
#include "scripted_line.h"

// Takes one line, which must be a ScriptedLine.
class SimulatedPoller : public dx7::Poller {
public:
    explicit SimulatedPoller(VirtualClock& clock) : clock_(clock) {}

    qint64 nowUs() override { return clock_.nowUs(); }
    void add(dx7::Line& line) override;
    void remove(dx7::Line& line) override;
    void ignoreUntil(dx7::Line&, qint64 timeUs) override { ignoreUs_ = timeUs; }
    void wait(qint64 untilUs) override;
    bool ready(const dx7::Line&) const override { return ready_; }
    void wake() override { woken_ = true; }

private:
    qint64 readyUs() const;

    VirtualClock& clock_;
    ScriptedLine* line_ = nullptr;
    qint64 ignoreUs_ = 0;
    bool lossSeen_ = false;
    bool ready_ = false;
    bool woken_ = false;
};

#endif
