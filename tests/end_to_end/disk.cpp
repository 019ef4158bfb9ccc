#include "disk.h"

#include <cstring>
#include <set>

namespace fs = std::filesystem;

Words inShell(const std::string& setting, const Words& command) {
    Words words{"/bin/bash", "-c", setting + "\nexec \"$@\"", "bash"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

std::string Disk::runFailing(const Words& command, int step, int error, Finished* run) const {
    const std::string hit = rig.file("hit");
    fs::remove(hit);
    Words all{"/usr/bin/env", "LD_PRELOAD=" DX7_FAILING_DISK, "DX7_DISK_FOLDER=" + folder,
              "DX7_DISK_HIT=" + hit, "DX7_DISK_STEP=" + std::to_string(step),
              "DX7_DISK_ERROR=" + std::to_string(error),
              // Of a build with that sanitizer, which wants to be the first.
              "ASAN_OPTIONS=verify_asan_link_order=0"};
    all.insert(all.end(), command.begin(), command.end());
    *run = runToEnd(all);
    return readFile(hit);
}

long Disk::filesOnDisk() const {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

void Disk::emptyDisk() const {
    fs::remove_all(folder);
    fs::create_directory(folder);
}

void Disk::expectNothingSent() {
    const std::string seen = rig.stopDevice();
    EXPECT_EQ(0, numberBehind(seen, "station 1: ")) << seen;
}

void PrintTo(const Fault& fault, std::ostream* out) {
    *out << (fault.error < 0 ? "one byte" : std::strerror(fault.error))
         << (fault.oldFile ? ", old file" : "");
}

bool FailingDisk::isRepeated(const std::string& step) {
    const std::set<std::string> repeated{"create", "open", "write", "fsync", "fdatasync", "close", "unlink"};
    return GetParam().error < 0 || (GetParam().error == EINTR && repeated.count(step) > 0);
}

bool FailingDisk::isPassing() {
    return GetParam().error < 0 || GetParam().error == EINTR;
}
