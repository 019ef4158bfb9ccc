#include <fcntl.h>
#include <pty.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>

#include "common/file_descriptor.h"
#include "common/system_reason.h"
#include "device/line/descriptor_io.h"
#include "device/line/line.h"
#include "device/line/usage_error.h"

namespace dx7sim {

namespace {

using dx7common::FileDescriptor;
using dx7common::systemReason;

/// Where the link points to; empty when `path` is no symbolic link.
std::string linkTarget(const std::string& path) {
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

/// Whether `path` may be replaced: a link to a pseudo-terminal, as a device that was killed leaves behind.
bool isPtyLink(const std::string& path) {
    return linkTarget(path).rfind("/dev/pts/", 0) == 0;
}

class PtyLine : public Line {
public:
    explicit PtyLine(const std::string& link);
    ~PtyLine() override;

    std::vector<int> descriptors() const override { return {m_device.number(), m_watch.number()}; }
    LineInput receive() override;
    void send(const Bytes& bytes) override { writeAvailable(m_device.number(), bytes); }
    std::string name() const override { return m_link; }

private:
    void openPair();
    void makeLink();
    void watchClients();
    void noteClients(LineInput& input);

    std::string m_link;
    std::string m_path;
    FileDescriptor m_device;
    // Kept open so that the pseudo-terminal survives its clients: reading on would fail while there is none.
    FileDescriptor m_client;
    FileDescriptor m_watch;
};

PtyLine::PtyLine(const std::string& link) : m_link(link) {
    openPair();
    watchClients();
    makeLink();
}

PtyLine::~PtyLine() {
    if (linkTarget(m_link) == m_path) {
        ::unlink(m_link.c_str());
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
    m_device = FileDescriptor(device);
    m_client = FileDescriptor(client);
    m_path = path;
    ::fcntl(device, F_SETFL, O_NONBLOCK);
    ::fcntl(device, F_SETFD, FD_CLOEXEC);
    ::fcntl(client, F_SETFD, FD_CLOEXEC);
}

void PtyLine::makeLink() {
    if (exists(m_link) && !isPtyLink(m_link)) {
        throw UsageError("\"" + m_link +
                         "\" exists and is no link to a pseudo-terminal: choose another path or" +
                         " remove it");
    }
    // Made aside and moved, so that a client never finds the path missing or half made.
    const std::string made = m_link + "." + std::to_string(::getpid());
    ::unlink(made.c_str());
    if (::symlink(m_path.c_str(), made.c_str()) != 0 || ::rename(made.c_str(), m_link.c_str()) != 0) {
        const std::string reason = systemReason(errno);
        ::unlink(made.c_str());
        throw UsageError("cannot make the link \"" + m_link + "\": " + reason);
    }
}

/// Without the watch (the system may have run out of them) the line works too; only what a client left unread
/// is then found by the next one.
void PtyLine::watchClients() {
    m_watch = FileDescriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (m_watch.isOpen()) {
        ::inotify_add_watch(m_watch.number(), m_path.c_str(), IN_OPEN | IN_CLOSE);
    }
}

LineInput PtyLine::receive() {
    LineInput input;
    noteClients(input);
    if (readAvailable(m_device.number(), input.bytes) == ReadEnd::Failed) {
        throw LineError("the pseudo-terminal " + m_path + " failed: " + systemReason(errno));
    }
    if (input.clientGone && !input.bytes.empty()) {
        // The next client may have come and asked in between.
        noteClients(input);
    }
    return input;
}

/// A client that leaves takes the line's state with it: its unread replies and its claim to use the line
/// alone. What is read belongs to the client that came last.
void PtyLine::noteClients(LineInput& input) {
    Bytes events;
    if (!m_watch.isOpen() || readAvailable(m_watch.number(), events) == ReadEnd::Failed) {
        return;
    }
    inotify_event event{};
    for (std::size_t at = 0; at + sizeof event <= events.size(); at += sizeof event + event.len) {
        std::memcpy(&event, events.data() + at, sizeof event);
        if ((event.mask & IN_CLOSE) != 0) {
            input.clientGone = true;
            ::tcflush(m_client.number(), TCIFLUSH);
            ::ioctl(m_client.number(), TIOCNXCL);
        } else if (input.clientGone) {
            input.clientGone = false;
            input.newClient = true;
        }
    }
}

}  // namespace

std::unique_ptr<Line> openPty(const std::string& link) {
    return std::make_unique<PtyLine>(link);
}

}  // namespace dx7sim
