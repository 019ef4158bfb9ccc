#include "host/line/helper_thread.h"

#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

namespace dx7 {

int runAside(std::function<void()> work) {
    // The new thread has the mask from its first moment.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    int error = 0;
    try {
        std::thread(std::move(work)).detach();
    } catch (const std::system_error& failed) {
        error = failed.code().value();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

}  // namespace dx7
