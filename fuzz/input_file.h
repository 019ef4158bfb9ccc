/// \file
/// The fuzzer's bytes as a file that exists in memory only.
#ifndef KORVALENT_DX7_FUZZ_INPUT_FILE_H
#define KORVALENT_DX7_FUZZ_INPUT_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <QString>
#include <cstdint>
#include <cstdlib>

namespace dx7fuzz {

class InputFile {
public:
    InputFile(const std::uint8_t* data, std::size_t size) : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
        if (descriptor_ < 0 || ::write(descriptor_, data, size) != static_cast<ssize_t>(size)) {
            std::abort();
        }
    }
    ~InputFile() { ::close(descriptor_); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(descriptor_); }

private:
    int descriptor_;
};

}  // namespace dx7fuzz

#endif
