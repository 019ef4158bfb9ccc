/// \file
/// Files that are read as a whole.
#ifndef DX7_COMMON_FILE_CONTENT_H
#define DX7_COMMON_FILE_CONTENT_H

#include <cstddef>
#include <string>

namespace dx7common {

/// What reading a file gave: all its bytes, or the reason why they are not there.
struct FileContent {
    std::string bytes;
    /// Empty when the file was read to its end; `bytes` is empty otherwise.
    std::string fault;
};

/// Reads a file of at most `limit` bytes to its end. A pipe or device is read, too; a folder is refused, a
/// larger file as well, without being read when its size says so. An error in the middle is a fault, not the
/// end of the file. Waits as long as the reading takes.
FileContent readFileContent(const std::string& path, std::size_t limit);

}  // namespace dx7common

#endif
