#include "frame_list.h"

#include <QtCore/QList>

namespace {

// Holds one frame, whose record is free for reuse, or none. Swapping lists moves the record and copies
// nothing.
QList<FRAME_PRO> spareFrame;

}  // namespace

void appendFrame(const FRAME_PRO& frame) {
    if (!driver.frameList.isEmpty() || spareFrame.isEmpty()) {
        driver.frameList.append(frame);
        return;
    }
    spareFrame[0] = frame;
    driver.frameList.swap(spareFrame);
}

void removeFirstFrame() {
    if (driver.frameList.size() == 1) {
        spareFrame.clear();
        driver.frameList.swap(spareFrame);
    } else if (!driver.frameList.isEmpty()) {
        driver.frameList.removeFirst();
    }
}
