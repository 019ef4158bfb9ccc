#include "host/files/background_sync.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "common/file_descriptor.h"
#include "host/line/helper_thread.h"

namespace dx7 {

namespace {

constexpr std::chrono::milliseconds PAUSE(500);

}  // namespace

struct BackgroundSync::Shared {
    std::mutex mutex;
    std::condition_variable changed;
    /// Second descriptors of what is to be synchronised.
    std::vector<dx7common::FileDescriptor> files;
    /// The descriptor that the last of them is a second one of; -1 without any.
    int last = -1;
    bool running = false;
    bool ended = false;
    int failure = 0;

    void run();
    void syncAll(const std::vector<dx7common::FileDescriptor>& taken);
};

void BackgroundSync::Shared::run() {
    std::unique_lock<std::mutex> lock(mutex);
    while (!ended) {
        changed.wait(lock, [this] { return ended || !files.empty(); });
        const std::vector<dx7common::FileDescriptor> taken = std::move(files);
        files.clear();
        last = -1;
        lock.unlock();
        syncAll(taken);
        lock.lock();
        // What is written meanwhile is synchronised together.
        changed.wait_for(lock, PAUSE, [this] { return ended; });
    }
}

void BackgroundSync::Shared::syncAll(const std::vector<dx7common::FileDescriptor>& taken) {
    for (const dx7common::FileDescriptor& file : taken) {
        int result = 0;
        do {
            result = ::fdatasync(file.number());
        } while (result != 0 && errno == EINTR);
        // A device or pipe has nothing to synchronise.
        if (result != 0 && errno != EINVAL && errno != EROFS) {
            const std::lock_guard<std::mutex> guard(mutex);
            failure = failure == 0 ? errno : failure;
        }
    }
}

BackgroundSync::BackgroundSync() : shared_(std::make_shared<Shared>()) {}

BackgroundSync::~BackgroundSync() {
    const std::lock_guard<std::mutex> guard(shared_->mutex);
    shared_->ended = true;
    shared_->changed.notify_all();
}

void BackgroundSync::wrote(int descriptor) {
    const std::lock_guard<std::mutex> guard(shared_->mutex);
    if (shared_->last == descriptor) {
        return;
    }
    shared_->files.emplace_back(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    shared_->last = descriptor;
    if (!shared_->running) {
        shared_->running = runAside([shared = shared_] { shared->run(); }) == 0;
    }
    shared_->changed.notify_all();
}

void BackgroundSync::closed() {
    const std::lock_guard<std::mutex> guard(shared_->mutex);
    shared_->last = -1;
}

int BackgroundSync::failure() const {
    const std::lock_guard<std::mutex> guard(shared_->mutex);
    return shared_->failure;
}

}  // namespace dx7
