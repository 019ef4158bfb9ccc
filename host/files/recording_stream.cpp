#include "host/files/recording_stream.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <cerrno>
#include <ctime>
#include <utility>

#include "host/error.h"
#include "host/files/durable_file.h"

namespace dx7 {

namespace {

constexpr mode_t RECORDING_MODE = 0666;
// So often the end of a wait is asked for, and so long a reader has to go on when it is.
constexpr int WAIT_MS = 100;

// A pipe whose reader is gone says so by an error, and does not end the program.
class WithoutPipeSignal {
public:
    WithoutPipeSignal() {
        ::sigemptyset(&pipe_);
        ::sigaddset(&pipe_, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~WithoutPipeSignal() {
        if (::sigismember(&before_, SIGPIPE) == 0) {
            const timespec now = {};
            ::sigtimedwait(&pipe_, nullptr, &now);
        }
        ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    Q_DISABLE_COPY(WithoutPipeSignal)
    sigset_t pipe_ = {};
    sigset_t before_ = {};
};

[[noreturn]] void refuse(const QString& path, int error) {
    throw UsageError(QStringLiteral("the recording %1 cannot be written: %2").arg(path, systemReason(error)));
}

bool isPipe(const QByteArray& path) {
    struct stat status = {};
    return ::stat(path.constData(), &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace

RecordingStream::RecordingStream(const QString& path, std::function<bool()> stop)
    : path_(QFile::encodeName(path)), stop_(std::move(stop)) {
    open();
    struct stat status = {};
    if (!file_.isOpen() || ::fstat(file_.number(), &status) != 0) {
        refuse(path, errno);
    }
    regular_ = S_ISREG(status.st_mode);
    if (regular_ && ::ftruncate(file_.number(), 0) != 0) {
        refuse(path, errno);
    }
    cookie_io_functions_t functions = {};
    functions.write = &RecordingStream::writeCookie;
    functions.close = &RecordingStream::closeCookie;
    stream_ = ::fopencookie(this, "w", functions);
    if (stream_ == nullptr) {
        refuse(path, errno);
    }
}

// No wait of the system's own: a signal that comes just before it would not end it.
void RecordingStream::open() {
    const int flags = O_WRONLY | O_CREAT | O_NOCTTY | O_NONBLOCK;
    while (!file_.open(path_, flags, RECORDING_MODE) && errno == ENXIO && isPipe(path_)) {
        ::poll(nullptr, 0, WAIT_MS);
        if (stop_()) {
            throw LineError(QStringLiteral("stopped while waiting for the reader of %1; nothing was sent")
                                .arg(QFile::decodeName(path_)));
        }
    }
}

ssize_t RecordingStream::writeCookie(void* cookie, const char* bytes, size_t count) {
    // The stream takes 0 for an error.
    return static_cast<RecordingStream*>(cookie)->write(bytes, count) ? static_cast<ssize_t>(count) : 0;
}

int RecordingStream::closeCookie(void* cookie) {
    auto* const self = static_cast<RecordingStream*>(cookie);
    return self->file_.close() || self->fail(systemReason(errno)) ? 0 : EOF;
}

bool RecordingStream::fail(const QString& why) {
    failure_ = failure_.isEmpty() ? why : failure_;
    return false;
}

bool RecordingStream::write(const char* bytes, size_t count) {
    if (!failure_.isEmpty()) {
        return false;
    }
    const WithoutPipeSignal guard;
    const bool taken = regular_ ? writeBytes(file_.number(), bytes, count) : writeToReader(bytes, count);
    if (!taken) {
        return fail(systemReason(errno));
    }
    written_ += static_cast<qint64>(count);
    return true;
}

// As writeBytes(), where a reader that does not read holds it up.
bool RecordingStream::writeToReader(const char* bytes, size_t count) {
    while (count > 0) {
        const ssize_t taken = ::write(file_.number(), bytes, count);
        if (taken > 0) {
            bytes += taken;
            count -= static_cast<size_t>(taken);
        } else if (taken < 0 && errno == EAGAIN) {
            pollfd output{file_.number(), POLLOUT, 0};
            if (::poll(&output, 1, WAIT_MS) == 0 && stop_()) {
                stopped_ = true;
                return fail(QStringLiteral("stopped while waiting for its reader"));
            }
        } else if (taken == 0 || errno != EINTR) {
            errno = taken == 0 ? ENOSPC : errno;
            return false;
        }
    }
    return true;
}

bool RecordingStream::flush() {
    if (std::fflush(stream_) == 0 && std::ferror(stream_) == 0 && failure_.isEmpty()) {
        whole_ = written_;
        return true;
    }
    fail(systemReason(errno));
    if (regular_) {
        // Where that fails, too, the file ends in the middle of a frame, and replay says so.
        static_cast<void>(::ftruncate(file_.number(), static_cast<off_t>(whole_)) == 0);
    }
    return false;
}

bool RecordingStream::finish() {
    if (!flush() || !regular_) {
        return failure_.isEmpty();
    }
    struct stat status = {};
    if (!syncFile(file_.number()) || ::fstat(file_.number(), &status) != 0) {
        return fail(systemReason(errno));
    }
    if (status.st_nlink == 0) {
        return fail(QStringLiteral("it was removed meanwhile"));
    }
    return syncFolderOf(followLinks(path_)) ||
           fail(QStringLiteral("its folder could not be synchronised (%1)").arg(systemReason(errno)));
}

}  // namespace dx7
