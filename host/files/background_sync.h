/// \file
/// Files that are synchronised with the disk while the program goes on: a disk may take its time, a line does
/// not wait.
#ifndef DX7_HOST_BACKGROUND_SYNC_H
#define DX7_HOST_BACKGROUND_SYNC_H

#include <QtGlobal>
#include <memory>

namespace dx7 {

/// A thread of its own that synchronises what was written within a second of that, if the disk is that fast.
/// It begins with the first call of wrote(), and ends by itself soon after the object. One thread calls it.
class BackgroundSync {
public:
    BackgroundSync();
    ~BackgroundSync();

    /// Something was written to the file, which may be closed afterwards.
    void wrote(int descriptor);
    /// The next descriptor is another file, even where it has the same number.
    void closed();
    /// The error number of the first synchronisation that failed; 0 when none has.
    int failure() const;

private:
    Q_DISABLE_COPY(BackgroundSync)
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

}  // namespace dx7

#endif
