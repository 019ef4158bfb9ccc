#include "host/line/epoll_poller.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "host/error.h"

namespace dx7 {

namespace {

// More would not fit the system's types everywhere; a longer wait ends early, which wait() allows.
constexpr qint64 LONGEST_WAIT_US = qint64(1000000) * 86400;

// As the kernel declares it on all systems.
struct KernelTime {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

// As epoll_wait(), with a time that is exact. -1 with ENOSYS where the kernel does not have it.
int waitExactly(int epoll, epoll_event* events, int most, qint64 us) {
#ifdef SYS_epoll_pwait2
    const KernelTime time{us / 1000000, us % 1000000 * 1000};
    return static_cast<int>(::syscall(SYS_epoll_pwait2, epoll, events, most, &time, nullptr, std::size_t(8)));
#else
    static_cast<void>(epoll);
    static_cast<void>(events);
    static_cast<void>(most);
    static_cast<void>(us);
    errno = ENOSYS;
    return -1;
#endif
}

// Positive when the descriptor can be read within the time.
int awaitReadable(int descriptor, qint64 us) {
    pollfd one{descriptor, POLLIN, 0};
    const timespec time{static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000 * 1000)};
    return ::ppoll(&one, 1, &time, nullptr);
}

}  // namespace

EpollPoller::EpollPoller(Calls calls)
    : calls_(calls), epoll_(::epoll_create1(EPOLL_CLOEXEC)), wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = nullptr;
    if (!epoll_.isOpen() || !wake_.isOpen() ||
        ::epoll_ctl(epoll_.number(), EPOLL_CTL_ADD, wake_.number(), &event) != 0) {
        throw LineError(QStringLiteral("the system cannot wait for a line: ") + systemReason(errno));
    }
}

void EpollPoller::add(Line& line) {
    Watch& watch = watches_[&line];
    const int descriptor = line.descriptor();
    for (auto& other : watches_) {
        // A line that was closed, whose number the system has given away.
        if (other.second.descriptor == descriptor) {
            forget(other.second);
        }
    }
    forget(watch);
    watch = Watch();
}

void EpollPoller::remove(Line& line) {
    const auto found = watches_.find(&line);
    if (found != watches_.end()) {
        forget(found->second);
        watches_.erase(found);
    }
}

void EpollPoller::ignoreUntil(Line& line, qint64 timeUs) {
    const auto found = watches_.find(&line);
    if (found != watches_.end()) {
        found->second.ignoreUs = timeUs;
    }
}

bool EpollPoller::ready(const Line& line) const {
    const auto found = watches_.find(&line);
    return found != watches_.end() && found->second.ready;
}

void EpollPoller::wait(qint64 untilUs) {
    for (auto& entry : watches_) {
        entry.second.ready = false;
    }
    if (endIgnoring()) {
        return;
    }
    qint64 endUs = untilUs;
    for (const auto& entry : watches_) {
        endUs = entry.second.ignoreUs == 0 ? endUs : std::min(endUs, entry.second.ignoreUs);
    }
    const qint64 forUs = std::min(std::max(endUs - nowUs(), qint64(0)), LONGEST_WAIT_US);
    if (arrange()) {
        const int count = events(forUs);
        for (int i = 0; i < count; ++i) {
            note(events_[static_cast<std::size_t>(i)]);
        }
    } else {
        sleepFor(forUs);
    }
    endIgnoring();
}

// Lines whose time is over are ready. True when there are any.
bool EpollPoller::endIgnoring() {
    bool any = false;
    qint64 now = 0;
    for (auto& entry : watches_) {
        Watch& watch = entry.second;
        if (watch.ignoreUs == 0) {
            continue;
        }
        now = now == 0 ? nowUs() : now;
        if (watch.ignoreUs <= now) {
            watch.ignoreUs = 0;
            watch.ready = any = true;
        }
    }
    return any;
}

unsigned EpollPoller::wantedEvents(const Line& line, const Watch& watch) const {
    if (watch.ignoreUs != 0 || line.descriptor() < 0) {
        return 0;
    }
    unsigned wanted = EPOLLIN | EPOLLRDHUP;
    wanted |= line.sending() ? unsigned(EPOLLOUT) : 0U;
    // From its first byte on a terminal will be ignored for a while, so the kernel is to stop looking by
    // itself. When it is alone, nothing need be looked at for that time, which costs even less.
    wanted |= line.characterUs() > 0 && watches_.size() > 1 ? unsigned(EPOLLONESHOT) : 0U;
    return wanted;
}

// Tells the kernel what to look for. False when there is nothing, whatever the kernel was told.
bool EpollPoller::arrange() {
    const bool any = std::any_of(watches_.begin(), watches_.end(), [this](const auto& entry) {
        return wantedEvents(*entry.first, entry.second) != 0;
    });
    if (!any) {
        return false;
    }
    for (auto& entry : watches_) {
        const unsigned wanted = wantedEvents(*entry.first, entry.second);
        if (wanted == 0 && entry.second.events != 0) {
            // Of a line in the set the kernel always tells that it is lost.
            forget(entry.second);
        } else if (wanted != entry.second.events) {
            watch(entry, wanted);
        }
    }
    return true;
}

void EpollPoller::watch(Watches::value_type& entry, unsigned events) {
    Watch& watch = entry.second;
    epoll_event event{};
    event.events = events;
    event.data.ptr = &entry;
    const int descriptor = entry.first->descriptor();
    const int first = watch.descriptor < 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD;
    const int second = watch.descriptor < 0 ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
    if (::epoll_ctl(epoll_.number(), first, descriptor, &event) != 0) {
        ::epoll_ctl(epoll_.number(), second, descriptor, &event);
    }
    watch.descriptor = descriptor;
    watch.events = events;
}

// The descriptor may have been closed meanwhile; then the kernel has forgotten it already.
void EpollPoller::forget(Watch& watch) {
    if (watch.descriptor >= 0) {
        ::epoll_ctl(epoll_.number(), EPOLL_CTL_DEL, watch.descriptor, nullptr);
    }
    watch.descriptor = -1;
    watch.events = 0;
}

void EpollPoller::sleepFor(qint64 us) {
    if (awaitReadable(wake_.number(), us) > 0) {
        takeWake();
    }
}

// How many events there are after the time at most; 0 or less after a signal, too.
int EpollPoller::events(qint64 us) {
    if (calls_ == Calls::Newest) {
        const int count = waitExactly(epoll_.number(), events_.data(), MOST_EVENTS, us);
        // What keeps programs from calls that it does not know may say EPERM.
        if (count >= 0 || (errno != ENOSYS && errno != EPERM)) {
            return count;
        }
        calls_ = Calls::Everywhere;
    }
    return awaitReadable(epoll_.number(), us) > 0
               ? ::epoll_wait(epoll_.number(), events_.data(), MOST_EVENTS, 0)
               : 0;
}

void EpollPoller::note(const epoll_event& event) {
    if (event.data.ptr == nullptr) {
        takeWake();
        return;
    }
    Watch& watch = static_cast<Watches::value_type*>(event.data.ptr)->second;
    watch.ready = true;
    if ((watch.events & EPOLLONESHOT) != 0) {
        watch.events = 0;
    }
}

void EpollPoller::takeWake() {
    std::uint64_t count = 0;
    static_cast<void>(::read(wake_.number(), &count, sizeof count) == 0);
}

void EpollPoller::wake() {
    const int error = errno;
    const std::uint64_t one = 1;
    static_cast<void>(::write(wake_.number(), &one, sizeof one) == 0);
    errno = error;
}

}  // namespace dx7
