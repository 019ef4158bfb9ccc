/// \file
/// A place for the files of a test.
#ifndef DX7_TESTS_KIT_TEMPORARY_DIRECTORY_H
#define DX7_TESTS_KIT_TEMPORARY_DIRECTORY_H

#include <string>

namespace kit {

/// A directory of its own, removed with everything in it at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace kit

#endif
