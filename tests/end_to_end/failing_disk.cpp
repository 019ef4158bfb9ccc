// Loaded before the C library: a disk that fails. Each call that concerns a regular file or a folder below
// DX7_DISK_FOLDER is a step: making, writing, synchronising, closing, cutting, naming and removing a file,
// and reading one. Step number DX7_DISK_STEP fails with the error DX7_DISK_ERROR. With -1 a write takes a
// single byte instead; with -2 the program is killed before the step. The failure creates the file
// DX7_DISK_HIT, which holds the name of the step. With DX7_DISK_PLAIN the folder has no hard links and no
// rename that refuses to replace. Everything else is left to the real calls.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum { ONE_BYTE = -1, KILLED = -2 };

template <typename Function>
Function real(const char* name, Function) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

bool isBelow(const char* path) {
    const char* folder = std::getenv("DX7_DISK_FOLDER");
    return folder != nullptr && std::strncmp(path, folder, std::strlen(folder)) == 0;
}

bool isBelow(int descriptor) {
    struct stat status = {};
    if (::syscall(SYS_fstat, descriptor, &status) != 0 ||
        (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))) {
        return false;
    }
    char link[64] = "/proc/self/fd/";
    char digits[16];
    int length = 0;
    do {
        digits[length++] = static_cast<char>('0' + descriptor % 10);
        descriptor /= 10;
    } while (descriptor > 0);
    for (int at = 14; length > 0; ++at) {
        link[at] = digits[--length];
    }
    char path[PATH_MAX] = "";
    return ::readlink(link, path, sizeof path - 1) > 0 && isBelow(path);
}

void tell(const char* step) {
    if (const char* hit = std::getenv("DX7_DISK_HIT")) {
        const long file = ::syscall(SYS_openat, AT_FDCWD, hit, O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::syscall(SYS_write, file, step, std::strlen(step));
        ::syscall(SYS_close, file);
    }
}

// The error of this step; 0 when it does not fail.
int errorOf(const char* step) {
    static std::atomic<long> steps{0};
    const char* number = std::getenv("DX7_DISK_STEP");
    const char* error = std::getenv("DX7_DISK_ERROR");
    const long own = ++steps;
    if (number == nullptr || error == nullptr || std::atol(number) != own) {
        return 0;
    }
    tell(step);
    if (std::atoi(error) == KILLED) {
        ::raise(SIGKILL);
    }
    return std::atoi(error);
}

bool isPlain(const char* path) {
    return std::getenv("DX7_DISK_PLAIN") != nullptr && isBelow(path);
}

template <typename Place>
bool fails(const char* step, Place place) {
    const int error = isBelow(place) ? errorOf(step) : 0;
    if (error > 0) {
        errno = error;
    }
    return error > 0;
}

int openAs(const char* name, const char* path, int flags, mode_t mode) {
    if (fails((flags & O_CREAT) != 0 ? "create" : "open", path)) {
        return -1;
    }
    using Open = int (*)(const char*, int, ...);
    return real(name, Open())(path, flags, mode);
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openAs("open", path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openAs("open64", path, flags, mode);
}

ssize_t write(int descriptor, const void* bytes, size_t count) {
    const int error = isBelow(descriptor) ? errorOf("write") : 0;
    if (error > 0) {
        errno = error;
        return -1;
    }
    using Write = ssize_t (*)(int, const void*, size_t);
    return real("write", Write())(descriptor, bytes, error == ONE_BYTE && count > 0 ? 1 : count);
}

ssize_t read(int descriptor, void* bytes, size_t count) {
    using Read = ssize_t (*)(int, void*, size_t);
    return fails("read", descriptor) ? -1 : real("read", Read())(descriptor, bytes, count);
}

int fsync(int descriptor) {
    return fails("fsync", descriptor) ? -1 : real("fsync", &::fsync)(descriptor);
}

int fdatasync(int descriptor) {
    return fails("fdatasync", descriptor) ? -1 : real("fdatasync", &::fdatasync)(descriptor);
}

// What fails to be closed is closed all the same.
int close(int descriptor) {
    const bool failed = fails("close", descriptor);
    const int error = errno;
    const int result = real("close", &::close)(descriptor);
    if (failed) {
        errno = error;
    }
    return failed ? -1 : result;
}

int ftruncate(int descriptor, off_t size) noexcept {
    using Truncate = int (*)(int, off_t);
    return fails("ftruncate", descriptor) ? -1 : real("ftruncate", Truncate())(descriptor, size);
}

int fchmod(int descriptor, mode_t mode) noexcept {
    using Chmod = int (*)(int, mode_t);
    return fails("fchmod", descriptor) ? -1 : real("fchmod", Chmod())(descriptor, mode);
}

int fchown(int descriptor, uid_t user, gid_t group) noexcept {
    using Chown = int (*)(int, uid_t, gid_t);
    return fails("fchown", descriptor) ? -1 : real("fchown", Chown())(descriptor, user, group);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
    if (flags != 0 && isPlain(to)) {
        errno = EINVAL;
        return -1;
    }
    return fails("rename", to)
               ? -1
               : static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}
int rename(const char* from, const char* to) noexcept {
    using Rename = int (*)(const char*, const char*);
    return fails("rename", to) ? -1 : real("rename", Rename())(from, to);
}

int link(const char* from, const char* to) noexcept {
    if (isPlain(to)) {
        errno = EPERM;
        return -1;
    }
    using Link = int (*)(const char*, const char*);
    return fails("link", to) ? -1 : real("link", Link())(from, to);
}

int unlink(const char* path) noexcept {
    using Unlink = int (*)(const char*);
    return fails("unlink", path) ? -1 : real("unlink", Unlink())(path);
}
}
