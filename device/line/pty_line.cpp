#include <fcntl.h>
#include <pty.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>
#include <optional>

#include "common/file_descriptor.h"
#include "common/system_reason.h"
#include "device/line/descriptor_io.h"
#include "device/line/line.h"
#include "device/line/port_speed.h"
#include "device/line/usage_error.h"

namespace dx7sim {

namespace {

using dx7common::FileDescriptor;
using dx7common::systemReason;

// Where the link points to; empty when `path` is not a symbolic link.
std::string linkTarget(const std::string& path) {
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

// Whether `path` may be replaced: a link to a pseudo-terminal, as a device that was killed leaves it.
bool isPtyLink(const std::string& path) {
    return linkTarget(path).rfind("/dev/pts/", 0) == 0;
}

class PtyLine : public Line {
public:
    PtyLine(const std::string& link, const SerialSettings* strict);
    ~PtyLine() override;

    std::vector<int> descriptors() const override { return {device_.number(), watch_.number()}; }
    LineInput receive() override;
    void send(const Bytes& bytes) override { writeAvailable(device_.number(), bytes); }
    std::string name() const override { return link_; }

private:
    void openPair();
    void makeLink();
    void watchClients();
    void noteClients(LineInput& input);
    bool clientHasSettings() const;

    std::string link_;
    std::string path_;
    std::optional<SerialSettings> strict_;
    FileDescriptor device_;
    // Kept open so that the pseudo-terminal survives its clients: reading on would fail while there is none.
    FileDescriptor client_;
    FileDescriptor watch_;
};

PtyLine::PtyLine(const std::string& link, const SerialSettings* strict) : link_(link) {
    if (strict != nullptr) {
        strict_ = *strict;
    }
    openPair();
    watchClients();
    makeLink();
}

PtyLine::~PtyLine() {
    if (linkTarget(link_) == path_) {
        ::unlink(link_.c_str());
    }
}

void PtyLine::openPair() {
    int device = -1;
    int client = -1;
    char path[64] = {};
    termios raw{};
    ::cfmakeraw(&raw);
    ::cfsetspeed(&raw, B9600);
    raw.c_cflag |= CREAD | CLOCAL;
    if (::openpty(&device, &client, path, &raw, nullptr) != 0) {
        throw UsageError("cannot open a pseudo-terminal: " + systemReason(errno));
    }
    device_ = FileDescriptor(device);
    client_ = FileDescriptor(client);
    path_ = path;
    ::fcntl(device, F_SETFL, O_NONBLOCK);
    ::fcntl(device, F_SETFD, FD_CLOEXEC);
    ::fcntl(client, F_SETFD, FD_CLOEXEC);
}

void PtyLine::makeLink() {
    if (exists(link_) && !isPtyLink(link_)) {
        throw UsageError("\"" + link_ +
                         "\" exists and is no link to a pseudo-terminal: choose another path or" +
                         " remove it");
    }
    // Made aside and moved, so that a client never finds the path missing or half made.
    const std::string made = link_ + "." + std::to_string(::getpid());
    ::unlink(made.c_str());
    if (::symlink(path_.c_str(), made.c_str()) != 0 || ::rename(made.c_str(), link_.c_str()) != 0) {
        const std::string reason = systemReason(errno);
        ::unlink(made.c_str());
        throw UsageError("cannot make the link \"" + link_ + "\": " + reason);
    }
}

// Without the watch (the system may have run out of them) the line works too; only what a client left unread
// is then found by the next one.
void PtyLine::watchClients() {
    watch_ = FileDescriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (watch_.isOpen()) {
        ::inotify_add_watch(watch_.number(), path_.c_str(), IN_OPEN | IN_CLOSE);
    }
}

LineInput PtyLine::receive() {
    LineInput input;
    noteClients(input);
    if (readAvailable(device_.number(), input.bytes) == ReadEnd::Failed) {
        throw LineError("the pseudo-terminal " + path_ + " failed: " + systemReason(errno));
    }
    if (input.clientGone && !input.bytes.empty()) {
        // The next client may have come and asked in between.
        noteClients(input);
    }
    if (strict_ && !clientHasSettings()) {
        input.bytes.clear();
    }
    return input;
}

// A pseudo-terminal has no line, but it keeps the settings that a client gives it; of these Linux clears the
// parity.
bool PtyLine::clientHasSettings() const {
    const PortSpeed now = portSpeed(device_.number());
    return now.baud == strict_->baud && now.stopBits == strict_->stopBits;
}

// A client that leaves takes the line's state with it: its unread replies and its claim to use the line
// alone. What is read belongs to the client that came last.
void PtyLine::noteClients(LineInput& input) {
    Bytes events;
    if (!watch_.isOpen() || readAvailable(watch_.number(), events) == ReadEnd::Failed) {
        return;
    }
    inotify_event event{};
    for (std::size_t at = 0; at + sizeof event <= events.size(); at += sizeof event + event.len) {
        std::memcpy(&event, events.data() + at, sizeof event);
        if ((event.mask & IN_CLOSE) != 0) {
            input.clientGone = true;
            ::tcflush(client_.number(), TCIFLUSH);
            ::ioctl(client_.number(), TIOCNXCL);
        } else if (input.clientGone) {
            input.clientGone = false;
            input.newClient = true;
        }
    }
}

}  // namespace

std::unique_ptr<Line> openPty(const std::string& link, const SerialSettings* strict) {
    return std::make_unique<PtyLine>(link, strict);
}

}  // namespace dx7sim
