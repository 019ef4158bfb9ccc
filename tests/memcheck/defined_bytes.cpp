// For valgrind: every kind of request, good and bad replies, with each byte that leaves the driver checked to
// be defined. Under valgrind an undefined byte is an error; without valgrind the checks do nothing.
#include <valgrind/memcheck.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <cstdio>
#include <vector>

#include "../driver/line.h"
#include "register_map.h"

using namespace dx7test;

namespace {

int framesSeen = 0;
int bytesSeen = 0;

void checkDefined(const void* bytes, int count) {
    // valgrind writes its complaint itself; the returned address is that of the first undefined byte.
    (void)VALGRIND_CHECK_MEM_IS_DEFINED(bytes, static_cast<std::size_t>(count));
    bytesSeen += count;
}

void checkText(const QString& text) {
    checkDefined(text.constData(), text.size() * static_cast<int>(sizeof(QChar)));
}

void checkFrame(const FRAME_PRO& frame) {
    ++framesSeen;
    checkDefined(frame.sendBuf, frame.sendLen);
    const int* const fields[] = {&frame.sendLen,   &frame.expectLen,     &frame.dataOffset,
                                 &frame.dataCount, &frame.frameReserved, &frame.opKind,
                                 &frame.station,   &frame.address,       &frame.count};
    for (const int* field : fields)
        checkDefined(field, sizeof *field);
    checkText(frame.regType);
    checkDefined(frame.varData, DX7_DATA_BYTES);
}

void onReport(int linkId, int station, QString& regType, int address) {
    checkDefined(&linkId, sizeof linkId);
    checkDefined(&station, sizeof station);
    checkText(regType);
    checkDefined(&address, sizeof address);
}

/// Answers what the driver sends `steps` times; every third reply is damaged, every fifth missing.
void converse(int steps) {
    for (int i = 0; i < steps; ++i) {
        // As a host's buffer is: what the driver does not write stays undefined.
        FRAME_PRO frame;
        (void)VALGRIND_MAKE_MEM_UNDEFINED(frame.sendBuf, DX7_DATA_BYTES);
        (void)VALGRIND_MAKE_MEM_UNDEFINED(frame.varData, DX7_DATA_BYTES);
        if (intf_getSendFrame(&frame) == 0)
            continue;
        checkFrame(frame);
        QByteArray reply = i % 5 == 4 ? QByteArray() : goodReply(frame);
        if (i % 3 == 2 && !reply.isEmpty())
            reply[reply.size() / 2] = static_cast<char>(reply.at(reply.size() / 2) ^ 0x10);
        QString info;
        const int result = intf_dealRcvFrame(reply, info);
        checkDefined(&result, sizeof result);
        checkText(info);
    }
}

void queueEverything() {
    std::vector<unsigned char> values(1024, 1);
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        const int count = typeInRow(row).kind == KIND_STATUS ? 1 : 5;
        intf_setData(1, REG_LIST[row], 1, 1, values.data(), 2);
        intf_setData(1, REG_LIST[row], 1, count, values.data(), 2);
        KEY_ADDRESS key = entry(1, REG_LIST[row], 0, count);
        key.bitOffset = row % 2 - 1;
        intf_addConditionRead(key, 3);
    }
    intf_setData(1, QString::fromLatin1("F"), 0, 200, values.data(), 2);
}

void readEverything() {
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        const int bytes = typeInRow(row).kind == KIND_WORD ? 20 : 10;
        // Exactly as large as the driver may write, so that a byte too many shows.
        std::vector<unsigned char> out(static_cast<std::size_t>(bytes));
        (void)VALGRIND_MAKE_MEM_UNDEFINED(out.data(), out.size());
        intf_getData(1, REG_LIST[row], 0, 10, out.data());
        checkDefined(out.data(), bytes);
    }
}

}  // namespace

int main() {
    std::vector<unsigned char> hostFlags(60117);
    std::vector<unsigned char> recipeMemory(4096);
    QMutex mutex;
    int out = -1;
    intf_initProperty(hostFlags.data(), 0, recipeMemory.data(), &out, "1#0#0#2#16", &mutex);
    checkDefined(&out, sizeof out);
    intf_setAddrValueChangeCallBack(onReport);
    QList<KEY_ADDRESS> list;
    for (int row = 0; row < REG_TYPE_COUNT; ++row)
        list << entry(1, REG_LIST[row], 0, typeInRow(row).kind == KIND_STATUS ? 1 : 12);
    intf_addrMerge(list);
    converse(100);
    queueEverything();
    converse(400);
    readEverything();

    driver.recipeVars << recipeVariable(1, 1, "F", 10, 1, 100) << recipeVariable(1, 1, "F", 11, 1, 101);
    driver.recipeBlocks << recipeVariable(1, 1, "F", 10, 2, 100);
    driver.recipeBlockStart << 0;
    for (const int request : {RECIPE_WRITE_REQUEST, RECIPE_READ_REQUEST}) {
        hostFlags[static_cast<std::size_t>(request)] = 1;
        converse(6);
    }
    std::printf("%d frames, %d bytes checked%s\n", framesSeen, bytesSeen,
                RUNNING_ON_VALGRIND != 0 ? "" : " (not under valgrind, so nothing was proved)");
    return framesSeen > 100 && VALGRIND_COUNT_ERRORS == 0 ? 0 : 1;
}
