/// \file
/// What the fuzz targets share: a link with host memory of its own, and plain checks that share no code with
/// the driver.
#ifndef KORVALENT_DX7_FUZZ_LINK_H
#define KORVALENT_DX7_FUZZ_LINK_H

#include <QtCore/QMutex>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "common/crc16.h"
#include "korvalent_dx7.h"

// What must hold whatever the input is. Ends the run, so that the fuzzer keeps the input.
#define DX7_REQUIRE(condition)                                                                  \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)

namespace dx7fuzz {

inline bool hasRightCrc(const unsigned char* bytes, int length) {
    if (length < 3) {
        return false;
    }
    const unsigned crc = dx7common::crc16(bytes, static_cast<std::size_t>(length - 2));
    return bytes[length - 2] == (crc & 0xFF) && bytes[length - 1] == crc >> 8;
}

inline QByteArray withCrc(QByteArray bytes) {
    const unsigned crc = dx7common::crc16(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    return bytes.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
}

/// What must hold for every frame that is handed out.
inline void checkFrame(const FRAME_PRO& frame) {
    DX7_REQUIRE(frame.sendLen >= 8 || (frame.sendBuf[1] == 7 && frame.sendLen == 4));
    DX7_REQUIRE(frame.sendLen <= DX7_DATA_BYTES);
    DX7_REQUIRE(hasRightCrc(frame.sendBuf, frame.sendLen));
    DX7_REQUIRE(frame.sendBuf[0] == (frame.station & 0xFF));
    DX7_REQUIRE(frame.frameReserved == 0);
    for (int i = frame.sendLen; i < DX7_DATA_BYTES; ++i) {
        DX7_REQUIRE(frame.sendBuf[i] == 0);
    }
}

/// The host's memory, and a driver that starts anew with it. Blocks of host memory are exactly as large as
/// the driver may touch, so that a step beyond shows.
class Link {
public:
    Link(const char* properties, ValueChangeCallback callback) : hostFlags_(60117), recipeMemory_(2048) {
        driver.recipeVars.clear();
        driver.recipeBlocks.clear();
        driver.recipeBlockStart.clear();
        driver.recipeIndex = 0;
        driver.conditionVar = VARIABLE();
        driver.currentVar = VARIABLE();
        start(properties);
        intf_setAddrValueChangeCallBack(callback);
    }
    ~Link() {
        int out = -1;
        intf_initProperty(nullptr, 0, nullptr, &out, "0#0#0#0#0", nullptr);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    void start(const char* properties) {
        int out = -1;
        DX7_REQUIRE(1 ==
                    intf_initProperty(hostFlags_.data(), 0, recipeMemory_.data(), &out, properties, &mutex_));
        DX7_REQUIRE(out == 0);
    }
    unsigned char& flag(int index) { return hostFlags_[static_cast<std::size_t>(index)]; }

private:
    std::vector<unsigned char> hostFlags_;
    std::vector<unsigned char> recipeMemory_;
    QMutex mutex_;
};

inline void ignoreReport(int, int, QString&, int) {}

}  // namespace dx7fuzz

#endif
