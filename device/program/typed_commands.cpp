#include "device/program/typed_commands.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "device/program/interruptions.h"

namespace dx7sim {

namespace {

constexpr std::size_t LONGEST_LINE = 4096;

}  // namespace

int TypedCommands::descriptor() const {
    return open_ ? STDIN_FILENO : -1;
}

void TypedCommands::read() {
    char chunk[512];
    ssize_t count = 0;
    {
        // Another program that reads the same input may have been faster.
        const Interruptions interruptions;
        count = ::read(STDIN_FILENO, chunk, sizeof chunk);
    }
    if (count > 0) {
        typed_.append(chunk, static_cast<std::size_t>(count));
        carryOutLines();
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        // The end of the commands is not the end of the device: it runs on in the background.
        open_ = false;
        if (!typed_.empty()) {
            typed_ += '\n';
            carryOutLines();
        }
    }
}

void TypedCommands::carryOutLines() {
    for (std::size_t end = typed_.find('\n'); end != std::string::npos && !quit_; end = typed_.find('\n')) {
        const std::string line = typed_.substr(0, end);
        typed_.erase(0, end + 1);
        if (std::exchange(drops_, false)) {
            continue;
        }
        const CommandResult result = server_.command(line);
        output_.print(result.answer);
        quit_ = result.quit;
    }
    if (typed_.size() > LONGEST_LINE && !quit_) {
        dropLongLine();
    }
}

void TypedCommands::dropLongLine() {
    if (!drops_) {
        output_.print("error: a command of more than " + std::to_string(LONGEST_LINE) +
                      " characters was dropped\n");
    }
    typed_.clear();
    drops_ = true;
}

}  // namespace dx7sim
