#include "common/file_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "common/file_descriptor.h"
#include "common/system_reason.h"

namespace dx7common {

namespace {

constexpr std::size_t CHUNK_BYTES = 65536;

FileContent faulty(const std::string& fault) {
    return {std::string(), fault};
}

FileContent faulty(int error) {
    return faulty(systemReason(error));
}

std::string tooLarge(std::size_t limit) {
    return "it has more than " + std::to_string(limit) + " bytes, the most that is read";
}

// Reads until the end, an error, or one byte more than the limit.
FileContent readToEnd(int descriptor, std::size_t limit) {
    FileContent content;
    for (;;) {
        const std::size_t had = content.bytes.size();
        content.bytes.resize(std::min<std::size_t>(had + CHUNK_BYTES, limit + 1));
        const ssize_t count = ::read(descriptor, &content.bytes[had], content.bytes.size() - had);
        const int error = errno;
        content.bytes.resize(had + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0) {
            return content;
        }
        if (count < 0 && error != EINTR) {
            return faulty(error);
        }
        if (content.bytes.size() > limit) {
            return faulty(tooLarge(limit));
        }
    }
}

FileContent readOpened(int descriptor, std::size_t limit) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return faulty(errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return faulty("it is a folder");
    }
    if (S_ISREG(status.st_mode) && status.st_size > static_cast<off_t>(limit)) {
        return faulty(tooLarge(limit) + "; it has " + std::to_string(status.st_size));
    }
    return readToEnd(descriptor, limit);
}

}  // namespace

FileContent readFileContent(const std::string& path, std::size_t limit) {
    const FileDescriptor file(path.c_str(), O_RDONLY | O_NOCTTY);
    return file.isOpen() ? readOpened(file.number(), limit) : faulty(errno);
}

}  // namespace dx7common
