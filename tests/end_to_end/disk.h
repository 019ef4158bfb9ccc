/// \file
/// A folder on a disk whose n-th step fails (failing_disk.cpp), and dx7 on a line beside it.
#ifndef DX7_TESTS_END_TO_END_DISK_H
#define DX7_TESTS_END_TO_END_DISK_H

#include <cerrno>
#include <filesystem>
#include <iosfwd>
#include <string>

#include "rig.h"

/// In place of an error of the failing step; see failing_disk.cpp.
enum { ONE_BYTE_AT_A_TIME = -1, KILLED = -2 };

/// The command in a shell that takes a setting first.
Words inShell(const std::string& setting, const Words& command);

class Disk : public testing::Test {
protected:
    Disk() { std::filesystem::create_directory(folder); }

    /// What the step did that failed; empty when the run had fewer steps.
    std::string runFailing(const Words& command, int step, int error, Finished* run) const;
    std::string disk(const std::string& name) const { return folder + "/" + name; }
    long filesOnDisk() const;
    void emptyDisk() const;
    void expectNothingSent();

    Rig rig{Carrier::PseudoTerminal};
    std::string folder = rig.file("disk");
};

/// What the failing step meets, and whether the file that is written is there before.
struct Fault {
    int error;
    bool oldFile;
};
void PrintTo(const Fault& fault, std::ostream* out);

class FailingDisk : public Disk, public testing::WithParamInterface<Fault> {
protected:
    /// A signal, or few bytes at a time, are no reason to give up what can be repeated.
    static bool isRepeated(const std::string& step);
    static bool isPassing();
};

/// Of the tests of FailingDisk.
inline auto diskFaults() {
    return testing::Values(Fault{ENOSPC, true}, Fault{EIO, true}, Fault{EDQUOT, true}, Fault{EINTR, true},
                           Fault{ONE_BYTE_AT_A_TIME, true}, Fault{ENOSPC, false}, Fault{EIO, false});
}

#endif
