/// \file
/// The loop that joins line, stations and command channel. It waits without polling.
#ifndef DX7_DEVICE_SERVER_H
#define DX7_DEVICE_SERVER_H

#include <poll.h>

#include <chrono>
#include <string>
#include <vector>

#include "device/line/framing.h"
#include "device/line/line.h"
#include "device/line/pacing.h"
#include "device/output.h"
#include "device/station/device.h"

namespace dx7sim {

class Server {
public:
    /// `timing` is all zero for a line whose bytes take no time of their own. `signals` is a signalfd whose
    /// signals end the loop. Answers to commands go to `output`; `trace` shows every frame there, too.
    Server(Device& device, Line& line, const LineTiming& timing, int signals, Output& output, bool trace);

    /// Runs until a signal or "quit". Throws LineError when the line fails.
    void run();

    /// What the device saw.
    std::string summary() const;

private:
    Time now() const;
    void wait(std::vector<pollfd>& waitedFor) const;
    void receive();
    void carryOut(const ReceivedFrame& frame, bool clientGone);
    /// Queues what answers a request whose last byte was through at `requestComplete`.
    void queue(const Outgoing& outgoing, Time requestComplete);
    void sendDue();
    void readCommands();
    void runCommands();
    void forgetClient();
    void trace(const char* direction, const Bytes& bytes);

    Device& device_;
    Line& line_;
    LineTiming timing_;
    int signals_;
    Output& output_;
    bool trace_;
    std::chrono::steady_clock::time_point start_;
    Framing framing_;
    Pacing pacing_;
    std::string typed_;
    /// Up to the end of the line.
    bool dropsTyped_ = false;
    bool commandsOpen_ = true;
    bool ending_ = false;
};

}  // namespace dx7sim

#endif
