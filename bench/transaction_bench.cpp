/// \file
/// What a poll of 60 words costs in steady state: intf_getSendFrame and intf_dealRcvFrame, with nothing
/// changed, and with everything changed and a callback that reads each value back.
///
/// Prints the allocations of a thousand transactions. Instructions are counted from outside:
/// callgrind with --toggle-collect=measured_transactions.
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "device_items.h"
#include "heap_meter.h"
#include "link.h"

namespace {

using namespace dx7bench;

const int WORDS = 60;
const int BLOCKS = 10;
const int WARM_UP = 100;
const int MEASURED = 1000;

unsigned checksum = 0;

void readBack(int, int station, QString& regType, int address) {
    unsigned char value[2] = {0, 0};
    intf_getData(station, regType, address, 1, value);
    checksum += value[0];
}

/// Ten blocks of parameters, each the longest run of registers that this measurement is about.
void planBlocks() {
    QList<KEY_ADDRESS> list;
    for (int i = 0; i < BLOCKS; ++i) {
        list.append(keyAddress(1, QString::fromLatin1("F"), WORDS * i, WORDS));
    }
    if (intf_addrMerge(list) != BLOCKS) {
        throw std::runtime_error("the plan has not the blocks that were to be measured");
    }
}

}  // namespace

/// Runs `transactions` polls; the cycles take `replies` in turn. Returns the good ones. Not inlined:
/// callgrind counts what happens between its beginning and its end.
extern "C" __attribute__((noinline)) int measured_transactions(int transactions, QByteArray* replies,
                                                               int replyCount) {
    int good = 0;
    FRAME_PRO frame;
    QString info;
    for (int i = 0; i < transactions; ++i) {
        if (intf_getSendFrame(&frame) == DX7_SEND_FRAME &&
            intf_dealRcvFrame(replies[i / BLOCKS % replyCount], info) == DX7_REPLY_GOOD) {
            ++good;
        }
    }
    return good;
}

int main(int argc, char** argv) {
    const bool changed = argc == 2 && std::strcmp(argv[1], "changed") == 0;
    if (!changed && (argc != 2 || std::strcmp(argv[1], "same") != 0)) {
        std::fputs("usage: transaction_bench same|changed\n", stderr);
        return 2;
    }
    try {
        const Link link(&readBack);
        planBlocks();
        QByteArray replies[2] = {readReply(1, 3, QByteArray(2 * WORDS, 0x11)),
                                 readReply(1, 3, QByteArray(2 * WORDS, 0x22))};
        const int replyCount = changed ? 2 : 1;
        int good = 0;
        // Not by measured_transactions(), which callgrind counts.
        FRAME_PRO frame;
        QString info;
        for (int i = 0; i < WARM_UP; ++i) {
            intf_getSendFrame(&frame);
            good += intf_dealRcvFrame(replies[i / BLOCKS % replyCount], info) == DX7_REPLY_GOOD ? 1 : 0;
        }
        checksum = 0;
        startHeapMeter();
        good += measured_transactions(MEASURED, replies, replyCount);
        const long long allocations = stopHeapMeter();
        if (good != WARM_UP + MEASURED || (checksum == 0) == changed) {
            throw std::runtime_error("the transactions were not what was to be measured");
        }
        std::printf("%lld\n", allocations);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "transaction_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
