/// \file
/// The Poller of a Linux system.
#ifndef DX7_HOST_EPOLL_POLLER_H
#define DX7_HOST_EPOLL_POLLER_H

#include <sys/epoll.h>

#include <array>
#include <unordered_map>

#include "common/file_descriptor.h"
#include "host/line/clock.h"
#include "host/line/poller.h"

namespace dx7 {

/// Lines are borrowed as Poller says. One thread, but for wake().
///
/// A wait costs one system call as long as what it waits for stays the same, and no memory. Several terminals
/// cost one more for each that has been ready.
class EpollPoller : public Poller {
public:
    /// How time is measured: by the newest call that the kernel has, or by those that every kernel has.
    enum class Calls { Newest, Everywhere };

    /// Throws LineError when the system has no descriptors left.
    explicit EpollPoller(Calls calls = Calls::Newest);

    qint64 nowUs() override { return clock_.nowUs(); }
    void add(Line& line) override;
    void remove(Line& line) override;
    void ignoreUntil(Line& line, qint64 timeUs) override;
    void wait(qint64 untilUs) override;
    bool ready(const Line& line) const override;
    void wake() override;

private:
    Q_DISABLE_COPY(EpollPoller)

    static constexpr int MOST_EVENTS = 32;

    struct Watch {
        /// Under which it is in the kernel's set; -1 when it is not.
        int descriptor = -1;
        /// What the kernel looks for; 0 when it was told once and looks no more.
        unsigned events = 0;
        /// 0 when it is not ignored.
        qint64 ignoreUs = 0;
        bool ready = false;
    };
    using Watches = std::unordered_map<const Line*, Watch>;

    bool endIgnoring();
    unsigned wantedEvents(const Line& line, const Watch& watch) const;
    bool arrange();
    void watch(Watches::value_type& entry, unsigned events);
    void forget(Watch& watch);
    void sleepFor(qint64 us);
    int events(qint64 us);
    void note(const epoll_event& event);
    void takeWake();

    SystemClock clock_;
    Calls calls_;
    dx7common::FileDescriptor epoll_;
    dx7common::FileDescriptor wake_;
    Watches watches_;
    std::array<epoll_event, MOST_EVENTS> events_{};
};

}  // namespace dx7

#endif
