/// \file
/// Opening and closing ports on the side, while the caller does something else.
#ifndef DX7_HOST_PORT_TASK_H
#define DX7_HOST_PORT_TASK_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "host/line/serial_port.h"

namespace dx7 {

/// One opening or closing, on a helper thread that nothing has to wait for. It owns the port until take() or
/// drop() gives it away. Any thread may call it.
class PortTask {
public:
    /// Begins to open a port. When no thread can be started, the task has failed already.
    static std::shared_ptr<PortTask> opening(std::function<OpenedPort()> opener);
    /// Begins to close it. When no thread can be started, that is done at once and may take its time.
    static std::shared_ptr<PortTask> closing(std::unique_ptr<OpenPort> port);

    /// The port is open, is closed, or could not be opened.
    bool ended() const;
    /// Waits up to `ms` for that.
    bool waitForEnd(int ms) const;
    /// What an opening that has ended came to.
    OpenedPort take();
    /// The port is no longer asked for. An opening under way becomes a closing: it ends when the port is
    /// closed again. What has been opened already is given back, for the caller to close.
    std::unique_ptr<OpenPort> drop();
    /// Nothing but the end is to be expected.
    bool dropped() const;

private:
    void run(const std::function<OpenedPort()>& opener);
    void close(std::unique_ptr<OpenPort> port);
    void end();

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    OpenedPort opened_;
    bool ended_ = false;
    bool dropped_ = false;
};

/// Waits up to `ms` until no opening or closing is under way. The end of the program does that by itself, for
/// 1 s: the next program finds the port closed.
bool awaitPortTasks(int ms);

}  // namespace dx7

#endif
