#include "host/line/port_task.h"

#include <chrono>
#include <utility>

#include "host/error.h"
#include "host/line/helper_thread.h"

namespace dx7 {

namespace {

constexpr int END_OF_PROGRAM_MS = 1000;

// How many threads are at work. They may outlive everything else, so it is never destroyed.
struct PortThreads {
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
};

PortThreads& portThreads() {
    static PortThreads* const threads = new PortThreads;
    return *threads;
}

struct AwaitedAtTheEnd {
    ~AwaitedAtTheEnd() { awaitPortTasks(END_OF_PROGRAM_MS); }
};

void countThread(int change) {
    static const AwaitedAtTheEnd awaited;
    PortThreads& threads = portThreads();
    const std::lock_guard<std::mutex> guard(threads.mutex);
    threads.count += change;
    threads.changed.notify_all();
}

int startThread(const std::function<void()>& work) {
    countThread(1);
    const int error = runAside([work] {
        work();
        countThread(-1);
    });
    if (error != 0) {
        countThread(-1);
    }
    return error;
}

}  // namespace

bool awaitPortTasks(int ms) {
    PortThreads& threads = portThreads();
    std::unique_lock<std::mutex> lock(threads.mutex);
    return threads.changed.wait_for(lock, std::chrono::milliseconds(ms), [&] { return threads.count == 0; });
}

std::shared_ptr<PortTask> PortTask::opening(std::function<OpenedPort()> opener) {
    auto task = std::make_shared<PortTask>();
    const int error = startThread([task, opener = std::move(opener)] { task->run(opener); });
    if (error != 0) {
        task->opened_.failure = systemReason(error);
        task->end();
    }
    return task;
}

std::shared_ptr<PortTask> PortTask::closing(std::unique_ptr<OpenPort> port) {
    auto task = std::make_shared<PortTask>();
    task->dropped_ = true;
    // What a thread is given must be copied.
    const auto owner = std::make_shared<std::unique_ptr<OpenPort>>(std::move(port));
    if (startThread([task, owner] { task->close(std::move(*owner)); }) != 0) {
        task->close(std::move(*owner));
    }
    return task;
}

void PortTask::run(const std::function<OpenedPort()>& opener) {
    OpenedPort opened = opener();
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!dropped_) {
            opened_ = std::move(opened);
            ended_ = true;
            changed_.notify_all();
            return;
        }
    }
    close(std::move(opened.port));
}

void PortTask::close(std::unique_ptr<OpenPort> port) {
    port.reset();
    end();
}

void PortTask::end() {
    const std::lock_guard<std::mutex> guard(mutex_);
    ended_ = true;
    changed_.notify_all();
}

bool PortTask::ended() const {
    return waitForEnd(0);
}

bool PortTask::waitForEnd(int ms) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return ms <= 0 ? ended_
                   : changed_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return ended_; });
}

OpenedPort PortTask::take() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return std::move(opened_);
}

std::unique_ptr<OpenPort> PortTask::drop() {
    const std::lock_guard<std::mutex> guard(mutex_);
    dropped_ = true;
    return std::move(opened_.port);
}

bool PortTask::dropped() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return dropped_;
}

}  // namespace dx7
